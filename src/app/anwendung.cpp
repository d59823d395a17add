#include "anwendung.h"

#include "adapter/linux/einbaumarke.h"
#include "adapter/linux/verzeichnisse.h"
#include "grundlage/protokoll.h"
#include "grundlage/prozesswerte.h"
#include "menue.h"
#include "portalanschluss.h"

#include <sys/utsname.h>

#include <chrono>
#include <filesystem>
#include <utility>
#include <variant>
#include <vector>

namespace quillmate::app {
namespace {

adapter::gtk::Programmangaben ueberQuillmate(std::optional<ports::Buendel> const& buendel) {
    return {
        .fassung = std::string{fassungstext},
        .symbol = "quillmate",
        .symbolordner = buendel ? buendel->pfad + "/Contents/Resources" : std::string{},
        .webseite = "https://quillmate.example",
        .mitwirkende = {
            "GTK und libadwaita (LGPL)", "WebKitGTK (LGPL, BSD)", "MuPDF (AGPL)",
            "Tesseract und Leptonica (Apache, BSD)", "libheif und libde265 (LGPL)",
            "libcurl, ICU, OpenSSL, SQLite"}};
}

/// Standard commands go to what has the keyboard.
ports::Standardbefehl standardbefehl(menue::Befehl befehl) {
    using enum menue::Befehl;
    switch (befehl) {
    case ueber:
        return ports::Standardbefehl::ueber;
    case ausblenden:
        return ports::Standardbefehl::ausblenden;
    case beenden:
        return ports::Standardbefehl::beenden;
    case fensterSchliessen:
        return ports::Standardbefehl::fensterSchliessen;
    case widerrufen:
        return ports::Standardbefehl::widerrufen;
    case wiederholen:
        return ports::Standardbefehl::wiederholen;
    case ausschneiden:
        return ports::Standardbefehl::ausschneiden;
    case kopieren:
        return ports::Standardbefehl::kopieren;
    case einsetzen:
        return ports::Standardbefehl::einsetzen;
    case allesAuswaehlen:
        return ports::Standardbefehl::allesAuswaehlen;
    case nachUpdatesSuchen:
    case neuLaden:
    case zurueck:
    case vorwaerts:
    case drucken:
        break;
    }
    return ports::Standardbefehl::beenden; // Not reached: these belong to an object of the program.
}

/// Both without links on the way: the running bundle's own path has none, and they are compared as texts.
Umzug::Ordner umzugsordner(ports::Standardorte& standardorte) {
    auto const wirklich = [](std::string const& pfad) {
        std::error_code fehler;
        auto const ohneVerweise = std::filesystem::canonical(pfad, fehler);
        return fehler ? pfad : ohneVerweise.string();
    };
    return {
        .downloads = wirklich(standardorte.pfade().downloads),
        .zuhause = wirklich(adapter::linux::heimordner())};
}

/// Where the program goes on without one, what needs it fails by itself.
std::string temporaererOrdner() {
    auto const ordner = adapter::linux::temporaererOrdner();
    if (!ordner)
        protokoll("Für vorübergehende Dateien gibt es keinen Ort: " + ordner.error().text());
    return ordner.value_or(adapter::linux::keinOrdner);
}

/// The processor, as downloads are told apart by.
std::string architektur() {
    utsname angaben{};
    return ::uname(&angaben) == 0 ? std::string{angaben.machine} : std::string{};
}

} // namespace

Anwendung::Suchwelt::Suchwelt(
    ports::Voreinstellungen& voreinstellungen, ports::Standardorte& standardorte,
    netz::Vermittlersuche& vermittler)
    : merkliste{voreinstellungen, lesezeichen}
    , speicher{adapter::linux::zwischenspeicherOrdner(), Texterkennung::lesemethode()}
    , erkenner{leser, speicher}
    , dienst{&vermittler}
    , suche{
          {.merkliste = merkliste,
           .standardorte = standardorte,
           .erkenner = erkenner,
           .dienst = dienst,
           .uhr = uhr,
           .arbeitsfaden = arbeitsfaden,
           .wolke = wolke}} {}

Anwendung::Anwendung(umgebung::Vorher vorher, Deskriptor eigeneProbe)
    : buendel_(adapter::linux::eigenesBuendel())
    , kennung_(adapter::linux::eigeneKennung())
    , temporaererOrdner_(temporaererOrdner())
    , voreinstellungen_(adapter::linux::VoreinstellungenPlist::dateiFuer(kennung_))
    , oberflaeche_(
          kennung_, ueberQuillmate(buendel_),
          {.gestartet = [this] { gestartet(); },
           .oeffnen =
               [this](std::string const& adresse) {
                   adresseErhalten(adresse);
               }})
    , schleife_([this] { oberflaeche_.beenden(); })
    , ordnertafel_(oberflaeche_.gtk())
    , standardprogramm_(vorher)
    , neustart_(vorher)
    , umzieher_(
          {.buendelkunde = buendelkunde_,
           .dateiwerk = dateiwerk_,
           .dialoge = dialoge_,
           .voreinstellungen = voreinstellungen_,
           .menueeintrag = menueeintrag_,
           .neustart = neustart_,
           .hauptschleife = schleife_},
          umzugsordner(standardorte_))
    , suchwelt_(voreinstellungen_, standardorte_, vermittler_)
    , einbau_(adapter::linux::markenordner(kennung_), std::move(vorher), std::move(eigeneProbe))
    , aktualisierungsanzeige_(oberflaeche_.gtk())
    , aktualisierer_(
          {.buendelkunde = buendelkunde_,
           .einbau = einbau_,
           .voreinstellungen = voreinstellungen_,
           .schleife = schleife_,
           .anzeige = aktualisierungsanzeige_,
           .lader = lader_,
           .jetzt = [] { return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()); },
           .architektur = architektur()})
    , schemahandler_(
          {.schema = "quillmate",
           .kennung = kennung_,
           .name = "Quillmate",
           .programm = buendel_ ? buendel_->programm.value_or("") : std::string{}},
          adapter::linux::Anwendungsordner::desBenutzers())
    , browseranmeldung_(
          {.standardprogramm = standardprogramm_,
           .warteblaetter = warteblaetter_,
           .rueckwegEinrichten =
               [this] {
                   return schemahandler_.sicherstellen();
               }})
    , anmeldung_(
          {.werk = browseranmeldung_,
           .start = startAdresse(),
           .laden =
               [this](std::string const& adresse) {
                   if (haupt_)
                       haupt_->web().laden(adresse);
               }})
    , adressdialog_(oberflaeche_.gtk())
    , portaladresse_(voreinstellungen_, adressdialog_)
    , portalablage_(temporaererOrdner_)
    , belegversand_(portalablage_, &vermittler_) {}

