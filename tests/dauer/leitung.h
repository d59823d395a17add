#pragma once

#include "zufall.h"

#include <nlohmann/json.hpp>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace quillmate::dauer {

/// What may happen to a request on its way.
enum class Stoerung {
    keine,
    spaet,           ///< The answer comes late.
    haengt,          ///< The line stands still for some seconds and is then closed.
    verweigert,      ///< Closed without an answer; the service has not seen the request.
    antwortVerloren, ///< The service has done it, the answer gets lost.
    abgerissen,      ///< The service has done it, the answer breaks off in the middle.
    fehler5xx,       ///< An error of a server in between.
    muell,           ///< Bytes that are no HTTP.
    riesig,          ///< 200 with 20 MiB that mean nothing.
    umleitung,       ///< To elsewhere on the same host.
    fremdesTor,      ///< 200 with a page in HTML, as in a hotel's network.
};
inline constexpr int stoerungen = 11;
[[nodiscard]] std::string_view name(Stoerung art);

/// What happened to one request of the program.
struct Vorgang {
    std::string methode;
    std::string pfad;
    Stoerung stoerung{Stoerung::keine};
    int status{0};          ///< The service's; 0: it has not been asked, or did not answer.
    bool zugestellt{false}; ///< The service's whole answer has left for the program.
    std::string quellpfad;  ///< Of an upload.
    std::string dateiname;  ///< Of a file handed over.
    std::string hash;       ///< Of a file handed over: SHA-256.
};

/// Stands between the program and the service: passes on, disturbs on purpose, writes down; and serves the page whose
/// scripts are the driver's hands in the program.
/// Threads: any.
class Leitung {
public:
    Leitung();
    ~Leitung();
    Leitung(Leitung const&) = delete;
    Leitung& operator=(Leitung const&) = delete;

    [[nodiscard]] std::string adresse() const { return "http://127.0.0.1:" + std::to_string(port_); }
    /// Where the service listens from now on.
    void dienstBei(int port) { dienstport_ = port; }
    /// `prozent` of the program's requests are disturbed, in one of these ways.
    void stoere(unsigned prozent, std::vector<Stoerung> arten, std::uint64_t saat);
    void ruhe() { stoere(0, {}, 0); }
    /// Whether a request is under way, those of the page's hands left out.
    [[nodiscard]] bool unterwegs() const { return unterwegs_ > 0; }
    /// All since the last call.
    [[nodiscard]] std::vector<Vorgang> abholen();

    /// The body of an asynchronous function, run in the page that is open; its result. Throws std::runtime_error when
    /// the function throws or nothing has come back by then.
    nlohmann::json rufe(std::string_view rumpf, std::chrono::seconds frist);
    int beginne(std::string_view rumpf);
    nlohmann::json ergebnis(int nummer, std::chrono::seconds frist);
    [[nodiscard]] int dokumente() const;
    [[nodiscard]] bool warteAufDokument(int wievieltes, std::chrono::seconds frist) const;
    /// Pages of before are forgotten, and what they were still to do.
    void neueSeite();

private:
    struct Anfrage;
    void annehmen();
    void bedienen(int fd);
    [[nodiscard]] bool behandle(int fd, Anfrage const& anfrage);
    [[nodiscard]] std::string befehl(std::string const& exemplar, int erhalten);
    [[nodiscard]] std::optional<std::string> amDienst(Anfrage const& anfrage, Vorgang& vorgang) const;
    [[nodiscard]] bool sende(int fd, std::string_view bytes) const;
    void warte(std::chrono::milliseconds dauer) const;

    int lauscher_{-1};
    int port_{0};
    std::atomic<int> dienstport_{0};
    std::atomic<bool> ende_{false};
    std::atomic<int> faeden_{0};
    std::atomic<int> unterwegs_{0};
    mutable std::mutex sperre_; ///< Guards all that follows.
    mutable std::condition_variable aenderung_;
    std::set<int> offene_;
    unsigned prozent_{0};
    std::vector<Stoerung> arten_;
    Zufall zufall_{0};
    std::vector<Vorgang> vorgaenge_;
    std::string exemplar_;
    std::set<std::string> gesehen_;
    int dokumente_{0};
    std::deque<std::pair<int, std::string>> wartend_;
    std::map<int, nlohmann::json> ergebnisse_;
    int zaehler_{0};
    std::thread annehmer_;
};

} // namespace quillmate::dauer
