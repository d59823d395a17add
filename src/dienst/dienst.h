#pragma once

#include "antworten.h"
#include "grundlage/belegdatei.h"
#include "grundlage/json.h"
#include "netz/http.h"
#include "uebertragung.h"
#include "zugang.h"

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
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
[[nodiscard]] Uebertragung uebertragen(Anfrage const& anfrage, Senden const& senden, Warten const& warten);

/// The service's HTTP API. Every operation blocks its thread until there is an answer or a limit has passed,
/// so call it from workers only. Connections are kept and reused across calls.
/// Errors: an empty result, false or no status at the surface; below it a Fehler, which is written to the log once per
/// cause until the same kind of call succeeds again. The token is part of the URLs and never of a log line.
/// Threads: any number at once.
class Dienst {
public:
    /// `vermittler`: as for netz::Leitungen.
    explicit Dienst(netz::Vermittlersuche* vermittler = nullptr);

    /// Body of a 2xx answer to a GET; nothing otherwise, nor after 40 seconds. Redirects are followed.
    [[nodiscard]] std::optional<std::string> holen(Anfrage const& anfrage);
    /// Status of the answer; nothing on a transport error, after 130 seconds, or when a web page came in place of the
    /// service's answer. The answer's body is not kept.
    [[nodiscard]] std::optional<int> sendenMitStatus(Anfrage const& anfrage);

    /// POST of a JSON object to "/clients/{clientId}/local-scan/" + `pfad`. True for 2xx.
    bool postJson(Zugang const& zugang, std::string_view pfad, Json const& koerper);
    /// The scan preferences; an empty object on failure.
    [[nodiscard]] FremdesJson holeVorgabe(Zugang const& zugang);
    /// What the service has seen. A failure is no empty list: without the list everything may be sent anew.
    [[nodiscard]] Ergebnis<GesehenePfade> leseGesehenePfade(Zugang const& zugang);
    /// The same, empty on failure.
    [[nodiscard]] GesehenePfade holeGesehenePfade(Zugang const& zugang);
    /// The hashes of one list, such as "known-nonreceipt-hashes".
    [[nodiscard]] Ergebnis<std::vector<std::string>> leseListe(Zugang const& zugang, std::string_view liste);
    /// The same, empty on failure.
    [[nodiscard]] std::vector<std::string> holeListe(Zugang const& zugang, std::string_view liste);
    /// The progress as the service sees it; an empty object on failure.
    [[nodiscard]] FremdesJson holeFortschritt(Zugang const& zugang);
    /// Whether the service answers a small request at all, whatever it says.
    [[nodiscard]] bool antwortet(Zugang const& zugang);

    /// Uploads one file as a new receipt, with retries. `bekannteHashes`: digests of contents that are known
    /// to be no receipts and are not sent. `ungelesen`: tells the service that nobody has looked into the
    /// file.
    [[nodiscard]] Uebertragung hochladen(
        Zugang const& zugang, std::string const& pfad, Textmenge const& bekannteHashes, bool ungelesen);
    /// The same for the file that was judged: what is sent are the bytes of that descriptor, in the state of
    /// Belegdatei::stand(). nichtLesbar when they changed since. `abbrechen` is asked while the file is read and before
    /// each attempt; true leaves the file unsent.
    [[nodiscard]] Uebertragung hochladen(
        Zugang const& zugang, Belegdatei& datei, Textmenge const& bekannteHashes, bool ungelesen,
        Abbruchfrage const& abbrechen = {});
    /// Attaches one file to a booking, in one attempt. True for 2xx.
    [[nodiscard]] bool hochladenAnBuchung(
        Zugang const& zugang, std::int64_t transactionId, std::string const& pfad);
    /// How many uploads in a row have ended without any answer; an answer of any status begins anew.
    [[nodiscard]] int dateienOhneAntwort() const noexcept { return dateienOhneAntwort_; }
    /// The same for the file that was judged. False also when it changed since.
    [[nodiscard]] bool hochladenAnBuchung(
        Zugang const& zugang, std::int64_t transactionId, Belegdatei& datei);

    /// Blocks for that long, or until abbrechen().
    void warten(double sekunden);
    /// Ends all calls under way within a second or so, and each later one at once, as if no answer had come.
    /// For the end of the process.
    void abbrechen() noexcept;

private:
    /// Body of an accepted answer. `was`: what the call is for, for the log.
    [[nodiscard]] Ergebnis<std::string> hole(
        std::string_view was, Zugang const& zugang, std::string_view pfad,
        std::chrono::seconds leerlaufgrenze, std::size_t hoechstAntwort);
    [[nodiscard]] FremdesJson holeObjekt(
        std::string_view was, Zugang const& zugang, std::string_view pfad,
        std::chrono::seconds leerlaufgrenze);
    /// One request with a body; its failure goes to the log.
    [[nodiscard]] std::optional<int> sende(std::string_view was, Anfrage const& anfrage);
    void melden(std::string_view was, Fehler const& fehler);
    void gelungen(std::string_view was);

    netz::Leitungen leitungen_;
    std::atomic<int> dateienOhneAntwort_{0};
    std::mutex sperre_; ///< Guards gemeldet_; also for the waiting.
    std::condition_variable abgebrochenGemeldet_;
    std::map<std::string, std::set<int>, std::less<>>
        gemeldet_; ///< Causes that the log knows, by kind of call.
};

} // namespace quillmate::dienst
