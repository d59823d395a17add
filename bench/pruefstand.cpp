#include "pruefstand.h"

#include "fenster/seiten.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <fmt/format.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace quillmate::bench {

namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds geduld{30};
/// The loading page's colour at its lower edge, and the page's.
constexpr std::uint32_t farbeLadeseite = 0xeaf5ed;
constexpr std::uint32_t farbeSeite = 0x1d4e89;

/// A page like the first of a web application: its own style and script, some content that the script makes.
constexpr std::string_view seite = R"(<!doctype html>
<html lang="de">
<meta charset="utf-8">
<title>Seite</title>
<link rel="stylesheet" href="stil.css">
<script src="skript.js" defer></script>
<body><h1>Buchungen</h1><table id="liste"></table>
)";
constexpr std::string_view stil =
    R"(html { background: #1d4e89; color: white; font: 14px/1.5 system-ui, sans-serif; }
body { margin: 2rem 2rem 2rem 40%; }
td { padding: 0.1rem 1rem; border-bottom: 1px solid white; }
)";
constexpr std::string_view skript = R"(const liste = document.getElementById('liste');
for (let i = 1; i <= 200; ++i) {
  const zeile = liste.insertRow();
  for (const text of [`2024-01-${1 + i % 28}`, `Buchung ${i}`, `${i},99 EUR`]) zeile.insertCell().textContent = text;
}
addEventListener('load', () => fetch('geladen', {method: 'POST'}));
)";

bool aehnlich(std::uint32_t a, std::uint32_t b) {
    // Gradients are dithered.
    constexpr int hoechstens = 2;
    for (int stelle = 0; stelle < 24; stelle += 8)
        if (std::abs(static_cast<int>(a >> stelle & 0xffU) - static_cast<int>(b >> stelle & 0xffU)) >
            hoechstens)
            return false;
    return true;
}

/// Whether the colour is somewhere on a line from top to bottom through the left part of the window, where pages have
/// nothing but their background. Cheap, so that looking disturbs nobody.
bool zuSehen(Display* anzeige, std::uint32_t farbe) {
    constexpr int x = 300;
    auto const hoehe = static_cast<unsigned>(DisplayHeight(anzeige, DefaultScreen(anzeige)));
    auto* const bild = XGetImage(anzeige, DefaultRootWindow(anzeige), x, 0, 1, hoehe, AllPlanes, ZPixmap);
    if (bild == nullptr)
        return false;
    bool gefunden = false;
    for (int y = 0; y < bild->height && !gefunden; ++y)
        gefunden = aehnlich(static_cast<std::uint32_t>(XGetPixel(bild, 0, y) & 0xffffffU), farbe);
    XDestroyImage(bild);
    return gefunden;
}

} // namespace

bool Pruefstand::moeglich() {
    bool alles = true;
    for (auto const* const programm : {"Xvfb", "dbus-daemon"})
        alles = installiert(programm) && alles;
    for (auto const* const programm : {"quillmate", "quillmate-bench-fenster"})
        if (!fs::exists(nachbarprogramm(programm))) {
            hinweis(fmt::format("übersprungen: {} ist nicht gebaut", programm));
            alles = false;
        }
    return alles;
}

Pruefstand::Pruefstand(fs::path ordner)
    : ordner_(std::move(ordner))
    , bildschirm_(XOpenDisplay(anzeige_.name().c_str()))
    , dienst_([this](auto const& anfrage) { return behandeln(anfrage); }) {
    if (bildschirm_ == nullptr)
        throw std::runtime_error{"no display"};
    fs::create_directories(ordner_);
    std::ofstream{ordner_ / "ladeseite.html", std::ios::binary} << fenster::ladeseite();
}

Pruefstand::~Pruefstand() {
    XCloseDisplay(bildschirm_);
}

