#pragma once

#include "fenster/fenster.h"
#include "fenster/seiten.h"
#include "macscan/suchwelt.h"
#include "werkzeug/dialoge.h"
#include "werkzeug/download.h"
#include "werkzeug/fehlerausgabe.h"
#include "werkzeug/fensterwerk.h"
#include "werkzeug/hauptschleife.h"
#include "werkzeug/programme.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// The main window among fakes: a test is engine, user and browser. For the tests of this folder only.
namespace quillmate::fenstertest {

using ports::Entscheidung;
using ports::Navigationsart;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using werkzeug::fehlerausgabe;

inline constexpr char const* startseite = "https://quillmate.example/uebersicht";
inline ports::Absender const seite{.ursprung = "https://quillmate.example", .dokument = startseite};
using Zustellung = werkzeug::WebansichtAttrappe::Zustellung;

/// Downloads below a folder of the test, or none.
class Downloadordner final : public ports::Standardorte {
public:
    Pfade pfade() override {
        return {.schreibtisch = {}, .dokumente = {}, .downloads = downloads, .wolke = {}};
    }
    std::string downloads;
};

/// A portal's window that a test closes.
class PortalAttrappe final : public fenster::Portalansicht {
public:
    explicit PortalAttrappe(bool& sichtbar)
        : sichtbar_(sichtbar) {}
    void zeigen() override { sichtbar_ = true; }
    [[nodiscard]] bool sichtbar() const override { return sichtbar_; }

private:
    bool& sichtbar_;
};

class FensterTest : public testing::Test {
protected:
    FensterTest() { orte.downloads = welt.heim.pfad("Downloads"); }

    fenster::Fenster& baue() {
        aufbau = fehlerausgabe([&] {
            haupt.emplace(fenster::Fensterumgebung{
                .werk = werk,
                .dialoge = dialoge,
                .schleife = schleife,
                .standardprogramm = browser,
                .standardorte = orte,
                .uhr = welt.uhr,
                .temporaererOrdner = welt.heim.ordner("tmp"),
                .start = Adresse::lesen(start).value(),
                .angaben =
                    {.kurzfassung = "1.2", .buildnummer = "3", .ort = "programme", .umzugNoetig = false},
                .bruecke =
                    {.schleife = schleife,
                     .ordnertafel = tafel,
                     .arbeitsfaden = welt.arbeitsfaden,
                     .aktualisierer = nullptr,
                     .merkliste = welt.merkliste,
                     .suche = suche,
                     .umzugLage =
                         [] { return bruecke::Umzugslage{.ort = "programme", .umzugNoetig = false}; },
                     .start = Adresse::lesen(start).value()},
                .portale = portale,
                .anmeldung = anmeldung});
        });
        return *haupt;
    }
    werkzeug::WebansichtAttrappe& web() { return *werk.ansichten.front(); }
    ports::Webansicht::Empfaenger& engine() { return web().empfaenger(); }
    /// The scripts of notices, without those that announce them.
    std::vector<std::string> meldungen() {
        auto alle = web().skripte;
        std::erase(alle, fenster::ansageskript());
        return alle;
    }
    std::vector<std::string>& buch() { return werk.buch->zeilen; }

    Entscheidung navigation(
        std::optional<std::string> const& adresse, Navigationsart art = Navigationsart::link,
        bool umgeleitet = false) {
        return engine().beiNavigation(
            web(), {.adresse = adresse, .art = art, .umgeleitet = umgeleitet, .geste = geste()});
    }
    Entscheidung antwort(std::string const& contentDisposition, bool darstellbar = true) {
        return engine().beiAntwort(
            web(), {.adresse = "https://quillmate.example/x",
                    .mimetyp = "application/pdf",
                    .contentDisposition = contentDisposition,
                    .darstellbar = darstellbar,
                    .geste = geste(),
                    .verhaeltnis = "same-origin"});
    }
    ports::Webansicht* neuesFenster(std::optional<std::string> const& adresse, bool zielrahmen = false) {
        return engine().neuesFenster(
            web(), {.adresse = adresse, .zielrahmen = zielrahmen, .geste = geste()},
            [this](ports::Webansicht::Empfaenger& empfaenger) { return werk.verwandte(empfaenger); });
    }
    std::shared_ptr<werkzeug::DownloadAttrappe> download() {
        auto neuer = std::make_shared<werkzeug::DownloadAttrappe>();
        engine().heruntergeladen(web(), neuer);
        return neuer;
    }

    /// The number of another click, unless nobody clicks.
    std::uint64_t geste() { return geklickt ? ++gesten : 0; }

    bool geklickt{true};
    std::uint64_t gesten{0};
    std::string start{startseite};
    werkzeug::HandSchleife schleife;
    werkzeug::Suchwelt welt;
    MacScan::Suche suche{welt.umgebung()};
    werkzeug::OrdnertafelAttrappe tafel;
    werkzeug::FensterwerkAttrappe werk;
    werkzeug::DialogeAttrappe dialoge;
    werkzeug::StandardprogrammAttrappe browser;
    Downloadordner orte;
    fenster::Portalanschluss portale;
    fenster::Anmeldeanschluss anmeldung;
    std::string aufbau; ///< What the construction logged.
    std::optional<fenster::Fenster> haupt;
};

inline ports::Ladefehler netzfehler(std::string beschreibung = "Kein Netz") {
    return {.bereich = "netz", .nummer = -1009, .beschreibung = std::move(beschreibung)};
}

} // namespace quillmate::fenstertest
