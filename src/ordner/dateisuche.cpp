#include "dateisuche.h"

#include "endungsfilter.h"
#include "grundlage/datei.h"
#include "grundlage/dateiarten.h"
#include "grundlage/frist.h"
#include "wanderung.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <limits>
#include <new>
#include <ranges>
#include <utility>

namespace quillmate::Ordner {

Endungen const endungen = [] {
    Endungen alle;
    for (auto const& zeile : belegendungen)
        alle.emplace(zeile.endung);
    return alle;
}();

std::set<std::string, std::less<>> const ausgeschlosseneNamen{
    "Library",       "Music",   "Movies", "Pictures",     "node_modules", ".git",
    "site-packages", ".venv",   "venv",   "Pods",         "vendor",       "DerivedData",
    ".cache",        "Caches",  ".Trash", "Applications", "__pycache__",  ".npm",
    ".cargo",        ".gradle", ".m2",    "dist-packages"};

std::vector<std::string> const ausgeschlosseneEndungen{".photoslibrary", ".app", ".sparsebundle"};

bool ueberspringen(std::string_view name) {
    if (name.starts_with('.') || ausgeschlosseneNamen.contains(name))
        return true;
    return std::ranges::any_of(
        ausgeschlosseneEndungen, [name](std::string const& endung) { return name.ends_with(endung); });
}

namespace {

constexpr std::int64_t meldeabstand = 25;
constexpr std::chrono::duration<double> wolkenpause{2.0};
constexpr unsigned platzhalterfaeden = 2;

std::string pfadVon(std::string_view ordner, std::string_view name) {
    std::string pfad;
    pfad.reserve(ordner.size() + 1 + name.size());
    return pfad.append(ordner).append(1, '/').append(name);
}

class Fundsammler final : public Abnehmer {
public:
    explicit Fundsammler(Suchauftrag const& auftrag)
        : auftrag_(auftrag) {}

    bool weiter() override {
        return funde_.size() < auftrag_.hoechstens && !(auftrag_.abbrechen && auftrag_.abbrechen());
    }

    bool nimm(std::string_view ordner, Kandidat const& kandidat) override {
        auto pfad = pfadVon(ordner, kandidat.name);
        if (auftrag_.ausserdem && !auftrag_.ausserdem(pfad, kandidat.groesse))
            return true;
        funde_.push_back(
            {.pfad = std::move(pfad),
             .groesse = kandidat.groesse,
             .geaendert = kandidat.geaendert,
             .erstellt = kandidat.erstellt,
             .geraet = kandidat.geraet,
             .inode = kandidat.inode,
             .ueberVerweis = kandidat.ueberVerweis});
        if (auftrag_.jeFund && anzahl() % meldeabstand == 0)
            auftrag_.jeFund(anzahl());
        return funde_.size() < auftrag_.hoechstens;
    }

    [[nodiscard]] std::int64_t anzahl() const { return static_cast<std::int64_t>(funde_.size()); }

    /// Newest first; equal times keep the order in which they came.
    std::vector<Fund> neuesteZuerst() && {
        // Sorting the short keys and moving each record once is cheaper than sorting the records.
        struct Platz {
            Zeit geaendert;
            std::size_t stelle;
        };
        std::vector<Platz> plaetze;
        std::vector<Fund> sortiert;
        try {
            plaetze.reserve(funde_.size());
            sortiert.reserve(funde_.size());
        } catch (std::bad_alloc const&) {
            // Slower, and does with the memory that there is.
            std::ranges::stable_sort(funde_, std::ranges::greater{}, &Fund::geaendert);
            return std::move(funde_);
        }
        for (std::size_t i = 0; i < funde_.size(); ++i)
            plaetze.push_back({.geaendert = funde_[i].geaendert, .stelle = i});
        std::ranges::sort(plaetze, [](Platz const& a, Platz const& b) {
            return a.geaendert != b.geaendert ? a.geaendert > b.geaendert : a.stelle < b.stelle;
        });
        for (auto const& platz : plaetze)
            sortiert.push_back(std::move(funde_[platz.stelle]));
        return sortiert;
    }

private:
    Suchauftrag const& auftrag_;
    std::vector<Fund> funde_;
};

class Pfadsammler final : public Abnehmer {
public:
    Pfadsammler(std::size_t hoechstens, std::function<bool()> const& abbrechen)
        : hoechstens_(hoechstens)
        , abbrechen_(abbrechen) {}

    bool weiter() override { return pfade_.size() < hoechstens_ && !(abbrechen_ && abbrechen_()); }
    bool nimm(std::string_view ordner, Kandidat const& kandidat) override {
        pfade_.push_back(pfadVon(ordner, kandidat.name));
        return pfade_.size() < hoechstens_;
    }
    [[nodiscard]] std::vector<std::string> pfade() && { return std::move(pfade_); }

private:
    std::size_t hoechstens_;
    std::function<bool()> const& abbrechen_;
    std::vector<std::string> pfade_;
};

/// Takes nothing and can end the walk.
class Zaehler final : public Abnehmer {
public:
    explicit Zaehler(std::function<bool()> const& abbrechen)
        : abbrechen_(abbrechen) {}

