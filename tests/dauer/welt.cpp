#include "welt.h"

#include "werkzeug/ordner_auf_zeit.h"
#include "werkzeug/warten.h"

#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

namespace quillmate::dauer {

namespace {

namespace fs = std::filesystem;
using quillmate::werkzeug::wartenBis;
using std::chrono::seconds;

constexpr std::string_view titel = "Quillmate";
constexpr std::string_view kennung = "de.tandemwerk.quillmate.demo";
/// A window that is closed ends the program, its readers and its web processes within this time, on a machine that does
/// other things too.
constexpr seconds fristEnde{10};
/// What a program that was killed has started ends by itself, once it notices.
constexpr seconds fristNachzuegler{30};

/// When a process began, as the kernel counts: with the number it names one process and no later one.
std::string beginnVon(pid_t nummer) {
    auto const zeile = quillmate::werkzeug::inhaltVon(fmt::format("/proc/{}/stat", nummer));
    auto const ende = zeile.rfind(')');
    if (ende == std::string::npos)
        return {};
    std::size_t stelle = ende;
    constexpr int felder = 20; // The 22nd of all; the 2nd ends at the bracket.
    for (int i = 0; i < felder && stelle != std::string::npos; ++i)
        stelle = zeile.find(' ', stelle + 1);
    return stelle == std::string::npos ? std::string{}
                                       : zeile.substr(stelle + 1, zeile.find(' ', stelle + 1) - stelle - 1);
}

std::size_t eintraege(std::string const& ordner) {
    std::size_t anzahl = 0;
    std::error_code fehler;
    for (auto const& eintrag : fs::recursive_directory_iterator{ordner, fehler})
        // The engine keeps a folder with a few hundred bytes for each of its sandboxes until the session ends.
        anzahl += eintrag.path().string().contains("/.flatpak") ? 0U : 1U;
    return anzahl;
}

} // namespace

Welt::Welt(Orte orte, std::string marke)
    : bestand(orte.arbeit + "/heim")
    , bildschirm(anzeige.name())
    , orte_(std::move(orte))
    , marke_(std::move(marke)) {
    for (auto const* const ordner : {"heim", "tmp", "run", "daten"})
        fs::create_directories(orte_.arbeit + "/" + ordner);
    fs::permissions(orte_.arbeit + "/run", fs::perms::owner_all);
    // A copy: so its processes are told from those of others who run the same build.
    fs::copy(
        orte_.bau + "/QuillmateDemo.app", orte_.arbeit + "/QuillmateDemo.app", fs::copy_options::recursive);
    for (auto const* const ordner : {"Desktop", "Documents", "Downloads"}) {
        auto const befehl =
            fmt::format("cp -a '{}/beispiele/{}' '{}/'", orte_.bau, ordner, heim()); // keeps times
        if (std::system(befehl.c_str()) != 0)
            throw std::runtime_error{befehl};
        bestand.achteAuf(heim() + "/" + ordner);
    }
    bestand.uebernehmen(orte_.bau + "/beispiele/beispiele.json");
}

Welt::~Welt() {
    leitung.ruhe();
    weg();
    dienst.reset();
}

void Welt::sage(std::string const& text) const {
    fmt::print("{}\n", text);
    std::fflush(stdout);
}

void Welt::klage(std::string satz) {
    if (std::ranges::find(klagen_, satz) != klagen_.end())
        return; // What is wrong stays wrong.
    sage("  !! " + satz);
    klagen_.push_back(std::move(satz));
}

fenster_echt::Programm::Umgebung Welt::umgebung() const {
    fenster_echt::Programm::Umgebung werte{
        {"HOME", heim()},
        {"TMPDIR", orte_.arbeit + "/tmp"},
        {"XDG_RUNTIME_DIR", orte_.arbeit + "/run"},
        {"XDG_CONFIG_HOME", heim() + "/.config"},
        {"XDG_CACHE_HOME", heim() + "/.cache"},
        {"XDG_DATA_HOME", heim() + "/.local/share"},
        {"XDG_DATA_DIRS", "/usr/local/share:/usr/share"},
        {"LANG", "C"},
        {"QUILLMATE_DAUERLAUF", marke_},
        {"QUILLMATE_DEMO_ZERTIFIKAT", orte_.arbeit + "/daten/portal.pem"},
        {"QUILLMATE_URL", leitung.adresse() + "/uebersicht"}};
    for (auto const* const name :
         {"PATH", "DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "GDK_BACKEND", "GSK_RENDERER",
          "LIBGL_ALWAYS_SOFTWARE", "GTK_A11Y", "GIO_USE_VFS", "GSETTINGS_BACKEND", "NO_AT_BRIDGE"})
        if (char const* const wert = std::getenv(name))
            werte[name] = wert;
    for (auto const& [name, wert] : umgebungszusatz)
        werte[name] = wert;
    return werte;
}

void Welt::merkeOrdner(std::vector<std::string> const& ordner) {
    for (auto const& einer : ordner) {
        auto const befehl = fmt::format(
            "HOME='{0}' XDG_CONFIG_HOME='{0}/.config' '{1}' --merken '{2}' >/dev/null", heim(),
            werkzeug("quillmate-suchlauf"), einer);
        if (std::system(befehl.c_str()) != 0)
            throw std::runtime_error{"cannot remember " + einer};
    }
    fs::create_directories(fmt::format("{}/.config/{}", heim(), kennung));
    fs::rename(
        heim() + "/.config/de.tandemwerk.quillmate/voreinstellungen.plist",
        fmt::format("{}/.config/{}/voreinstellungen.plist", heim(), kennung));
}

void Welt::starte() {
    ++gezaehlt["Programm gestartet"];
    leitung.neueSeite();
    programm = std::make_unique<fenster_echt::Programm>(
        orte_.arbeit + "/QuillmateDemo.app/Contents/Linux/quillmate", std::vector<std::string>{}, umgebung());
    portalErreichbar = dienst != nullptr;
}

bool Welt::oeffne() {
    int const bisher = leitung.dokumente();
    starte();
    constexpr seconds startfrist{60};
    if (leitung.warteAufDokument(bisher + 1, startfrist) && bildschirm.warteAufFenster(titel))
        return true;
    klage("the program did not come up: " + programm->fehlerausgabe());
    return false;
}

void Welt::merkeNachkommen() {
    if (!laeuft())
        return;
    for (auto const& prozess : nachkommen(programm->nummer()))
        nachkommen_.emplace_back(prozess.nummer, beginnVon(prozess.nummer));
}

void Welt::weg() {
    if (programm) {
        std::ofstream protokoll{orte_.arbeit + "/protokoll.txt", std::ios::app};
        protokoll << programm->fehlerausgabe() << "-- Programm zu Ende\n";
    }
    programm.reset();
}

void Welt::schliesse() {
    if (!laeuft())
        return;
    merkeNachkommen();
    auto const beginn = std::chrono::steady_clock::now();
    // The main window is the one that was made first.
    std::optional<fenster_echt::XFenster> haupt;
    for (auto const& fenster : bildschirm.fenster())
        if (fenster.titel == titel && !fenster.aufgeklappt && (!haupt || fenster.nummer < haupt->nummer))
            haupt = fenster;
    if (!haupt)
        return beende();
    ++gezaehlt["Fenster geschlossen"];
    bildschirm.schliessen(haupt->nummer);
    auto const ende = programm->warteAufEnde(fristEnde);
    auto const dauer = std::chrono::duration<double>(std::chrono::steady_clock::now() - beginn).count();
    if (!ende)
        klage(fmt::format("closing the window did not end the program within {:.1f} s", dauer));
    else if (*ende != 0)
        klage(fmt::format("closing the window ended with status {}", *ende));
    weg();
    pruefeHinterlassenes();
}

void Welt::beende() {
    if (!laeuft())
        return;
    merkeNachkommen();
    ++gezaehlt["Programm: SIGTERM"];
    programm->beenden(SIGTERM);
    if (!wartenBis([&] { return !programm->laeuft(); }, fristEnde))
        klage("SIGTERM did not end the program in time");
    weg();
    pruefeHinterlassenes();
}

void Welt::toete() {
    if (!laeuft())
        return;
    merkeNachkommen();
    ++gezaehlt["Programm: SIGKILL"];
    programm->beenden(SIGKILL);
    (void)wartenBis([&] { return !programm->laeuft(); });
    weg();
    pruefeHinterlassenes();
}

void Welt::pruefeHinterlassenes() {
    std::vector<Prozess> uebrig;
    auto const weg = wartenBis(
        [&] {
            uebrig = mitMarke("QUILLMATE_DAUERLAUF=" + marke_);
            std::erase_if(nachkommen_, [](auto const& paar) { return beginnVon(paar.first) != paar.second; });
            return uebrig.empty() && nachkommen_.empty();
        },
        fristNachzuegler);
    if (!weg) {
        std::string wer;
        for (auto const& prozess : uebrig)
            wer += fmt::format(" {} ({})", prozess.programm, prozess.nummer);
        for (auto const& [nummer, beginn] : nachkommen_)
            wer += fmt::format(
                " {} ({})", quillmate::werkzeug::inhaltVon(fmt::format("/proc/{}/comm", nummer)), nummer);
        klage("processes outlive the program:" + wer);
        nachkommen_.clear();
    }
    auto const jetzt = eintraege(orte_.arbeit + "/tmp") + eintraege(orte_.arbeit + "/run");
    // A program that was killed cannot tidy up, but what it leaves must not add up.
    constexpr std::size_t spiel = 8;
    if (!reste_)
        reste_ = jetzt;
    else if (jetzt > *reste_ + spiel) {
        klage(fmt::format("{} entries in the temporary folders, {} at first", jetzt, *reste_));
        reste_ = jetzt;
    }
}

void Welt::aufDieBeine() {
    leitung.ruhe();
    if (laeuft()) {
        try {
            (void)leitung.rufe("return 1", seconds{20});
            return;
        } catch (std::exception const&) {
            ++gezaehlt["Seite neu geladen (F5)"];
        }
        // After a second crash the program shows its own page and waits for a person.
        int const bisher = leitung.dokumente();
        leitung.neueSeite();
        if (auto const fenster = bildschirm.fensterMit(titel)) {
            bildschirm.tastaturAn(fenster->nummer);
            bildschirm.taste("ctrl+r");
        }
        if (leitung.warteAufDokument(bisher + 1, seconds{20}))
            return;
        klage("the window does not come back after Ctrl+R: " + programm->fehlerausgabe().substr(0, 3000));
        toete();
    }
    weg();
    pruefeHinterlassenes();
    (void)oeffne();
}

void Welt::dienstStarten(Texte texte) {
    std::vector<std::string> argumente{"--client", "1", "--token", token};
    if (texte == Texte::ungelesen)
        argumente.emplace_back("--ohne-texte");
    dienst = std::make_unique<demo::test::Dienstprozess>(orte_.arbeit + "/daten", argumente);
    leitung.dienstBei(dienst->port());
    portalErreichbar = false;
    ++gezaehlt["Dienst gestartet"];
}

void Welt::dienstToeten() {
    if (dienst)
        (void)dienst->beende(SIGKILL);
    ++gezaehlt["Dienst: SIGKILL"];
}

std::string Welt::portal() const {
    return dienst->meldung().at("portal").get<std::string>();
}

nlohmann::json Welt::frage(std::string const& pfad) {
    auto const antwort = klient_.hole(dienst->url(pfad));
    if (antwort.status != 200)
        throw std::runtime_error{fmt::format("service: {} {}", pfad, antwort.status)};
    return antwort.json();
}

std::vector<Eingang> Welt::eingaenge() {
    std::vector<Eingang> liste;
    auto const belege = frage("/clients/1/belege");
    for (auto const& beleg : belege.at("belege"))
        liste.push_back(
            {.hash = beleg.at("hash").get<std::string>(),
             .herkunft = beleg.at("herkunft").get<std::string>()});
    return liste;
}

std::map<std::string, std::string> Welt::gesehen() {
    std::map<std::string, std::string> karte;
    auto const antwort = frage("/clients/1/local-scan/seen-paths");
    auto const& liste = antwort.at("path_hashes");
    for (auto const& [pfad, hash] : liste.items())
        karte[pfad] = hash.get<std::string>();
    return karte;
}

bool Welt::stopp(bool an) {
    auto const antwort =
        klient_.sende(dienst->url("/clients/1/local-scan/stop"), nlohmann::json{{"gestoppt", an}}.dump());
    return antwort.status == 200;
}

std::string Welt::zugangJs() const {
    return fmt::format("client_id: 1, token: '{}', server: '{}'", token, leitung.adresse());
}

nlohmann::json Welt::suchStand(seconds frist) {
    return leitung.rufe("return await window.quillmateApp.suchStand()", frist);
}

bool Welt::warteAufSuchende(seconds frist) {
    auto const ende = std::chrono::steady_clock::now() + frist;
    int stumm = 0;
    constexpr int hoechstensStumm = 3;
    while (std::chrono::steady_clock::now() < ende) {
        if (!laeuft())
            return true;
        try {
            if (!suchStand(seconds{15}).at("laeuft").get<bool>())
                return true;
        } catch (std::exception const&) {
            if (!laeuft())
                return true;
            if (++stumm == hoechstensStumm) // Not only being loaded anew.
                aufDieBeine();
            std::this_thread::sleep_for(seconds{1});
        }
        std::this_thread::sleep_for(std::chrono::milliseconds{200});
    }
    return false;
}

std::optional<fenster_echt::XFenster> Welt::dialog() {
    auto const haupt = bildschirm.fensterMit("Quillmate");
    std::optional<fenster_echt::XFenster> gefunden;
    (void)wartenBis(
        [&] {
            for (auto const& fenster : bildschirm.fenster())
                if (!fenster.aufgeklappt && haupt && fenster.nummer != haupt->nummer &&
                    bildschirm.tastaturBei() == fenster.nummer)
                    gefunden = fenster;
            return gefunden.has_value();
        },
        seconds{30});
    return gefunden;
}

bool Welt::portaltext(fenster_echt::XFenster const& fenster, std::string_view text) {
    return wartenBis(
        [&] {
            if (bildschirm.tastaturBei() != fenster.nummer)
                bildschirm.tastaturAn(fenster.nummer);
            bildschirm.zwischenablageLeeren();
            bildschirm.taste("ctrl+a");
            bildschirm.taste("ctrl+c");
            std::optional<std::string> kopie;
            (void)wartenBis([&] { return (kopie = bildschirm.zwischenablage()).has_value(); }, seconds{2});
            return kopie && kopie->contains(text) && kopie->contains("Die Seite ist bereit.");
        },
        seconds{40});
}

} // namespace quillmate::dauer
