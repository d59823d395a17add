#pragma once

#include "umzug/umzug.h"
#include "werkzeug/buendelkunde.h"
#include "werkzeug/voreinstellungen.h"

#include <algorithm>
#include <deque>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace quillmate::werkzeug {

/// Folders as a set of paths. Every operation that changes something is written down; the one at which `scheitertBei`
/// points fails.
class SpeicherDateiwerk final : public ports::Dateiwerk {
public:
    explicit SpeicherDateiwerk(FesteBuendelkunde& kunde)
        : kunde_(kunde) {}

    bool beschreibbar(std::string const& ordner) override { return beschreibbare.contains(ordner); }
    bool vorhanden(std::string const& pfad) override { return vorhandene.contains(pfad); }
    bool derselbe(std::string const& einer, std::string const& anderer) override {
        return gleiche.contains({einer, anderer}) || gleiche.contains({anderer, einer});
    }
    ports::Hindernis ordnerAnlegen(std::string const& ordner) override {
        if (!schritt("anlegen " + ordner))
            return "Der Ordner konnte nicht angelegt werden.";
        vorhandene.insert(ordner);
        return {};
    }
    ports::Hindernis inDenPapierkorb(std::string const& pfad) override {
        if (!schritt("papierkorb " + pfad))
            return "Der Papierkorb ist voll.";
        vorhandene.erase(pfad);
        kunde_.buendel.erase(pfad);
        return {};
    }
    ports::Hindernis kopieren(std::string const& von, std::string const& nach) override {
        if (!schritt("kopieren " + von + " -> " + nach))
            return "Auf dem Datenträger ist kein Platz mehr.";
        vorhandene.insert(nach);
        if (auto const buendel = kunde_.lesen(von)) {
            kunde_.buendel[nach] = *buendel;
            kunde_.buendel[nach].pfad = nach;
        }
        return {};
    }
    void resteEntfernen(std::string const& nach) override { schritte.push_back("reste " + nach); }
    void downloadmarkenEntfernen(std::string const& pfad) override { schritte.push_back("marken " + pfad); }
    std::optional<ports::Datentraeger> datentraeger(std::string const& /*pfad*/) override { return traeger; }

    std::set<std::string> beschreibbare;
    std::set<std::string> vorhandene;
    std::set<std::pair<std::string, std::string>> gleiche;
    std::optional<ports::Datentraeger> traeger;
    std::vector<std::string> schritte;
    std::string scheitertBei; ///< Beginning of the step that fails.

private:
    bool schritt(std::string was) {
        bool const gelingt = scheitertBei.empty() || !was.starts_with(scheitertBei);
        schritte.push_back(std::move(was) + (gelingt ? "" : " SCHEITERT"));
        return gelingt;
    }
    FesteBuendelkunde& kunde_;
};

/// Answers questions as told, in order; the last button when nothing was told.
class AntwortendeDialoge final : public ports::Dialoge {
public:
    void fragen(
        ports::Programmfenster& fenster, ports::Frage const& frage,
        std::function<void(ports::Antwort)> antwort) override {
        blattfenster.push_back(&fenster);
        antwort(beantwortet(frage));
    }
    ports::Antwort fragenUndWarten(ports::Frage const& frage) override { return beantwortet(frage); }
    void eingeben(
        ports::Programmfenster&, ports::Frage const&, std::string const&,
        std::function<void(std::optional<std::string>)> antwort) override {
        antwort(std::nullopt);
    }
    void zugang(
        ports::Programmfenster&, ports::Frage const&,
        std::function<void(std::optional<ports::Zugangsdaten>)> antwort) override {
        antwort(std::nullopt);
    }
    void dateienWaehlen(
        ports::Dateiwahl const&,
        std::function<void(std::optional<std::vector<std::string>>)> antwort) override {
        antwort(std::nullopt);
    }

    std::deque<std::size_t> knoepfe;
    std::vector<ports::Frage> gestellt;
    std::vector<ports::Programmfenster*> blattfenster; ///< One for each question that was a sheet.

private:
    ports::Antwort beantwortet(ports::Frage const& frage) {
        gestellt.push_back(frage);
        ports::Antwort antwort{.knopf = frage.knoepfe.size() - 1};
        if (!knoepfe.empty()) {
            antwort.knopf = knoepfe.front();
            knoepfe.pop_front();
        }
        return antwort;
    }
};

/// Everything that a move needs, with one list of what happened in which order.
struct Umzugswelt {
    struct Neustart final : ports::Neustart {
        explicit Neustart(Umzugswelt& w)
            : welt(w) {}
        void vorbereiten(ports::Buendel const& ziel, std::string const& auswerfen) override {
            welt.werk.schritte.push_back(
                "neustart " + ziel.pfad + (auswerfen.empty() ? "" : " auswerfen " + auswerfen));
            merkerBeimNeustart =
                welt.voreinstellungen.wahrheitswert(Umzug::schluesselGeradeUmgezogen).value_or(false);
        }
        Umzugswelt& welt;
        bool merkerBeimNeustart{false};
    };
    struct Schleife final : ports::Hauptschleife {
        explicit Schleife(Umzugswelt& w)
            : welt(w) {}
        void spaeter(Arbeit arbeit) override { arbeit(); }
        void nach(std::chrono::milliseconds, Arbeit arbeit) override { arbeit(); }
        void beenden() override { welt.werk.schritte.push_back("beenden"); }
        Umzugswelt& welt;
    };
    struct Menue final : ports::Menueeintrag {
        explicit Menue(Umzugswelt& w)
            : welt(w) {}
        void eintragen(ports::Buendel const& buendel) override {
            welt.werk.schritte.push_back("menue " + buendel.pfad);
        }
        Umzugswelt& welt;
    };

    FesteBuendelkunde kunde;
    SpeicherDateiwerk werk{kunde};
    AntwortendeDialoge dialoge;
    SpeicherVoreinstellungen voreinstellungen;
    Neustart neustart{*this};
    Schleife schleife{*this};
    Menue menue{*this};
    Umzug::Umzieher umzieher{
        {.buendelkunde = kunde,
         .dateiwerk = werk,
         .dialoge = dialoge,
         .voreinstellungen = voreinstellungen,
         .menueeintrag = menue,
         .neustart = neustart,
         .hauptschleife = schleife},
        {.downloads = "/home/anna/Downloads", .zuhause = "/home/anna"}};

    void buendel(
        std::string const& pfad, std::optional<std::string> nummer = "50",
        std::optional<std::string> kennung = "de.tandemwerk.quillmate") {
        kunde.buendel[pfad] = {
            .pfad = pfad,
            .kennung = std::move(kennung),
            .name = "Quillmate",
            .buildnummer = std::move(nummer)};
        werk.vorhandene.insert(pfad);
    }
    /// The program runs from this bundle.
    void laeuftAus(std::string const& pfad, std::optional<std::string> nummer = "50") {
        buendel(pfad, std::move(nummer));
        kunde.laufendes = pfad;
    }
    [[nodiscard]] bool geschah(std::string const& schritt) const {
        return std::ranges::find(werk.schritte, schritt) != werk.schritte.end();
    }
};

} // namespace quillmate::werkzeug
