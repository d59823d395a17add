#pragma once

#include "dienst/dienst.h"
#include "dienst/zugang.h"
#include "grundlage/json.h"
#include "ordner/fund.h"
#include "ordner/merkliste.h"
#include "ports/arbeitsfaden.h"
#include "ports/standardorte.h"
#include "ports/uhr.h"
#include "ports/wolke.h"
#include "stoppwaechter.h"
#include "suchstand.h"
#include "texterkennung/texterkennung.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

namespace quillmate::MacScan {

/// Limit for downloading the cloud placeholders of one place, in seconds.
inline constexpr double zeitbudgetSekunden = 90.0;
/// Images of fewer bytes are ignored by the extended image search: icons and thumbnails.
inline constexpr std::int64_t BILD_MINDESTGROESSE = 8000;
/// Finds per place.
inline constexpr std::size_t hoechstensJeOrt = 25000;
/// Uploads at once.
inline constexpr int uploadPlaetze = 2;

/// What is under way when a stop comes gets that long to end by itself: a file that is being read or sent. Together with
/// the second between two looks of a call, and the final report, a stop is obeyed within three seconds.
inline constexpr std::chrono::milliseconds nachlaufNachStopp{800};
/// After a stop the final report has this long, and what of it has not gone by then does not go.
inline constexpr std::chrono::milliseconds schlussmeldungNachStopp{900};

/// Number of parallel readers: one less than the processor has cores, but 2 to 8.
[[nodiscard]] int leserAnzahl(int kerne);
/// Cores that this process may use.
[[nodiscard]] int aktiveKerne();

/// Takes each message to the page: a JSON object. Called on worker threads, and on the caller's for a
/// refusal.
using Melder = std::function<void(Json const&)>;

/// What a full scan is asked for.
struct Scanauftrag {
    dienst::Zugang zugang;
    bool alles{false}; ///< Re-examine what the service already knows.
    bool fotos{false}; ///< Send every image without reading it.
    std::optional<std::string>
        nurOrdner; ///< `kennung` of the one remembered folder to search, for images only.
    std::int64_t hoechstensBilder{500}; ///< Limit of that search.
};

/// What a targeted search is asked for.
struct Suchanfrage {
    dienst::Zugang zugang;
    std::int64_t transactionId{0};        ///< The booking.
    std::vector<std::string> stichworte;  ///< Words that describe it.
    std::vector<std::string> betragTexte; ///< Its amount in one or more forms.
    std::optional<Ordner::Zeit> datum;
};

/// What scans work with. Borrowed: everything must outlive the Suche.
struct Umgebung {
    Ordner::Merkliste& merkliste;
    ports::Standardorte& standardorte;
    Texterkennung::Erkenner& erkenner;
    dienst::Dienst& dienst;
    ports::Uhr& uhr;
    ports::Arbeitsfaden& arbeitsfaden;
    ports::Wolke& wolke;
    int leser{leserAnzahl(aktiveKerne())}; ///< Reading threads.
    /// A place from which nothing comes for that long is left alone: a share whose server is gone.
    std::chrono::milliseconds ortsfrist{20'000};
};

/// The local receipt search of this process: one full scan or targeted search at a time, each on threads of
/// low priority of its own. All messages go through the Melder; keys and texts are those of the page's
/// protocol.
/// Threads: any. Destroying stops a running scan, ends its service calls, and waits for its
/// threads.
class Suche {
public:
    explicit Suche(Umgebung const& umgebung);
    ~Suche();
    Suche(Suche const&) = delete;
    Suche& operator=(Suche const&) = delete;

    /// Starts a full scan and returns at once; "fehler" goes to `melden` when one is running.
    void starten(Scanauftrag auftrag, Melder melden);
    /// Starts the search for the receipt of one booking and returns at once.
    void gezieltSuchen(Suchanfrage anfrage, Melder melden);
    /// Number of images in the remembered folder of this identifier; nothing when there is no such folder or
    /// it may not be read. Blocks; call it from a worker. With `ende` requested it returns soon, with nothing.
    [[nodiscard]] std::optional<std::int64_t> bilderZaehlen(
        std::string_view kennung, std::stop_token const& ende = {});

    /// Stops the running full scan, as the service's stop does.
    void anhalten();
    [[nodiscard]] bool laeuft() const;

    SuchStand stand;
    StoppWaechter stoppWaechter;

private:
    /// Takes the one place; false when it is taken.
    [[nodiscard]] bool belegen();
    void freigeben();
    /// Runs `arbeit` on the background thread; the place is given back at its end, however it ends. `melden`
    /// hears of a run that could not begin or broke off.
    void imHintergrund(std::function<void(std::stop_token const&)> arbeit, Melder const& melden);
    void beenden();

    Umgebung const umgebung_;
    mutable std::mutex sperre_; ///< Guards laeuft_.
    bool laeuft_{false};
    std::mutex
        fadensperre_;    ///< Guards faden_: the next run may begin before the last one's start has returned.
    std::jthread faden_; ///< Last member: it uses all others.
};

} // namespace quillmate::MacScan
