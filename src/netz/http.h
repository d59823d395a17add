#pragma once

#include "grundlage/ergebnis.h"
#include "vermittler.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace quillmate::netz {

/// A message body that holds a file between two texts and never stands in memory as a whole.
struct Dateikoerper {
    std::string vorspann;
    int deskriptor{-1};      ///< Borrowed; read from its beginning, its offset is neither used nor moved.
    std::uint64_t groesse{}; ///< Bytes of the file. When it turns out to be shorter, the request fails.
    std::string nachspann;
};

/// One HTTP request, ready to be sent (any number of times).
struct Anfrage {
    std::string url;
    std::optional<std::string> koerper;      ///< POST with this body; GET without.
    std::optional<Dateikoerper> datei;       ///< The same from a file; then `koerper` is not looked at.
    std::string inhaltstyp;                  ///< Content-Type of the body.
    std::chrono::seconds leerlaufgrenze{60}; ///< Ends the request when no byte moves for that long.
    /// Bytes of an answer that are read; the rest of a longer one is dropped.
    std::size_t hoechstAntwort{std::size_t{16} << 20U};
    /// Sent at most once: never again over another connection when a kept one turns out to be dead, since the server
    /// may have taken it by then.
    bool nurEinmal{false};
    /// Asked about once a second while the request is under way, on the calling thread; true ends it as a transport error
    /// (Fehlerart::gestoppt).
    std::function<bool()> abbrechen{};
};

/// What became of a request.
struct Ausgang {
    std::optional<int> status; ///< HTTP status of an answer; nothing on a transport error.
    std::string fehler;        ///< Without a status: what went wrong, a German sentence for people.
    /// Why there is no status, or why a redirect of a POST ended here; for the log.
    std::optional<Fehler> grund;
    std::string inhaltstyp; ///< Content-Type of the answer, as it came.
    bool gekuerzt{false};   ///< The answer was longer than `hoechstAntwort`; only its beginning was read.

    /// Whether the service has accepted it: 2xx, and no web page. A page in place of the service's answer comes from
    /// somebody in between (the sign-in page of a network), who has stored nothing.
    [[nodiscard]] bool angenommen() const;
};

/// Sends requests and keeps their connections open for the next ones.
/// GET follows redirects, but never from https down to http. POST follows 307 and 308 within its origin, five at most,
/// with the same body; where to, another server could name, and what a 301 to 303 would make of it is no POST.
/// Threads: any number at once; each call blocks its thread until there is an answer or a limit has passed.
class Leitungen {
public:
    /// `vermittler` is borrowed and asked for each request, unless it goes to this machine; without one libcurl follows
    /// the environment.
    explicit Leitungen(Vermittlersuche* vermittler = nullptr);
    ~Leitungen();
    Leitungen(Leitungen const&) = delete;
    Leitungen& operator=(Leitungen const&) = delete;

    /// `wartegrenze`: what the request takes at most in all, whatever its bytes do. `ziel` takes the answer's
    /// body, also that of a refusal; null drops it.
    [[nodiscard]] Ausgang senden(
        Anfrage const& anfrage, std::chrono::seconds wartegrenze, std::string* ziel = nullptr);
    /// Ends all requests under way within a second or so, and each later one at once, as transport errors.
    void abbrechen() noexcept;
    [[nodiscard]] bool abgebrochen() const noexcept { return abbruch_.load(std::memory_order_relaxed); }

private:
    class Leitung;
    struct Leihgabe;
    [[nodiscard]] Leihgabe leihen();

    Vermittlersuche* const vermittler_;
    std::mutex sperre_;
    std::vector<std::unique_ptr<Leitung>>
        frei_; ///< guarded by sperre_; last in, first out keeps connections warm
    std::atomic<bool> abbruch_{false};
};

} // namespace quillmate::netz
