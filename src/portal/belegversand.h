#pragma once

#include "ablage.h"
#include "grundlage/adresse.h"
#include "netz/http.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace quillmate::portal {

/// What a portal's window reports, to the user and to the page.
enum class Portalstatus { wird_importiert, importiert, fehler, geschlossen };
/// The text of a status in events.
[[nodiscard]] std::string_view rohwert(Portalstatus status) noexcept;

struct Portalmeldung {
    Portalstatus status{Portalstatus::fehler};
    std::string nachricht; ///< A German sentence.

    friend bool operator==(Portalmeldung const&, Portalmeldung const&) = default;
};

/// Whose receipt it is. Kept for one portal window only; the token is never logged.
struct Belegziel {
    Adresse basis; ///< The service: scheme, host and port count.
    std::int64_t clientId{0};
    std::string token;
    std::optional<std::int64_t> transaction; ///< The booking to attach to; otherwise a new receipt.
    std::string portal;                      ///< Key of the portal.
};

/// Where a file goes. `hash`: SHA-256 of its bytes in lower-case hexadecimal. Nothing when no address comes of it.
[[nodiscard]] std::optional<std::string> belegadresse(
    Belegziel const& ziel, std::string_view hash, std::string_view dateiname);
/// What the service's answer means. `koerper` is untrusted. Pure.
[[nodiscard]] Portalmeldung belegausgang(
    netz::Ausgang const& ausgang, std::string_view koerper, bool mitBuchung);

/// Sends files to the service, each once, from its own threads, at most `hoechsteFaeden` at a time. A file is read while
/// it is sent and never held in memory as a whole.
/// Threads: any; reports come on the sending thread.
/// Ownership: borrows the Portalablage, which must outlive it. The destructor ends what is under way and removes the
/// folders of what was waiting.
class Belegversand {
public:
    using Melder = std::function<void(Portalmeldung const&)>;

    /// `vermittler`: as for netz::Leitungen.
    explicit Belegversand(Portalablage& ablage, netz::Vermittlersuche* vermittler = nullptr);
    ~Belegversand();
    Belegversand(Belegversand const&) = delete;
    Belegversand& operator=(Belegversand const&) = delete;

    /// Takes over the file, which lies in a folder of the Portalablage; the folder is gone afterwards, whatever the
    /// outcome. `melden` hears of the beginning (wird_importiert) and exactly once of the end, or of a failure alone.
    void senden(Belegziel ziel, std::string datei, Melder melden);

    static constexpr std::size_t hoechsteFaeden = 4;
    /// The idle limit of a request, and what it takes at most: 50 MiB at 128 kbit/s take 55 minutes.
    static constexpr std::chrono::seconds leerlaufgrenze{60};
    static constexpr std::chrono::seconds wartegrenze{3600};

private:
    struct Auftrag {
        Belegziel ziel;
        std::string datei;
        Melder melden;
    };
    void arbeiten();
    void bearbeiten(Auftrag const& auftrag);
    [[nodiscard]] Portalmeldung hochladen(Auftrag const& auftrag);

    Portalablage& ablage_;
    netz::Leitungen leitungen_;
    std::mutex sperre_;
    std::condition_variable neues_;
    std::deque<Auftrag> wartend_;     ///< Guarded by sperre_.
    std::size_t muessige_{0};         ///< Guarded by sperre_: threads that wait for work.
    bool ende_{false};                ///< Guarded by sperre_.
    std::vector<std::thread> faeden_; ///< Guarded by sperre_ until the end.
};

} // namespace quillmate::portal
