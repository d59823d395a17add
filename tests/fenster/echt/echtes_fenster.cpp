#include "echtes_fenster.h"

#include "werkzeug/warten.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace quillmate::fenster_echt {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view titel = "Quillmate";

} // namespace

EchtesFenster::EchtesFenster()
    : bildschirm(anzeige.name()) {
    for (auto const* const name : {"home/Downloads", "home/Documents", "home/Desktop", "tmp", "run"})
        ordner.ordner(name);
    fs::permissions(ordner.pfad("run"), fs::perms::owner_all);
    char const* const probe = std::getenv("QUILLMATE_PROBE");
    if (!probe || std::string_view{probe} != "wayland")
        return;
    weston_ = std::make_unique<Weston>(anzeige.name(), ordner.pfad("run"), umgebung());
    fenster_ = std::make_unique<Waylandfenster>(
        [this] { return programm ? programm->fehlerausgabe() : std::string{}; });
    EXPECT_TRUE(werkzeug::wartenBis([&] { return !bildschirm.fenster().empty(); })) << "Weston shows nothing";
    bildschirm.unterWayland([this] { return fenster_->alle(); }, [this] { return fenster_->tastaturBei(); });
}

EchtesFenster::~EchtesFenster() = default;

void EchtesFenster::TearDown() {
    if (HasFailure()) {
        auto const* const test = testing::UnitTest::GetInstance()->current_test_info();
        bildschirm.bild(std::string{"gescheitert_"} + test->name() + (wayland() ? "_wayland" : ""));
        if (programm)
            std::fprintf(stderr, "Log of the program:\n%s", programm->fehlerausgabe().c_str());
    }
    programm.reset();
    weston_.reset();
}

Programm::Umgebung EchtesFenster::umgebung() const {
    auto const heim = ordner.pfad("home");
    Programm::Umgebung werte{
        {"HOME", heim},
        {"TMPDIR", ordner.pfad("tmp")},
        {"XDG_RUNTIME_DIR", ordner.pfad("run")},
        {"XDG_CONFIG_HOME", heim + "/.config"},
        {"XDG_CACHE_HOME", heim + "/.cache"},
        {"XDG_DATA_HOME", heim + "/.local/share"},
        {"XDG_DATA_DIRS", "/usr/local/share:/usr/share"},
        {"LANG", "C"},
        {"QUILLMATE_URL", dienst.adresse("/uebersicht")}};
    // Set by Anzeige, or of no session.
    for (auto const* const name :
         {"PATH", "DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "GDK_BACKEND", "GSK_RENDERER",
          "LIBGL_ALWAYS_SOFTWARE", "GTK_A11Y", "GIO_USE_VFS", "GSETTINGS_BACKEND", "NO_AT_BRIDGE",
          "ADW_DEBUG_COLOR_SCHEME"}) // Looks at the pictures of a run may want the dark ones.
        if (char const* const wert = std::getenv(name))
            werte[name] = wert;
    if (wayland()) {
        werte.erase("DISPLAY");
        werte["GDK_BACKEND"] = "wayland";
        werte["WAYLAND_DISPLAY"] = Weston::buchse;
        werte["WAYLAND_DEBUG"] = "client"; // Tells which windows there are.
    }
    return werte;
}

std::unique_ptr<Programm> EchtesFenster::starte(
    std::vector<std::string> argumente, Programm::Umgebung const& weitere, std::string const& datei) const {
    auto werte = umgebung();
    for (auto const& [name, wert] : weitere)
        werte[name] = wert;
    return std::make_unique<Programm>(datei, std::move(argumente), werte);
}

void EchtesFenster::oeffne(Programm::Umgebung const& weitere, std::string const& datei) {
    int const bisher = dienst.dokumente();
    ursprung_.clear();
    programm = starte({}, weitere, datei);
    ASSERT_TRUE(dienst.warteAufDokument(bisher + 1));
    ASSERT_TRUE(bildschirm.warteAufFenster(titel));
    tastaturAnHauptfenster();
}

void EchtesFenster::beende() {
    bildschirm.schliessen(hauptfenster().nummer);
    EXPECT_EQ(programm->warteAufEnde(), 0);
    programm.reset();
}

XFenster EchtesFenster::hauptfenster() const {
    // Its number is the lowest: it was made first.
    std::optional<XFenster> haupt;
    for (auto const& fenster : bildschirm.fenster())
        if (fenster.titel == titel && !fenster.aufgeklappt && (!haupt || fenster.nummer < haupt->nummer))
            haupt = fenster;
    if (!haupt)
        throw std::runtime_error{"Kein Hauptfenster"};
    return *haupt;
}

void EchtesFenster::tastaturAnHauptfenster() {
    auto const haupt = hauptfenster().nummer;
    EXPECT_TRUE(werkzeug::wartenBis([&] {
        if (bildschirm.tastaturBei() != haupt)
            bildschirm.tastaturAn(haupt);
        return bildschirm.tastaturBei() == haupt;
    }));
}

