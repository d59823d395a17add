// What is done to the program, step by step.
#include "fahrt.h"
#include "werkzeug/ordner_auf_zeit.h"
#include "werkzeug/warten.h"

#include <fmt/format.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

namespace quillmate::dauer {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using std::chrono::seconds;
using werkzeug::wartenBis;

/// A stop is looked for every two seconds and obeyed within three; the rest is for a machine that does other things.
constexpr double stoppfrist_s = 10;

} // namespace

std::array<Fahrt::Schrittart, 14> const Fahrt::arten{{
    {.gewicht = 14, .name = "Suche, Leitung gestoert", .tun = &Fahrt::sucheMitStoerungen},
    {.gewicht = 14, .name = "Suche, Leser und Webprozesse getoetet", .tun = &Fahrt::sucheMitToetungen},
    {.gewicht = 6, .name = "Suche, Prozesse angehalten", .tun = &Fahrt::sucheMitStillstand},
    {.gewicht = 8, .name = "Suche gestoppt", .tun = &Fahrt::sucheMitStopp},
    {.gewicht = 6, .name = "Suche, Fenster geschlossen", .tun = &Fahrt::sucheUndSchliessen},
    {.gewicht = 8, .name = "Suche, Programm getoetet", .tun = &Fahrt::sucheUndToeten},
    {.gewicht = 6, .name = "Suche, Dienst getoetet", .tun = &Fahrt::sucheUndDienstweg},
    {.gewicht = 8, .name = "Suche, Laufwerk faellt aus", .tun = &Fahrt::sucheUndLaufwerkWeg},
    {.gewicht = 4, .name = "Suche bei voller Platte", .tun = &Fahrt::sucheBeiVollerPlatte},
    {.gewicht = 8, .name = "gezielte Suche", .tun = &Fahrt::gezielt},
    {.gewicht = 4, .name = "Bildersuche", .tun = &Fahrt::bildersuche},
    {.gewicht = 8, .name = "Download", .tun = &Fahrt::download},
    {.gewicht = 6, .name = "Portal", .tun = &Fahrt::portal},
    {.gewicht = 8, .name = "Ordner umbenannt, Dateien geloescht", .tun = &Fahrt::umbauen},
}};

