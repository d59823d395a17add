#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
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
    std::size_t hoechstAntwort{std::size_t{1} << 20U}; ///< Longer answers, in bytes, count as none.
};

/// What became of a request.
struct Ausgang {
    std::optional<int> status; ///< HTTP status of a whole answer; nothing on a transport error.
    std::string fehler;        ///< Without a status: what went wrong, a German sentence for people.
};

/// One query item; name and value unencoded.
using Abfrageteil = std::pair<std::string_view, std::string_view>;

/// The items as the query of a URL, without the "?".
[[nodiscard]] std::string alsAbfrage(std::vector<Abfrageteil> const& abfrage);

/// The URL text with its query replaced by these items and without fragment; with `pfad`, which is taken as
/// it stands, its path is replaced as well. Nothing when it is no http or https URL.
[[nodiscard]] std::optional<std::string> mitAbfrage(
    std::string const& url, std::vector<Abfrageteil> const& abfrage,
    std::optional<std::string> const& pfad = std::nullopt);

/// Sends requests and keeps their connections open for the next ones.
/// GET follows redirects, but never from https down to http; POST follows none.
/// Threads: any number at once; each call blocks its thread until there is an answer or a limit has passed.
class Leitungen {
public:
    Leitungen();
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

    std::mutex sperre_;
    std::vector<std::unique_ptr<Leitung>>
        frei_; ///< guarded by sperre_; last in, first out keeps connections warm
    std::atomic<bool> abbruch_{false};
};

} // namespace quillmate::netz
