#pragma once

#include "antworten.h"
#include "grundlage/json.h"
#include "uebertragung.h"
#include "netz/http.h"
#include "zugang.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate::dienst {

using netz::Anfrage;

/// What a service call takes at most in all, whatever its bytes do.
inline constexpr std::chrono::seconds wartegrenzeHolen{40};
inline constexpr std::chrono::seconds wartegrenzeSenden{130};

/// Pauses before the second and the third attempt of an upload, in seconds; there is no fourth.
inline constexpr std::array<double, 2> wiederholungNach{2.0, 6.0};

/// Whether trying again may help: no status (transport error, time-out), 408, 429, 5xx.
[[nodiscard]] bool wiederholbar(std::optional<int> status) noexcept;

using Senden = std::function<std::optional<int>(Anfrage const&)>;
using Warten = std::function<void(double sekunden)>;

/// The upload's retry loop: up to three attempts, then the last status as an outcome.
[[nodiscard]] Uebertragung uebertragen(
    Anfrage const& anfrage, Senden const& senden, Warten const& warten);

/// The service's HTTP API. Every operation blocks its thread until there is an answer or a limit has passed,
/// so call it from workers only. Connections are kept and reused across calls.
/// Errors: none reach the caller;
/// every failure is an empty result, false or no status. The token is part of the URLs and never of a log
/// line.
/// Threads: any number at once.
class Dienst {
public:
    /// Body of a 2xx answer to a GET; nothing otherwise, nor after 40 seconds. Redirects are followed.
    [[nodiscard]] std::optional<std::string> holen(Anfrage const& anfrage);
    /// Status of the answer; nothing on a transport error or after 130 seconds. The answer's body is not
    /// kept.
    [[nodiscard]] std::optional<int> sendenMitStatus(Anfrage const& anfrage);

    /// POST of a JSON object to "/clients/{clientId}/local-scan/" + `pfad`. True for 2xx.
    bool postJson(Zugang const& zugang, std::string_view pfad, Json const& koerper);
    /// The scan preferences; an empty object on failure.
    [[nodiscard]] FremdesJson holeVorgabe(Zugang const& zugang);
    [[nodiscard]] GesehenePfade holeGesehenePfade(Zugang const& zugang);
    /// The hashes of one list, such as "known-nonreceipt-hashes".
    [[nodiscard]] std::vector<std::string> holeListe(Zugang const& zugang, std::string_view liste);
    /// The progress as the service sees it; an empty object on failure.
    [[nodiscard]] FremdesJson holeFortschritt(Zugang const& zugang);

    /// Uploads one file as a new receipt, with retries. `bekannteHashes`: digests of contents that are known
    /// to be no receipts and are not sent. `ungelesen`: tells the service that nobody has looked into the
    /// file.
    [[nodiscard]] Uebertragung hochladen(
        Zugang const& zugang, std::string const& pfad, Textmenge const& bekannteHashes, bool ungelesen);
    /// Attaches one file to a booking, in one attempt. True for 2xx.
    [[nodiscard]] bool hochladenAnBuchung(
        Zugang const& zugang, std::int64_t transactionId, std::string const& pfad);

    /// Blocks for that long, or until abbrechen().
    void warten(double sekunden);
    /// Ends all calls under way within a second or so, and each later one at once, as if no answer had come.
    /// For the end of the process.
    void abbrechen() noexcept;

private:
    [[nodiscard]] FremdesJson holeObjekt(
        Zugang const& zugang, std::string_view pfad, std::chrono::seconds leerlaufgrenze);
    [[nodiscard]] std::optional<std::string> holeText(
        Zugang const& zugang, std::string_view pfad, std::chrono::seconds leerlaufgrenze,
        std::size_t hoechstAntwort);

    netz::Leitungen leitungen_;
    std::mutex sperre_; ///< Only for the waiting.
    std::condition_variable abgebrochenGemeldet_;
};

/// Largest file that is sent. It is held in memory as a whole while it is sent, and what is larger than this
/// could not pass an ordinary line (40 Mbit/s upward) within the 130 seconds of an attempt anyway.
inline constexpr std::uint64_t hoechstgroesseHochladen = std::uint64_t{512} * 1024 * 1024;

} // namespace quillmate::dienst