void Fahrt::sucheMitStoerungen() {
    static std::vector<Stoerung> const alle{
        Stoerung::spaet,      Stoerung::haengt,    Stoerung::verweigert, Stoerung::antwortVerloren,
        Stoerung::abgerissen, Stoerung::fehler5xx, Stoerung::muell,      Stoerung::riesig,
        Stoerung::umleitung,  Stoerung::fremdesTor};
    std::vector<Stoerung> gewaehlt;
    for (int i = 0; i < 3; ++i)
        gewaehlt.push_back(zufall_.eins(alle));
    auto const prozent = static_cast<unsigned>(5 + zufall_.unter(40));
    frischeDateien();
    lauf_ = {.art = Lauf::Art::voll};
    welt_.leitung.stoere(prozent, gewaehlt, zufall_.unter(1'000'000));
    beginneSuche();
    // Not to the end: what hangs would hang for minutes.
    auto const dauer = 2000 + static_cast<int>(zufall_.unter(15'000));
    (void)wartenBis(
        [&] {
            warte(300);
            try {
                return !welt_.suchStand(seconds{5}).at("laeuft").get<bool>();
            } catch (std::exception const&) {
                return true;
            }
        },
        seconds{dauer / 1000});
    welt_.leitung.ruhe();
    endeSuche();
}

void Fahrt::sucheMitToetungen() {
    frischeDateien();
    lauf_ = {.art = Lauf::Art::voll};
    beginneSuche();
    auto const male = 1 + zufall_.unter(6);
    for (std::uint64_t i = 0; i < male; ++i) {
        warte(static_cast<int>(50 + zufall_.unter(900)));
        if (zufall_.mit(80))
            toeteEinen("quillmate-leser", "Leser");
        else
            toeteEinen("WebKitWebProcess", "Webprozess");
    }
    if (zufall_.mit(20))
        toeteEinen("WebKitNetworkProcess", "Netzprozess");
    endeSuche();
}

void Fahrt::sucheMitStillstand() {
    frischeDateien();
    lauf_ = {.art = Lauf::Art::voll};
    beginneSuche();
    warte(static_cast<int>(zufall_.unter(1500)));
    auto const einer = [&](char const* programm) {
        auto const alle = nachkommen(welt_.programm->nummer(), programm);
        return alle.empty() ? pid_t{0} : zufall_.eins(alle);
    };
    switch (zufall_.unter(4)) {
    case 0:
        haltAn(welt_.programm->nummer(), "Programm");
        break;
    case 1:
        haltAn(einer("quillmate-leser"), "Leser");
        break;
    case 2:
        haltAn(einer("WebKitWebProcess"), "Webprozess");
        break;
    default:
        haltAn(welt_.dienst->pid(), "Dienst");
        break;
    }
    endeSuche();
}

void Fahrt::sucheMitStopp() {
    frischeDateien();
    lauf_ = {.art = Lauf::Art::voll};
    beginneSuche();
    warte(static_cast<int>(zufall_.unter(2500)));
    auto const beginn = std::chrono::steady_clock::now();
    // Again and again: a search that begins to read just then lifts the stop that it has not seen.
    auto const gestoppt = wartenBis(
        [&] {
            (void)welt_.stopp(true);
            warte(200);
            return !welt_.suchStand().at("laeuft").get<bool>();
        },
        seconds{60});
    auto const dauer = std::chrono::duration<double>(std::chrono::steady_clock::now() - beginn).count();
    ++welt_.gezaehlt["Suche gestoppt"];
    if (!gestoppt || dauer > stoppfrist_s)
        welt_.klage(fmt::format("a stop was obeyed after {:.1f} s", dauer));
    (void)welt_.stopp(false);
}

void Fahrt::sucheUndSchliessen() {
    frischeDateien();
    lauf_ = {.art = Lauf::Art::voll};
    beginneSuche();
    warte(static_cast<int>(zufall_.unter(2500)));
    if (zufall_.mit(60))
        welt_.schliesse();
    else
        welt_.beende();
}

void Fahrt::sucheUndToeten() {
    frischeDateien();
    lauf_ = {.art = Lauf::Art::voll};
    beginneSuche();
    warte(static_cast<int>(zufall_.unter(2500)));
    welt_.toete();
}

void Fahrt::sucheUndDienstweg() {
    frischeDateien();
    lauf_ = {.art = Lauf::Art::voll};
    beginneSuche();
    warte(static_cast<int>(zufall_.unter(2000)));
    welt_.dienstToeten();
    warte(static_cast<int>(zufall_.unter(4000)));
    welt_.dienstStarten();
    endeSuche();
}

void Fahrt::sucheUndLaufwerkWeg() {
    bool const vorher = zufall_.mit(50);
    if (vorher)
        laufwerk(false);
    frischeDateien();
    lauf_ = {.art = Lauf::Art::voll};
    beginneSuche();
    if (!vorher) {
        warte(static_cast<int>(zufall_.unter(1500)));
        laufwerk(false);
    }
    if (zufall_.mit(50)) {
        warte(static_cast<int>(zufall_.unter(1000)));
        laufwerk(true);
    }
    endeSuche();
    if (zufall_.mit(30)) { // A start without the drive must not forget the folder either.
        welt_.schliesse();
        (void)welt_.oeffne();
        auto const liste =
            welt_.leitung.rufe("return await window.quillmateApp.gemerkteOrdner()", seconds{60}).at("ordner");
        if (liste.size() != 1)
            vergessen("a folder on a drive that is not there was forgotten: " + liste.dump());
    }
}

void Fahrt::sucheBeiVollerPlatte() {
    auto const ablage = welt_.heim() + "/.cache";
    fs::create_directories(ablage);
    if (::geteuid() != 0 || ::mount("tmpfs", ablage.c_str(), "tmpfs", 0, "size=1m") != 0)
        return; // Only root can make a small disk.
    {
        std::ofstream fuellung{ablage + "/fuellung", std::ios::binary};
        fuellung << std::string(std::size_t{1} << 20U, 'x');
    }
    ++welt_.gezaehlt["Platte voll"];
    frischeDateien();
    lauf_ = {.art = Lauf::Art::voll};
    beginneSuche();
    endeSuche();
    (void)::umount2(ablage.c_str(), MNT_DETACH);
}

void Fahrt::gezielt() {
    // A receipt that is there, and a booking of its own.
    std::vector<std::string> belege;
    for (auto const& [pfad, datei] : welt_.bestand.dateien())
        if (datei.entscheidung == "hochladen" && !datei.betrag.empty() && !datei.haendler.empty() &&
            !welt_.bestand.istFort(pfad) && pfad.ends_with(".pdf") && pfad.starts_with(mappe_))
            belege.push_back(pfad);
    if (belege.empty())
        return;
    auto const ziel = welt_.bestand.dateien().at(zufall_.eins(belege));
    auto const wort = ziel.haendler.substr(0, ziel.haendler.find(' '));
    lauf_ = {.art = Lauf::Art::gezielt};
    auto const antwort = welt_.leitung.rufe(
        fmt::format(
            "return await window.quillmateApp.gezieltSuchen({{{}, transaction_id: 1, stichworte: [{}], "
            "betrag_texte: [{}]}})",
            welt_.zugangJs(), json(wort).dump(), json(ziel.betrag).dump()),
        seconds{300});
    ++welt_.gezaehlt["gezielt gesucht"];
    auto const treffer = antwort.value("treffer", json::array());
    if (treffer.empty() && !antwort.value("abgebrochen", false))
        welt_.klage("a targeted search finds nothing: " + antwort.dump());
    constexpr std::size_t hoechstensTreffer = 5;
    if (treffer.size() > hoechstensTreffer)
        welt_.klage("a targeted search has too many hits: " + antwort.dump());
    endeSuche();
}

void Fahrt::bildersuche() {
    auto const liste =
        welt_.leitung.rufe("return await window.quillmateApp.gemerkteOrdner()", seconds{60}).at("ordner");
    if (liste.empty())
        return;
    lauf_ = {.art = Lauf::Art::bilder};
    beginneSuche(
        fmt::format(", fotos: true, hoechstensBilder: 50, nurOrdner: {}", liste.at(0).at("kennung").dump()));
    endeSuche();
}

void Fahrt::download() {
    auto const alle = welt_.frage("/clients/1/belege").at("belege");
    if (alle.empty())
        return;
    auto const& beleg = alle.at(zufall_.unter(alle.size()));
    auto const hash = beleg.at("hash").get<std::string>();
    if (!welt_.bestand.jemals().contains(hash))
        return; // From the portal: what a search makes of it is nobody's concern here.
    bool const gestoert = zufall_.mit(50);
    if (gestoert)
        welt_.leitung.stoere(
            100, {zufall_.mit(50) ? Stoerung::abgerissen : Stoerung::fehler5xx}, zufall_.unter(1000));
    ++welt_.gezaehlt[gestoert ? "Download gestoert" : "Download"];
    // A link, as pages offer files: a navigation that fails would take the page away.
    (void)welt_.leitung.beginne(fmt::format(
        "const a = document.createElement('a'); a.download = ''; a.href = '/belege/{}?anhang=1&token={}'; "
        "document.body.append(a); a.click(); a.remove();",
        beleg.at("id").get<std::int64_t>(), token));
    if (gestoert) {
        // What becomes visible meanwhile must go again.
        warte(2000);
        welt_.leitung.ruhe();
        if (wartenBis([&] { return welt_.bestand.fremde().empty(); }, seconds{20}))
            return;
        for (auto const& pfad : welt_.bestand.fremde()) {
            welt_.klage("a broken download leaves something behind: " + pfad);
            fs::remove(pfad);
        }
        return;
    }
    std::string ziel;
    if (!wartenBis(
            [&] {
                for (auto const& pfad : welt_.bestand.fremde()) // Under a hidden name until it is whole.
                    if (!fs::path{pfad}.filename().string().starts_with('.') &&
                        welt_.bestand.angekommen(pfad, hash))
                        ziel = pfad;
                return !ziel.empty();
            },
            seconds{30})) {
        welt_.klage("a download does not arrive as it is at the service");
        for (auto const& pfad : welt_.bestand.fremde())
            fs::remove(pfad);
        return;
    }
    // The bytes are there before the program has finished with the file; from then on nobody touches it.
    warte(1000);
    if (!fs::exists(ziel) || !welt_.bestand.angekommen(ziel, hash))
        welt_.klage("a download that had arrived is gone: " + ziel);
}

void Fahrt::portal() {
    if (!welt_.portalErreichbar) { // The portal has another port and certificate than when the program began.
        welt_.schliesse();
        if (!welt_.oeffne())
            return;
    }
    ++welt_.gezaehlt["Portal geoeffnet"];
    auto& bildschirm = welt_.bildschirm;
    if (auto const haupt = bildschirm.fensterMit("Quillmate"))
        bildschirm.tastaturAn(haupt->nummer);
    (void)welt_.leitung.rufe(
        "window.__ereignisse = []; window.__quillmatePortalEreignis = e => __ereignisse.push(e);",
        seconds{30});
    auto const nummer = welt_.leitung.beginne(fmt::format(
        "return await window.quillmateApp.portalOeffnen({{kennung: 'weiteres', client_id: 1, token: '{}', "
        "name: 'Demoportal', transaction_id: 2}})",
        token));
    if (!welt_.dialog())
        return welt_.klage("the portal's address is not asked for");
    bildschirm.tippe(welt_.portal());
    bildschirm.taste("Return");
    (void)welt_.leitung.ergebnis(nummer, seconds{30});
    auto const fenster = bildschirm.warteAufFenster("Belegportal — Demoportal · 127.0.0.1");
    if (!fenster)
        return welt_.klage("the portal's window does not come");
    bildschirm.klicke({.x = fenster->x + 200, .y = fenster->y + fenster->hoehe - 80}); // Nothing is there.
    if (!welt_.portaltext(*fenster, "Kundennummer und Kennwort"))
        return welt_.klage("the portal's sign-in does not come");
    bildschirm.taste("alt+k");
    bildschirm.taste("Return");
    if (!welt_.portaltext(*fenster, "Deine Rechnungen"))
        return welt_.klage("the portal's invoices do not come");
    auto const ereignisse = [&] {
        return welt_.leitung.rufe("return window.__ereignisse", seconds{30});
    };
    auto const taste = std::array{"alt+2", "alt+3", "alt+4", "alt+5"}.at(zufall_.unter(4));
    bool const bricht = std::string_view{taste} == "alt+5";
    auto const vorher = welt_.eingaenge();
    bildschirm.taste(taste);
    json letztes;
    auto const fertig = wartenBis(
        [&] {
            auto const alle = ereignisse();
            letztes = alle.empty() ? json{} : alle.back();
            return letztes.is_object() && letztes["status"] != "wird_importiert";
        },
        seconds{60});
    auto const nachher = welt_.eingaenge();
    for (auto const& eingang : nachher)
        if (eingang.herkunft == "portal")
            welt_.buch.erlaube(eingang.hash);
    auto const wort = fertig ? letztes.value("status", std::string{}) : std::string{"nothing"};
    if (wort != (bricht ? "fehler" : "importiert"))
        welt_.klage(fmt::format("the portal's document ends with {}: {}", wort, letztes.dump()));
    if (bricht && nachher.size() != vorher.size())
        welt_.klage("a broken document of the portal was handed over");
    ++welt_.gezaehlt[bricht ? "Portaldokument bricht ab" : "Portaldokument uebernommen"];
    bildschirm.schliessen(fenster->nummer);
    if (!wartenBis([&] { return !bildschirm.fensterMit(fenster->titel); }))
        welt_.klage("the portal's window does not close");
    if (!wartenBis([&] {
            return std::ranges::none_of(
                fs::directory_iterator{welt_.arbeit() + "/tmp"}, [](auto const& eintrag) {
                    return eintrag.path().filename().string().starts_with("quillmate-portal-");
                });
        }))
        welt_.klage("a portal's folder is left over");
}

void Fahrt::umbauen() {
    // While a search runs or at rest.
    if (zufall_.mit(50)) {
        frischeDateien();
        lauf_ = {.art = Lauf::Art::voll};
        beginneSuche();
        warte(static_cast<int>(zufall_.unter(1500)));
    }
    auto const neu = fmt::format("{}/Documents/Belege {}", welt_.heim(), schritte_);
    welt_.bestand.benenneUm(mappe_, neu);
    mappe_ = neu;
    ++welt_.gezaehlt["Ordner umbenannt"];
    std::vector<std::string> pfade;
    for (auto const& [pfad, datei] : welt_.bestand.dateien())
        if (pfad.starts_with(mappe_))
            pfade.push_back(pfad);
    for (int i = 0; i < 3 && pfade.size() > 50; ++i) {
        auto const& pfad = zufall_.eins(pfade);
        if (welt_.bestand.dateien().contains(pfad))
            welt_.bestand.entferne(pfad);
    }
    endeSuche();
}

} // namespace quillmate::dauer