std::optional<XFenster> EchtesFenster::warteAufDialog() {
    auto const haupt = hauptfenster().nummer;
    std::optional<XFenster> dialog;
    (void)werkzeug::wartenBis([&] {
        for (auto const& fenster : bildschirm.fenster())
            if (!fenster.aufgeklappt && fenster.nummer != haupt && bildschirm.tastaturBei() == fenster.nummer)
                dialog = fenster;
        return dialog.has_value();
    });
    return dialog;
}

bool EchtesFenster::warteBisDialogWeg() {
    auto const haupt = hauptfenster().nummer;
    bool const weg = werkzeug::wartenBis([&] {
        for (auto const& fenster : bildschirm.fenster())
            if (fenster.nummer != haupt)
                return false;
        return true;
    });
    tastaturAnHauptfenster();
    return weg;
}

Punkt EchtesFenster::mitteVon(std::string const& auswahl, std::string const& seite, Seitendienst* wessen) {
    auto& hier = wessen ? *wessen : dienst;
    auto ursprung = ursprung_.find({&hier, seite});
    if (ursprung == ursprung_.end()) {
        // The page alone knows where the pointer is within it. An event may be of an earlier place, and one of several
        // moves may be left out; but two of them that are as far apart as the places are those of the places.
        hier.rufe(
            "addEventListener('mousemove', e => { window.__zeiger = [e.clientX, e.clientY]; });", seite);
        constexpr Punkt erst{.x = 400, .y = 300};
        constexpr Punkt dann{.x = 507, .y = 351};
        auto const zeigerBei = [&] {
            auto const wo = hier.rufe("return window.__zeiger ?? [-1, -1];", seite);
            return Punkt{.x = wo.at(0).get<int>(), .y = wo.at(1).get<int>()};
        };
        Punkt erster;
        Punkt zweiter;
        auto const bewegeBis = [&](Punkt wohin, auto const& bedingung) {
            bildschirm.bewege(wohin);
            return werkzeug::wartenBis(bedingung, std::chrono::seconds{1});
        };
        bool const gesehen = werkzeug::wartenBis([&] {
            auto const vorher = zeigerBei();
            auto const angekommen = [&] {
                erster = zeigerBei();
                return erster.x != vorher.x || erster.y != vorher.y;
            };
            auto const ebensoweit = [&] {
                zweiter = zeigerBei();
                // The page lies at a fraction of a pixel, and the engine rounds.
                return std::abs(zweiter.x - erster.x - (dann.x - erst.x)) <= 1 &&
                       std::abs(zweiter.y - erster.y - (dann.y - erst.y)) <= 1;
            };
            return bewegeBis(erst, angekommen) && bewegeBis(dann, ebensoweit);
        });
        if (!gesehen)
            throw std::runtime_error{"Der Zeiger erreicht die Seite nicht"};
        ursprung =
            ursprung_
                .emplace(std::pair{&hier, seite}, Punkt{.x = dann.x - zweiter.x, .y = dann.y - zweiter.y})
                .first;
    }
    auto const mitte = hier.rufe(
        "const r = document.querySelector(" + nlohmann::json(auswahl).dump() +
            ").getBoundingClientRect(); return [Math.round(r.x + r.width / 2), Math.round(r.y + r.height / "
            "2)];",
        seite);
    return {
        .x = ursprung->second.x + mitte.at(0).get<int>(), .y = ursprung->second.y + mitte.at(1).get<int>()};
}

void EchtesFenster::klicke(std::string const& auswahl, std::string const& seite, Seitendienst* wessen) {
    bildschirm.klicke(mitteVon(auswahl, seite, wessen));
}

void EchtesFenster::browserEinrichten(std::vector<std::string> const& schemata) const {
    auto const skript = ordner.datei(
        "home/browser.sh", "#!/bin/sh\nprintf '%s\\n' \"$1\" >> '" + ordner.pfad("browser.txt") + "'\n");
    fs::permissions(skript, fs::perms::owner_all);
    std::string typen;
    std::string vorgaben = "[Default Applications]\n";
    for (auto const& schema : schemata) {
        typen += "x-scheme-handler/" + schema + ';';
        vorgaben += "x-scheme-handler/" + schema + "=pruefbrowser.desktop\n";
    }
    ordner.datei(
        "home/.local/share/applications/pruefbrowser.desktop",
        "[Desktop Entry]\nType=Application\nName=Browser\nExec=" + skript + " %u\nMimeType=" + typen + '\n');
    ordner.datei("home/.config/mimeapps.list", vorgaben);
}

std::vector<std::string> EchtesFenster::imBrowser() const {
    std::istringstream text{werkzeug::inhaltVon(ordner.pfad("browser.txt"))};
    std::vector<std::string> zeilen;
    for (std::string zeile; std::getline(text, zeile);)
        zeilen.push_back(zeile);
    return zeilen;
}

bool EchtesFenster::warteAufBrowser(std::string const& adresse) const {
    return werkzeug::wartenBis([&] {
        auto const alle = imBrowser();
        return std::ranges::find(alle, adresse) != alle.end();
    });
}

} // namespace quillmate::fenster_echt