Anwendung::~Anwendung() {
    // A running search ends at once instead of after the file that it reads or sends.
    suchwelt_.leser.beenden();
    suchwelt_.dienst.abbrechen();
}

int Anwendung::laufen() {
    aktualisierer_.starten();
    return oberflaeche_.laufen();
}

bruecke::Umzugslage Anwendung::umzugslage() {
    auto const lage = umzieher_.lage();
    return {
        .ort = std::string{Umzug::rohwert(lage.ort)},
        .umzugNoetig = lage.umzugNoetig(),
        .ausfuehren = [this, lage] {
            umzieher_.ausfuehren(lage);
        }};
}

void Anwendung::gestartet() {
    if (umzieher_.lage().umzugNoetig())
        aktualisierer_.angelaufen(); // The question may stand there for hours.
    if (umzieher_.pruefenUndAnbieten())
        return; // This process ends, the one at the new place goes on.
    auto const lage = umzugslage();
    portalablage_.aufraeumen();
    sitzungen_.emplace(
        adapter::gtk::WebSitzungen::Ordner{
            .daten = adapter::linux::datenordner() + '/' + kennung_,
            .zwischenspeicher = adapter::linux::cacheordner() + '/' + kennung_},
        adapter::gtk::demozertifikat(kennung_));
    werk_.emplace(oberflaeche_.gtk(), *sitzungen_, voreinstellungen_);
    menueBauen();
    schemahandler_.auffrischen();
    haupt_ = std::make_unique<fenster::Fenster>(fenster::Fensterumgebung{
        .werk = *werk_,
        .dialoge = dialoge_,
        .schleife = schleife_,
        .standardprogramm = standardprogramm_,
        .standardorte = standardorte_,
        .uhr = suchwelt_.uhr,
        .temporaererOrdner = temporaererOrdner_,
        .start = startAdresse(),
        .angaben =
            {.kurzfassung = buendel_ ? buendel_->kurzfassung : std::nullopt,
             .buildnummer = buendel_ ? buendel_->buildnummer : std::nullopt,
             .ort = lage.ort,
             .umzugNoetig = lage.umzugNoetig},
        .bruecke =
            {.schleife = schleife_,
             .ordnertafel = ordnertafel_,
             .arbeitsfaden = suchwelt_.arbeitsfaden,
             .aktualisierer = &aktualisierer_,
             .merkliste = suchwelt_.merkliste,
             .suche = suchwelt_.suche,
             .umzugLage = [this] { return umzugslage(); },
             .start = startAdresse()},
        .portale = portalanschluss(
            portaladresse_, {.werk = *werk_,
                             .leisten = portalleisten_,
                             .dialoge = dialoge_,
                             .schleife = schleife_,
                             .ablage = portalablage_,
                             .versand = belegversand_,
                             .browser = &standardprogramm_}),
        .anmeldung = {
            .anmeldenMitGoogle =
                [this](std::string const& adresse) { anmeldung_.anmeldenMitGoogle(adresse); },
            .bankVerbinden =
                [this](std::string const& adresse) {
                    anmeldung_.bankVerbinden(adresse);
                }}});
    // Closing the main window ends the program, whatever other windows are open.
    haupt_->fenster().beimSchliessen([this] { oberflaeche_.beenden(); });
    warteblaetter_.hauptfenster(haupt_->fenster());
    haupt_->zeigen();
    umzieher_.bestaetigenFallsUmgezogen(&haupt_->fenster());
    aktualisierer_.gestartet();
}

