// quillmate-bilder: pictures of the program as it is, for README and documents: window, search, dialogs, portal, in
// light and dark. Everything on them is the demo's.
#include "welt.h"
#include "werkzeug/warten.h"

#include <cairo/cairo.h>
#include <fmt/format.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace {

using namespace quillmate::dauer;
using quillmate::fenster_echt::XFenster;
using quillmate::werkzeug::wartenBis;
using std::chrono::seconds;

struct Flaeche {
    cairo_surface_t* zeiger;
    ~Flaeche() { cairo_surface_destroy(zeiger); }
};

void erwarte(bool gut, char const* was) {
    if (!gut)
        throw std::runtime_error{was};
}

/// The part of the screen where this window is, as a file.
void nimmAuf(Welt& welt, XFenster const& fenster, std::string const& ziel) {
    welt.bildschirm.bild("ganz"); // waits until the screen is still
    Flaeche const ganz{
        cairo_image_surface_create_from_png((std::string{QUILLMATE_BAU} + "/bilder/tests/ganz.png").c_str())};
    Flaeche const teil{
        cairo_surface_create_for_rectangle(ganz.zeiger, fenster.x, fenster.y, fenster.breite, fenster.hoehe)};
    Flaeche const bild{cairo_image_surface_create(CAIRO_FORMAT_RGB24, fenster.breite, fenster.hoehe)};
    auto* const stift = cairo_create(bild.zeiger);
    cairo_set_source_surface(stift, teil.zeiger, 0, 0);
    cairo_paint(stift);
    cairo_destroy(stift);
    erwarte(
        cairo_surface_write_to_png(bild.zeiger, ziel.c_str()) == CAIRO_STATUS_SUCCESS,
        "a picture cannot be written");
    fmt::print("{}\n", ziel);
}

XFenster hauptfenster(Welt& welt) {
    auto const fenster = welt.bildschirm.warteAufFenster("Quillmate");
    erwarte(fenster.has_value(), "no window");
    return *fenster;
}

void zeigeSuche(Welt& welt, std::string const& ordner, std::string const& art) {
    welt.umgebungszusatz["QUILLMATE_URL"] = fmt::format(
        "{}/uebersicht?client=1&token={}&selbstlauf=1",
        welt.dienst->meldung().at("adresse").get<std::string>(), token);
    welt.starte();
    auto const fenster = hauptfenster(welt);
    constexpr int mitten = 30;
    erwarte(
        wartenBis(
            [&] { return welt.frage("/clients/1/local-scan/progress").value("processed", 0) >= mitten; },
            seconds{120}),
        "the search does not get going");
    nimmAuf(welt, fenster, fmt::format("{}/suche-{}.png", ordner, art));
    auto const fertig = [&] {
        try {
            return welt.frage("/demo/selbstlauf").value("erfolg", false);
        } catch (std::exception const&) { // not yet
            return false;
        }
    };
    erwarte(wartenBis(fertig, seconds{300}), "the search does not end");
    nimmAuf(welt, fenster, fmt::format("{}/fenster-{}.png", ordner, art));
    welt.schliesse();
    welt.umgebungszusatz.erase("QUILLMATE_URL");
}

void zeigeDialoge(Welt& welt, std::string const& ordner, std::string const& art) {
    erwarte(welt.oeffne(), "no window");
    welt.bildschirm.tastaturAn(hauptfenster(welt).nummer);
    (void)welt.leitung.beginne("return confirm('Diesen Beleg wirklich von der Buchung lösen?')");
    auto const frage = welt.dialog();
    erwarte(frage.has_value(), "no question");
    nimmAuf(welt, *frage, fmt::format("{}/frage-{}.png", ordner, art));
    welt.bildschirm.taste("Escape");
    erwarte(
        wartenBis([&] {
            return !welt.bildschirm.fensterMit(frage->titel) || welt.bildschirm.fenster().size() == 1;
        }),
        "the question stays");

    welt.bildschirm.tastaturAn(hauptfenster(welt).nummer);
    auto const nummer = welt.leitung.beginne(fmt::format(
        "return await window.quillmateApp.portalOeffnen({{kennung: 'weiteres', client_id: 1, token: '{}', "
        "name: 'Demoportal', transaction_id: 2}})",
        token));
    auto const adresse = welt.dialog();
    erwarte(adresse.has_value(), "the portal's address is not asked for");
    nimmAuf(welt, *adresse, fmt::format("{}/portaladresse-{}.png", ordner, art));
    welt.bildschirm.tippe(welt.portal());
    welt.bildschirm.taste("Return");
    (void)welt.leitung.ergebnis(nummer, seconds{30});
    auto const portal = welt.bildschirm.warteAufFenster("Belegportal — Demoportal · 127.0.0.1");
    erwarte(portal.has_value(), "the portal's window does not come");
    welt.bildschirm.klicke({.x = portal->x + 200, .y = portal->y + portal->hoehe - 80}); // Nothing is there.
    erwarte(welt.portaltext(*portal, "Kundennummer und Kennwort"), "no sign-in");
    welt.bildschirm.taste("alt+k");
    welt.bildschirm.taste("Return");
    erwarte(welt.portaltext(*portal, "Deine Rechnungen"), "no invoices");
    welt.bildschirm.klicke(
        {.x = portal->x + 200, .y = portal->y + portal->hoehe - 80}); // Nothing is selected.
    nimmAuf(welt, *portal, fmt::format("{}/portal-{}.png", ordner, art));
    welt.bildschirm.schliessen(portal->nummer);
    erwarte(wartenBis([&] { return !welt.bildschirm.fensterMit(portal->titel); }), "the portal stays");
    welt.schliesse();
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2 || argv[1][0] == '-') {
        fmt::print(stderr, "Aufruf: quillmate-bilder ORDNER\n");
        return 2;
    }
    std::signal(SIGPIPE, SIG_IGN);
    std::string const ordner = argv[1];
    std::filesystem::create_directories(ordner);
    int ausgang = 0;
    for (std::string const art : {"hell", "dunkel"}) {
        auto vorlage = (std::filesystem::temp_directory_path() / "quillmate-bilder-XXXXXX").string();
        if (::mkdtemp(vorlage.data()) == nullptr)
            return 1;
        try {
            Welt welt{{.bau = QUILLMATE_BAU, .arbeit = vorlage}, "bilder-" + art};
            welt.umgebungszusatz["ADW_DEBUG_COLOR_SCHEME"] = art == "dunkel" ? "prefer-dark" : "prefer-light";
            welt.umgebungszusatz["LANG"] = "de_DE.UTF-8";
            welt.dienstStarten(Welt::Texte::gelesen);
            welt.merkeOrdner({welt.heim() + "/Documents"});
            zeigeSuche(welt, ordner, art);
            zeigeDialoge(welt, ordner, art);
            if (!welt.klagen().empty())
                ausgang = 1;
        } catch (std::exception const& fehler) {
            fmt::print(stderr, "{}: {}\n", art, fehler.what());
            ausgang = 1;
        }
        std::error_code fehler;
        std::filesystem::remove_all(vorlage, fehler);
    }
    return ausgang;
}