    bool weiter() override {
        abgebrochen_ = abgebrochen_ || (abbrechen_ && abbrechen_());
        return !abgebrochen_;
    }
    bool nimm(std::string_view /*ordner*/, Kandidat const& /*kandidat*/) override { return true; }
    [[nodiscard]] bool abgebrochen() const { return abgebrochen_; }

private:
    bool abgebrochen_{false};
    std::function<bool()> const& abbrechen_;
};

/// Runs the walk with a filter for these extensions; without memory for that, as if it had not begun.
template<typename Wandern>
Wanderergebnis mitFilter(Endungen const& gewuenscht, Suchbilanz* bilanz, Wandern&& wandernMit) {
    try {
        Endungsfilter const filter{gewuenscht};
        return wandernMit(filter);
    } catch (std::bad_alloc const&) {
        if (bilanz != nullptr)
            bilanz->abbruch = Fehler{.art = Fehlerart::keineMittel, .satz = "Kein Speicher"};
        return {};
    }
}

/// A place at which somebody still hangs keeps nobody else.
bool haengtGerade(std::string const& ordner, Suchbilanz* bilanz) {
    if (!haengt(ordner))
        return false;
    if (bilanz != nullptr)
        bilanz->abbruch = fehler(Fehlerart::zeitAbgelaufen, ordner, "Ordner antwortet nicht").error();
    return true;
}

bool vorhanden(std::string const& pfad) {
    if (::access(pfad.c_str(), F_OK) == 0)
        return true;
    return errno == ENAMETOOLONG && oeffnen(pfad, O_PATH);
}

/// The moment `dauer` after `jetzt`, or the end of all time when the clock cannot express it.
ports::Uhr::Zeitpunkt spaeter(ports::Uhr::Zeitpunkt jetzt, std::chrono::duration<double> dauer) {
    using Zeitpunkt = ports::Uhr::Zeitpunkt;
    std::chrono::duration<double> const rest = Zeitpunkt::max() - jetzt;
    if (dauer >= rest)
        return Zeitpunkt::max();
    return jetzt + std::chrono::duration_cast<Zeitpunkt::duration>(dauer);
}

} // namespace

std::vector<Fund> durchsuchen(std::string const& ordner, Suchauftrag const& auftrag) {
    if (haengtGerade(ordner, auftrag.bilanz))
        return {};
    Fundsammler sammler{auftrag};
    auto const ergebnis = mitFilter(
        auftrag.nurEndungen ? *auftrag.nurEndungen : endungen, auftrag.bilanz,
        [&](Endungsfilter const& filter) {
            // A condition may refuse any number of candidates before the limit is reached.
            auto const kandidaten =
                auftrag.ausserdem ? std::numeric_limits<std::size_t>::max() : auftrag.hoechstens;
            return wandern(
                ordner,
                {.ziel = Ziel::funde,
                 .filter = filter,
                 .faeden = auftrag.faeden,
                 .hoechstens = kandidaten,
                 .orte = auftrag.orte,
                 .bilanz = auftrag.bilanz},
                sammler);
        });
    if (!ergebnis.begonnen)
        return {};
    if (auftrag.jeFund)
        auftrag.jeFund(sammler.anzahl());
    return std::move(sammler).neuesteZuerst();
}

Ergebnis<std::int64_t> zaehlen(
    std::string const& ordner, Endungen const& nurEndungen, std::int64_t mindestGroesse,
    std::function<bool()> const& abbrechen, unsigned faeden) {
    Suchbilanz bilanz;
    if (haengtGerade(ordner, &bilanz))
        return std::unexpected{*std::move(bilanz.abbruch)};
    Zaehler zaehler{abbrechen};
    auto const ergebnis = mitFilter(nurEndungen, &bilanz, [&](Endungsfilter const& filter) {
        return wandern(
            ordner,
            {.ziel = Ziel::anzahl,
             .filter = filter,
             .mindestgroesse = mindestGroesse,
             .faeden = faeden,
             .bilanz = &bilanz},
            zaehler);
    });
    // A folder that is not there, or may not be read, holds none that could be counted.
    if (bilanz.abbruch && !bilanz.abbruch->sagtEtwasUeberDieSache())
        return std::unexpected{*std::move(bilanz.abbruch)};
    if (zaehler.abgebrochen())
        return fehler(Fehlerart::gestoppt, ordner, "Zählen angehalten");
    return ergebnis.anzahl;
}

std::vector<std::string> platzhalter(
    std::string const& ordner, std::size_t hoechstens, std::function<bool()> const& abbrechen) {
    if (haengtGerade(ordner, nullptr))
        return {};
    Pfadsammler sammler{hoechstens, abbrechen};
    (void)mitFilter(endungen, nullptr, [&](Endungsfilter const& filter) {
        return wandern(
            ordner,
            {.ziel = Ziel::platzhalter,
             .filter = filter,
             .faeden = platzhalterfaeden,
             .hoechstens = hoechstens},
            sammler);
    });
    return std::move(sammler).pfade();
}

std::int64_t ausDerCloudLaden(
    std::vector<std::string> const& dateien, std::chrono::duration<double> hoechstensSekunden,
    std::function<void(std::int64_t)> const& fortschritt, ports::Wolke& wolke, ports::Uhr& uhr,
    std::function<bool()> const& abbrechen) {
    for (auto const& datei : dateien) {
        if (abbrechen && abbrechen())
            return 0;
        wolke.anfordern(datei);
    }
    if (!(hoechstensSekunden.count() > 0)) // also when it is no number
        return 0;
    auto const frist = spaeter(uhr.jetzt(), hoechstensSekunden);
    auto const alle = static_cast<std::int64_t>(dateien.size());
    for (;;) {
        std::int64_t const anzahl = std::ranges::count_if(dateien, vorhanden);
        if (fortschritt)
            fortschritt(anzahl);
        if (anzahl == alle)
            return anzahl;
        uhr.schlafen(wolkenpause);
        if (uhr.jetzt() >= frist || (abbrechen && abbrechen()))
            return anzahl;
    }
}

} // namespace quillmate::Ordner