werkzeug::HttpAntwort Pruefstand::behandeln(werkzeug::HttpAnfrage const& anfrage) {
    auto const trenner = anfrage.pfad.find('/', 1);
    auto const name = anfrage.pfad.substr(1, trenner == std::string::npos ? trenner : trenner - 1);
    auto const was = trenner == std::string::npos ? std::string{} : anfrage.pfad.substr(trenner + 1);
    if (was == "stil.css")
        return {.koerper = std::string{stil}, .inhaltstyp = "text/css"};
    if (was == "skript.js")
        return {.koerper = std::string{skript}, .inhaltstyp = "text/javascript"};
    if (was == "geladen") {
        std::lock_guard const schutz{sperre_};
        geladene_.emplace(name, Uhr::now());
        aenderung_.notify_all();
        return {.koerper = "{}"};
    }
    if (was == "uebersicht")
        return {
            .koerper = std::string{seite},
            .inhaltstyp = "text/html; charset=utf-8",
            .haengen = name.starts_with("nie")};
    return {.status = 404, .koerper = "nein", .inhaltstyp = "text/plain"};
}

Pruefstand::Fenster::Fenster(Pruefstand& stand, Fensterart art, Antwort antwort)
    : stand_(stand)
    , name_(fmt::format("{}{}", antwort == Antwort::nie ? "nie" : "sofort", ++stand.zaehler_))
    , heim_(stand.ordner_ / name_) {
    for (auto const* const ordner : {"tmp", "run", "daten", "zwischenspeicher"})
        fs::create_directories(heim_ / ordner);
    fs::permissions(heim_ / "run", fs::perms::owner_all);
    auto const adresse = fmt::format("{}/{}/uebersicht", stand.dienst_.adresse(), name_);
    fenster_echt::Programm::Umgebung werte{
        {"HOME", heim_},
        {"TMPDIR", heim_ / "tmp"},
        {"XDG_RUNTIME_DIR", heim_ / "run"},
        {"XDG_CONFIG_HOME", heim_ / ".config"},
        {"XDG_CACHE_HOME", heim_ / ".cache"},
        {"XDG_DATA_HOME", heim_ / ".local/share"},
        {"LANG", "C.UTF-8"},
        {"QUILLMATE_URL", adresse}};
    // Set by Anzeige, or of no session.
    for (auto const* const name :
         {"PATH", "DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "GDK_BACKEND", "GSK_RENDERER",
          "LIBGL_ALWAYS_SOFTWARE", "GTK_A11Y", "GIO_USE_VFS", "GSETTINGS_BACKEND", "NO_AT_BRIDGE"})
        if (char const* const wert = std::getenv(name))
            werte[name] = wert;
    std::vector<std::string> argumente;
    if (art != Fensterart::unser)
        argumente = {heim_ / "daten", heim_ / "zwischenspeicher", adresse};
    if (art == Fensterart::mitLadeseite)
        argumente.push_back(stand.ordner_ / "ladeseite.html");
    auto const datei = nachbarprogramm(art == Fensterart::unser ? "quillmate" : "quillmate-bench-fenster");
    // What the last one showed must be gone from the display.
    if (zuSehen(stand.bildschirm_, farbeLadeseite) || zuSehen(stand.bildschirm_, farbeSeite))
        throw std::runtime_error{"the display is not empty"};
    beginn_ = Uhr::now();
    programm_ = std::make_unique<fenster_echt::Programm>(datei.string(), argumente, werte);
}

Pruefstand::Fenster::~Fenster() {
    programm_.reset();
    std::error_code fehler;
    fs::remove_all(heim_, fehler);
}

Sekunden Pruefstand::Fenster::ladeseiteGemalt() {
    return bisFarbe(farbeLadeseite);
}

Sekunden Pruefstand::Fenster::geladen() {
    std::unique_lock schutz{stand_.sperre_};
    if (!stand_.aenderung_.wait_until(
            schutz, beginn_ + geduld, [&] { return stand_.geladene_.contains(name_); }))
        throw std::runtime_error{"the page is not loaded; the log:\n" + programm_->fehlerausgabe()};
    return stand_.geladene_.at(name_) - beginn_;
}

Sekunden Pruefstand::Fenster::gemalt() {
    return bisFarbe(farbeSeite);
}

Sekunden Pruefstand::Fenster::bisFarbe(std::uint32_t farbe) {
    constexpr std::chrono::milliseconds takt{2};
    while (!zuSehen(stand_.bildschirm_, farbe)) {
        if (Uhr::now() > beginn_ + geduld)
            throw std::runtime_error{"the page does not appear; the log:\n" + programm_->fehlerausgabe()};
        std::this_thread::sleep_for(takt);
    }
    return Uhr::now() - beginn_;
}

} // namespace quillmate::bench