void Anwendung::adresseErhalten(std::string const& adresse) {
    browseranmeldung_.rueckweg(adresse);
    if (haupt_)
        haupt_->zeigen();
}

void Anwendung::menueBauen() {
    auto const handlung = [this](menue::Befehl befehl) -> std::function<void()> {
        return [this, befehl] {
            switch (befehl) {
            case menue::Befehl::nachUpdatesSuchen:
                aktualisierer_.nachUpdatesSuchen();
                break;
            case menue::Befehl::neuLaden:
                haupt_->neuLaden();
                break;
            case menue::Befehl::zurueck:
                haupt_->zurueck();
                break;
            case menue::Befehl::vorwaerts:
                haupt_->vorwaerts();
                break;
            case menue::Befehl::drucken:
                haupt_->drucken();
                break;
            default:
                break; // Standard commands do not come here.
            }
        };
    };
    std::vector<ports::Menue> menues;
    for (auto const& untermenue : menue::menueleiste()) {
        ports::Menue menue{
            .titel = std::string{untermenue.titel.empty() ? std::string_view{"Quillmate"} : untermenue.titel},
            .punkte = {}};
        for (auto const& abschnitt : untermenue.abschnitte) {
            if (!menue.punkte.empty())
                menue.punkte.push_back({.titel = {}, .taste = {}, .wirkung = ports::Trennstrich{}});
            for (auto const& eintrag : abschnitt) {
                ports::Menuepunkt punkt{
                    .titel = std::string{eintrag.titel},
                    .taste = eintrag.taste ? std::string(1, eintrag.taste->zeichen) : std::string{},
                    .wirkung = ports::Trennstrich{}};
                if (eintrag.ziel == menue::Ziel::ersterEmpfaenger)
                    punkt.wirkung = standardbefehl(eintrag.befehl);
                else
                    punkt.wirkung = handlung(eintrag.befehl);
                menue.punkte.push_back(std::move(punkt));
            }
        }
        menues.push_back(std::move(menue));
    }
    oberflaeche_.menuebalken(menues);
}

} // namespace quillmate::app
