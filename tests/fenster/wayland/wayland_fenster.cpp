#include "wayland_fenster.h"

#include "werkzeug/warten.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace quillmate::fenster_wayland {
namespace {

namespace fs = std::filesystem;
using fenster_echt::Programm;
using werkzeug::wartenBis;

constexpr char const* buchse = "wayland-probe";

} // namespace

WaylandFenster::WaylandFenster() {
    for (auto const* const name : {"home/Downloads", "home/Documents", "home/Desktop", "tmp", "run"})
        ordner.ordner(name);
    fs::permissions(ordner.pfad("run"), fs::perms::owner_all);
}

WaylandFenster::~WaylandFenster() = default;

void WaylandFenster::TearDown() {
    if (HasFailure() && weston_)
        std::fprintf(stderr, "Log of Weston:\n%s", weston_->fehlerausgabe().c_str());
    if (HasFailure() && programm)
        for (auto const& zeile : programm->zeilen())
            std::fprintf(stderr, "%s\n", zeile.c_str());
    // The program first: without its display it would end with an error that is nobody's.
    programm.reset();
    weston_.reset();
    bus_.reset();
}

Programm::Umgebung WaylandFenster::umgebung() const {
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
        {"GSK_RENDERER", "cairo"},
        {"LIBGL_ALWAYS_SOFTWARE", "1"},
        {"GTK_A11Y", "none"},
        {"NO_AT_BRIDGE", "1"},
        {"GIO_USE_VFS", "local"},
        {"GSETTINGS_BACKEND", "memory"}};
    if (char const* const pfad = std::getenv("PATH"))
        werte["PATH"] = pfad;
    return werte;
}

void WaylandFenster::sitzung(int massstab) {
    bus_ = std::make_unique<Programm>(
        QUILLMATE_DBUS, std::vector<std::string>{"--session", "--nofork", "--nopidfile", "--print-address=2"},
        umgebung());
    if (!wartenBis([&] { return bus_->fehlerausgabe().ends_with('\n'); }))
        throw std::runtime_error{"dbus-daemon startet nicht"};
    busadresse_ = bus_->fehlerausgabe();
    busadresse_.erase(busadresse_.find('\n'));
    weston_ = std::make_unique<Programm>(
        QUILLMATE_WESTON,
        std::vector<std::string>{
            "--backend=headless-backend.so", "--no-config", "--idle-time=0", "--width=1600", "--height=1200",
            "--socket=" + std::string{buchse}, "--scale=" + std::to_string(massstab)},
        umgebung());
    if (!wartenBis(
            [&] { return !weston_->laeuft() || fs::exists(ordner.pfad("run") + "/" + buchse); },
            std::chrono::seconds{30}) ||
        !weston_->laeuft())
        throw std::runtime_error{"Weston startet nicht: " + weston_->fehlerausgabe()};
}

std::unique_ptr<Programm> WaylandFenster::starte(Programm::Umgebung const& weitere) const {
    auto werte = umgebung();
    werte["QUILLMATE_URL"] = dienst.adresse("/uebersicht");
    werte["DBUS_SESSION_BUS_ADDRESS"] = busadresse_;
    werte["WAYLAND_DISPLAY"] = buchse;
    werte["WAYLAND_DEBUG"] = "client";
    for (auto const& [name, wert] : weitere)
        werte[name] = wert;
    return std::make_unique<Programm>(QUILLMATE_PROGRAMM, std::vector<std::string>{}, werte);
}

void WaylandFenster::oeffne(Programm::Umgebung const& weitere) {
    int const bisher = dienst.dokumente();
    programm = starte(weitere);
    ASSERT_TRUE(dienst.warteAufDokument(bisher + 1)) << programm->fehlerausgabe().substr(0, 4000);
    ASSERT_TRUE(warteAufTitel("Quillmate"));
}

std::vector<std::string> WaylandFenster::aufrufe(std::string_view schnittstelle, std::string_view was) const {
    // " -> xdg_toplevel@31.set_title("x")"; newer releases write "#" for "@".
    std::vector<std::string> gefunden;
    auto const ausgabe = programm->fehlerausgabe();
    auto const anfang = " -> " + std::string{schnittstelle};
    auto const mitte = "." + std::string{was} + "(";
    for (auto stelle = ausgabe.find(anfang); stelle != std::string::npos;
         stelle = ausgabe.find(anfang, stelle + 1)) {
        auto const ende = ausgabe.find('\n', stelle);
        if (ende == std::string::npos)
            break; // still being written
        auto const zeile =
            std::string_view{ausgabe}.substr(stelle + anfang.size(), ende - stelle - anfang.size());
        auto const punkt = zeile.find(mitte);
        if ((zeile.starts_with('@') || zeile.starts_with('#')) && punkt != std::string_view::npos &&
            zeile.ends_with(')') && zeile.find_first_of('(') == punkt + mitte.size() - 1)
            gefunden.emplace_back(
                zeile.substr(punkt + mitte.size(), zeile.size() - punkt - mitte.size() - 1));
    }
    return gefunden;
}

bool WaylandFenster::warteAufTitel(std::string_view titel) const {
    auto const gesucht = "\"" + std::string{titel} + "\"";
    return wartenBis(
        [&] {
            auto const alle = aufrufe("xdg_toplevel", "set_title");
            return std::ranges::find(alle, gesucht) != alle.end();
        },
        std::chrono::seconds{30});
}

} // namespace quillmate::fenster_wayland
