#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace quillmate::ports {

/// What a web-authentication session is started for.
struct Anmeldeauftrag {
    std::string adresse; ///< Where it begins.
    std::string
        rueckwegschema;  ///< The callback is the first address of this scheme that comes back ("quillmate").
    std::string meldung; ///< What is happening, in one line: the sheet's bold first line.
    std::string erklaerung; ///< What the user has to do.
};

/// How a session ended: exactly one of both, or none when nobody knows.
struct Anmeldeausgang {
    struct Fehler {
        /// The user ended the session.
        static constexpr int abgebrochen = 1;
        int nummer{0};
        std::string beschreibung; ///< For the log.
    };
    std::optional<std::string> rueckweg; ///< The callback address, as it arrived.
    std::optional<Fehler> fehler;
};

/// Port: a step in the user's own browser, with its cookies, that ends with an address of our own scheme.
/// Threads: main thread.
/// Ownership: destroying a session ends it without a further word. It may be destroyed in its own completion.
class Anmeldesitzung {
public:
    virtual ~Anmeldesitzung() = default;
    /// Begins. False when it cannot; then there is no completion either. Called once.
    [[nodiscard]] virtual bool starten() = 0;
};

/// Port: makes such sessions; their sheet stands over the main window.
/// Threads: main thread.
class Anmeldewerk {
public:
    virtual ~Anmeldewerk() = default;
    /// `fertig` is called once, on the main thread, when the session has ended by itself.
    [[nodiscard]] virtual std::shared_ptr<Anmeldesitzung> sitzung(
        Anmeldeauftrag auftrag, std::function<void(Anmeldeausgang const&)> fertig) = 0;
};

} // namespace quillmate::ports
