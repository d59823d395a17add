#include "anwendung.h"

#include "grundlage/prozesswerte.h"
#include "menue.h"
#include "plattform_linux/verzeichnisse.h"
#include "portalanschluss.h"

#include <sys/utsname.h>

#include <chrono>
#include <filesystem>
#include <utility>
#include <variant>
#include <vector>

namespace quillmate {
namespace {

plattform::gtk::Programmangaben ueberQuillmate(std::optional<plattform::Buendel> const& buendel) {
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
plattform::Standardbefehl standardbefehl(Menue::Befehl befehl) {
    using enum Menue::Befehl;
    switch (befehl) {
    case ueber:
        return plattform::Standardbefehl::ueber;
    case ausblenden:
        return plattform::Standardbefehl::ausblenden;
    case beenden:
        return plattform::Standardbefehl::beenden;
    case fensterSchliessen:
        return plattform::Standardbefehl::fensterSchliessen;
    case widerrufen:
        return plattform::Standardbefehl::widerrufen;
    case wiederholen:
        return plattform::Standardbefehl::wiederholen;
    case ausschneiden:
        return plattform::Standardbefehl::ausschneiden;
    case kopieren:
        return plattform::Standardbefehl::kopieren;
    case einsetzen:
        return plattform::Standardbefehl::einsetzen;
    case allesAuswaehlen:
        return plattform::Standardbefehl::allesAuswaehlen;
    case nachUpdatesSuchen:
    case neuLaden:
    case zurueck:
    case vorwaerts:
    case drucken:
        break;
    }
    return plattform::Standardbefehl::beenden; // Not reached: these belong to an object of the program.
}

/// Both without links on the way: the running bundle's own path has none, and they are compared as texts.
Umzug::Ordner umzugsordner(plattform::Standardorte& standardorte) {
    auto const wirklich = [](std::string const& pfad) {
        std::error_code fehler;
        auto const ohneVerweise = std::filesystem::canonical(pfad, fehler);
        return fehler ? pfad : ohneVerweise.string();
    };
    return {
        .downloads = wirklich(standardorte.pfade().downloads), .zuhause = wirklich(plattform::heimordner())};
}

/// The processor, as downloads are told apart by.
std::string architektur() {
    utsname angaben{};
    return ::uname(&angaben) == 0 ? std::string{angaben.machine} : std::string{};
}

} // namespace

Anwendung::Suchwelt::Suchwelt(
    plattform::Voreinstellungen& voreinstellungen, plattform::Standardorte& standardorte)
    : merkliste{voreinstellungen, lesezeichen}
    , speicher{plattform::zwischenspeicherOrdner()}
    , erkenner{leser, speicher}
    , suche{
          {.merkliste = merkliste,
           .standardorte = standardorte,
           .erkenner = erkenner,
           .dienst = dienst,
           .uhr = uhr,
           .arbeitsfaden = arbeitsfaden,
           .wolke = wolke}} {}

Anwendung::Anwendung(Umgebung::Vorher vorher, Deskriptor eigeneProbe)
    : buendel_(plattform::eigenesBuendel())
    , kennung_(plattform::eigeneKennung())
    , voreinstellungen_(plattform::VoreinstellungenPlist::dateiFuer(kennung_))
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
    , suchwelt_(voreinstellungen_, standardorte_)
    , einbau_(std::move(vorher), std::move(eigeneProbe))
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
          plattform::Anwendungsordner::desBenutzers())
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
    , portalablage_(plattform::temporaererOrdner())
    , belegversand_(portalablage_) {}

Anwendung::~Anwendung() {
    // A running search ends at once instead of after the file that it reads or sends.
    suchwelt_.leser.beenden();
    suchwelt_.dienst.abbrechen();
}

int Anwendung::laufen() {
    aktualisierer_.starten();
    return oberflaeche_.laufen();
}

Umzugslage Anwendung::umzugslage() {
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
        plattform::gtk::WebSitzungen::Ordner{
            .daten = plattform::datenordner() + '/' + kennung_,
            .zwischenspeicher = plattform::cacheordner() + '/' + kennung_},
        plattform::gtk::demozertifikat(kennung_));
    werk_.emplace(oberflaeche_.gtk(), *sitzungen_, voreinstellungen_);
    menueBauen();
    schemahandler_.auffrischen();
    haupt_ = std::make_unique<Fenster>(Fensterumgebung{
        .werk = *werk_,
        .dialoge = dialoge_,
        .schleife = schleife_,
        .standardprogramm = standardprogramm_,
        .standardorte = standardorte_,
        .uhr = suchwelt_.uhr,
        .temporaererOrdner = plattform::temporaererOrdner(),
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
                             .schleife = schleife_,
                             .ablage = portalablage_,
                             .versand = belegversand_}),
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
    auto const handlung = [this](Menue::Befehl befehl) -> std::function<void()> {
        return [this, befehl] {
            switch (befehl) {
            case Menue::Befehl::nachUpdatesSuchen:
                aktualisierer_.nachUpdatesSuchen();
                break;
            case Menue::Befehl::neuLaden:
                haupt_->neuLaden();
                break;
            case Menue::Befehl::zurueck:
                haupt_->zurueck();
                break;
            case Menue::Befehl::vorwaerts:
                haupt_->vorwaerts();
                break;
            case Menue::Befehl::drucken:
                haupt_->drucken();
                break;
            default:
                break; // Standard commands do not come here.
            }
        };
    };
    std::vector<plattform::Menue> menues;
    for (auto const& untermenue : Menue::menueleiste()) {
        plattform::Menue menue{
            .titel = std::string{untermenue.titel.empty() ? std::string_view{"Quillmate"} : untermenue.titel},
            .punkte = {}};
        for (auto const& abschnitt : untermenue.abschnitte) {
            if (!menue.punkte.empty())
                menue.punkte.push_back({.titel = {}, .taste = {}, .wirkung = plattform::Trennstrich{}});
            for (auto const& eintrag : abschnitt) {
                plattform::Menuepunkt punkt{
                    .titel = std::string{eintrag.titel},
                    .taste = eintrag.taste ? std::string(1, eintrag.taste->zeichen) : std::string{},
                    .wirkung = plattform::Trennstrich{}};
                if (eintrag.ziel == Menue::Ziel::ersterEmpfaenger)
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

} // namespace quillmate
