#pragma once

#include "bestand.h"
#include "leitung.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace quillmate::dauer {

/// How the run went that the requests belong to.
struct Lauf {
    enum class Art { keiner, voll, bilder, gezielt };
    Art art{Art::keiner};
    bool alles{false}; ///< Also what the service has.
    /// Ended by itself, and nothing was done to program, readers, service, line or files meanwhile: then nothing may be
    /// missing.
    bool ungestoert{false};
    /// The program was ended and started, or searched twice: what was sent before it is sent again at most once each.
    int laeufe{1};
};

/// A receipt as the service lists it.
struct Eingang {
    std::string hash;
    std::string herkunft; ///< scan, gezielt, portal.
};

/// The model: what the service must have, may have, and must not get again.
class Buch {
public:
    /// A content that may come in by another way than a scan.
    void erlaube(std::string const& hash) { weitere_.insert(hash); }
    /// Compares what was sent and what the service holds with the files; sentences about what is wrong. `gesehen`: the
    /// service's list of paths with their digests.
    [[nodiscard]] std::vector<std::string> pruefe(
        Lauf const& lauf, std::vector<Vorgang> const& vorgaenge, std::vector<Eingang> const& eingaenge,
        std::map<std::string, std::string> const& gesehen, Bestand const& bestand);
    [[nodiscard]] std::size_t belege() const noexcept { return vorhanden_.size(); }
    [[nodiscard]] std::size_t sendungen() const noexcept { return sendungen_; }

private:
    void pruefeSendungen(
        Lauf const& lauf, std::vector<Vorgang> const& vorgaenge, Bestand const& bestand,
        std::vector<std::string>& saetze);
    void pruefeEingaenge(
        std::vector<Eingang> const& eingaenge, Bestand const& bestand, std::vector<std::string>& saetze);

    std::set<std::string> weitere_;
    std::set<std::string> vorhanden_;               ///< What the service has confirmed once.
    std::map<std::string, std::string> zugestellt_; ///< By path: the digest that it was told to have.
    std::size_t sendungen_{0};
};

} // namespace quillmate::dauer
