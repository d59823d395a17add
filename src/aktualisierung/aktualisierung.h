#pragma once

#include "ports/aktualisierer.h"
#include "ports/aktualisierungsanzeige.h"
#include "ports/hauptschleife.h"
#include "ports/voreinstellungen.h"
#include "pruefung.h"
#include "zeitplan.h"

#include <atomic>
#include <chrono>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace quillmate::aktualisierung {

/// User defaults, all texts; numbers in decimal.
inline constexpr char const* schluesselLetztePruefung =
    "quillmate.aktualisierung.letztePruefung"; ///< Unix time.
inline constexpr char const* schluesselUebersprungen =
    "quillmate.aktualisierung.uebersprungen"; ///< Build number.
inline constexpr char const* schluesselAusgabe =
    "quillmate.aktualisierung.ausgabe"; ///< Highest appcast seen.
/// Build number of a version that was put in and did not start.
inline constexpr char const* schluesselGescheitert = "quillmate.aktualisierung.gescheitert";
/// Build number of a version that is being put in; told and removed by the next start.
inline constexpr char const* schluesselEingebaut = "quillmate.aktualisierung.eingebaut";

/// Keeps the program up to date: looks by itself once in a while, or at once when the user asks, offers what it finds,
/// and puts it in.
/// By itself it only speaks up when there is something to offer; asked by the user it always says what came of it.
/// Threads: main thread; the long steps run on a worker of its own. Destroying it ends them, within a second or so.
/// Ownership: borrows its helpers, which must outlive it.
class Aktualisierung final : public ports::Aktualisierer {
public:
    struct Hilfen {
        ports::Buendelkunde& buendelkunde;
        ports::Einbau& einbau;
        ports::Voreinstellungen& voreinstellungen;
        ports::Hauptschleife& schleife;
        ports::Aktualisierungsanzeige& anzeige;
        Lader& lader;
        std::function<std::chrono::sys_seconds()> jetzt;
        std::string architektur; ///< As uname(2) says it.
        bool auchHttp{false};    ///< Tests against a server of their own only.
    };

    explicit Aktualisierung(Hilfen hilfen);
    ~Aktualisierung() override;
    Aktualisierung(Aktualisierung const&) = delete;
    Aktualisierung& operator=(Aktualisierung const&) = delete;

    /// Once, at start: begins the automatic checks, where the bundle wants them.
    void starten();
    /// This version has come up, the one before may go. Before the user is asked anything: an answer may take longer than
    /// anybody watches a version on trial.
    void angelaufen();
    /// Once the main window is shown: angelaufen(), and tells the user what became of an update.
    void gestartet();
    void nachUpdatesSuchen() override;

private:
    enum class Zustand { ruht, sucht, fragt, laedt };
    enum class Wunsch { derNutzer, derZeitplan };

    void planen();
    void suche(Wunsch wunsch);
    void gefunden(Wunsch wunsch, Suchergebnis const& ergebnis);
    void bieteAn(Angebot const& angebot);
    void installiere(Angebot const& angebot);
    void bereitgestellt(Angebot const& angebot, std::optional<Fehlschlag> fehlschlag);
    /// Shown and logged: what people were told belongs to what they ask about later.
    void teileMit(std::string const& meldung, std::string const& erklaerung);
    void melde(Fehlschlag const& fehlschlag);
    void meldeHindernis(ports::Einbauhindernis const& hindernis);
    void meldeAusgang();
    void abbrechen();
    [[nodiscard]] std::expected<Anlass, Fehlschlag> anlass() const;
    /// Runs `arbeit` on the worker, then `danach` on the main thread unless this object has gone or the step was ended.
    template<typename Arbeit, typename Danach>
    void nebenher(Arbeit arbeit, Danach danach);

    Hilfen const hilfen_;
    std::optional<ports::Buendel> const eigenes_;
    Zustand zustand_{Zustand::ruht};
    bool still_{false};   ///< The search under way is the schedule's and shows nothing.
    bool geplant_{false}; ///< A timer runs.
    int schritt_{0};      ///< Counts the steps; answers of an ended one are dropped.
    std::shared_ptr<std::atomic<bool>> abbruch_;
    std::jthread arbeiter_;
    std::shared_ptr<int> const lebt_{std::make_shared<int>(0)};
};

} // namespace quillmate::aktualisierung
