#include "bildschirm.h"

#include "werkzeug/warten.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>
#include <cairo.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <stdexcept>

namespace quillmate::fenster_echt {
namespace {

/// Windows vanish while they are looked at; that is no reason to end the test.
int fehlerUebergehen(Display*, XErrorEvent*) {
    return 0;
}

template<typename Typ>
using XHalter = std::unique_ptr<Typ, int (*)(void*)>;

std::string eigenschaft(Display* anzeige, Window fenster, char const* name) {
    Atom typ = None;
    int format = 0;
    unsigned long anzahl = 0;
    unsigned long rest = 0;
    unsigned char* daten = nullptr;
    if (XGetWindowProperty(
            anzeige, fenster, XInternAtom(anzeige, name, False), 0, 1L << 20, False, AnyPropertyType, &typ,
            &format, &anzahl, &rest, &daten) != Success ||
        !daten)
        return {};
    XHalter<unsigned char> const halter{daten, &XFree};
    return format == 8 ? std::string{reinterpret_cast<char const*>(daten), anzahl} : std::string{};
}

unsigned long zeichenVon(std::string_view name) {
    unsigned long const zeichen = XStringToKeysym(std::string{name}.c_str());
    if (zeichen == NoSymbol)
        throw std::runtime_error{"Unbekannte Taste " + std::string{name}};
    return zeichen;
}

} // namespace

Bildschirm::Bildschirm(std::string const& name)
    : anzeige_(XOpenDisplay(name.c_str())) {
    if (!anzeige_)
        throw std::runtime_error{"Kein Bildschirm " + name};
    XSetErrorHandler(fehlerUebergehen);
    wurzel_ = DefaultRootWindow(anzeige_);
    eigenes_ = XCreateSimpleWindow(anzeige_, wurzel_, 0, 0, 1, 1, 0, 0, 0);
}

Bildschirm::~Bildschirm() {
    XCloseDisplay(anzeige_);
}

void Bildschirm::unterWayland(
    std::function<std::vector<XFenster>()> fenster, std::function<unsigned long()> tastatur) {
    // The keys of the X server go to the compositor's window.
    for (auto const& eines : this->fenster())
        if (!eines.aufgeklappt)
            tastaturAn(eines.nummer);
    waylandfenster_ = std::move(fenster);
    waylandtastatur_ = std::move(tastatur);
}

std::vector<XFenster> Bildschirm::fenster() const {
    if (waylandfenster_)
        return waylandfenster_();
    Window wurzel = 0;
    Window eltern = 0;
    Window* kinder = nullptr;
    unsigned int anzahl = 0;
    std::vector<XFenster> alle;
    if (XQueryTree(anzeige_, wurzel_, &wurzel, &eltern, &kinder, &anzahl) == 0)
        return alle;
    XHalter<Window> const halter{kinder, &XFree};
    for (unsigned int i = 0; i < anzahl; ++i) {
        XWindowAttributes werte;
        if (XGetWindowAttributes(anzeige_, kinder[i], &werte) == 0 || werte.map_state != IsViewable)
            continue;
        alle.push_back(
            {.nummer = kinder[i],
             .titel = eigenschaft(anzeige_, kinder[i], "_NET_WM_NAME"),
             .x = werte.x,
             .y = werte.y,
             .breite = werte.width,
             .hoehe = werte.height,
             .aufgeklappt = werte.override_redirect != 0});
    }
    return alle;
}

std::optional<XFenster> Bildschirm::fensterMit(std::string_view titel) const {
    auto const alle = fenster();
    auto const fund = std::find_if(alle.rbegin(), alle.rend(), [&](auto const& eins) {
        return !eins.aufgeklappt && eins.titel == titel;
    });
    return fund == alle.rend() ? std::nullopt : std::optional{*fund};
}

std::optional<XFenster> Bildschirm::warteAufFenster(
    std::string_view titel, std::chrono::seconds grenze) const {
    std::optional<XFenster> gefunden;
    (void)werkzeug::wartenBis([&] { return (gefunden = fensterMit(titel)).has_value(); }, grenze);
    return gefunden;
}

unsigned long Bildschirm::tastaturBei() const {
    if (waylandtastatur_)
        return waylandtastatur_();
    Window fenster = 0;
    int zurueck = 0;
    XGetInputFocus(anzeige_, &fenster, &zurueck);
    return fenster == None || fenster == PointerRoot || fenster == wurzel_ ? 0 : fenster;
}

void Bildschirm::tastaturAn(unsigned long fenster) {
    if (waylandfenster_) // Only the compositor gives it, to the window that is clicked; this one gives it back to nobody.
        return klicke(
            {.x = DisplayWidth(anzeige_, DefaultScreen(anzeige_)) - 2,
             .y = DisplayHeight(anzeige_, DefaultScreen(anzeige_)) - 2});
    XRaiseWindow(anzeige_, fenster);
    XSetInputFocus(anzeige_, fenster, RevertToParent, CurrentTime);
    XSync(anzeige_, False);
}

void Bildschirm::groesse(unsigned long fenster, int breite, int hoehe) {
    XResizeWindow(anzeige_, fenster, static_cast<unsigned>(breite), static_cast<unsigned>(hoehe));
    XSync(anzeige_, False);
}

void Bildschirm::schliessen(unsigned long fenster) {
    if (waylandfenster_) // Nobody but its user can ask a window to close.
        return taste("ctrl+w");
    XEvent bitte{};
    bitte.xclient.type = ClientMessage;
    bitte.xclient.window = fenster;
    bitte.xclient.message_type = XInternAtom(anzeige_, "WM_PROTOCOLS", False);
    bitte.xclient.format = 32;
    bitte.xclient.data.l[0] = static_cast<long>(XInternAtom(anzeige_, "WM_DELETE_WINDOW", False));
    bitte.xclient.data.l[1] = CurrentTime;
    XSendEvent(anzeige_, fenster, False, NoEventMask, &bitte);
    XSync(anzeige_, False);
}

unsigned long Bildschirm::eigenesZeigen() {
    XResizeWindow(anzeige_, eigenes_, 300, 200);
    XMapRaised(anzeige_, eigenes_);
    XSync(anzeige_, False);
    return eigenes_;
}

void Bildschirm::drueckeTaste(unsigned long zeichen, bool umschalten) {
    auto const taste = XKeysymToKeycode(anzeige_, zeichen);
    if (taste == 0)
        throw std::runtime_error{"Die Tastatur hat diese Taste nicht"};
    auto const umschalttaste = XKeysymToKeycode(anzeige_, XK_Shift_L);
    if (umschalten)
        XTestFakeKeyEvent(anzeige_, umschalttaste, True, CurrentTime);
    XTestFakeKeyEvent(anzeige_, taste, True, CurrentTime);
    XTestFakeKeyEvent(anzeige_, taste, False, CurrentTime);
    if (umschalten)
        XTestFakeKeyEvent(anzeige_, umschalttaste, False, CurrentTime);
}

void Bildschirm::taste(std::string_view kombination) {
    std::vector<unsigned int> gehalten;
    for (auto plus = kombination.find('+'); plus != std::string_view::npos && plus > 0;
         plus = kombination.find('+')) {
        auto const name = kombination.substr(0, plus);
        KeySym const zeichen = name == "ctrl" ? XK_Control_L : name == "shift" ? XK_Shift_L : XK_Alt_L;
        gehalten.push_back(XKeysymToKeycode(anzeige_, zeichen));
        kombination.remove_prefix(plus + 1);
    }
    for (auto const taste : gehalten)
        XTestFakeKeyEvent(anzeige_, taste, True, CurrentTime);
    drueckeTaste(zeichenVon(kombination), false);
    for (auto const taste : gehalten)
        XTestFakeKeyEvent(anzeige_, taste, False, CurrentTime);
    XSync(anzeige_, False);
}

void Bildschirm::tippe(std::string_view text) {
    for (char const zeichen : text) {
        // For ASCII a key symbol's number is the character's.
        auto const symbol = static_cast<KeySym>(static_cast<unsigned char>(zeichen));
        auto const taste = XKeysymToKeycode(anzeige_, symbol);
        int belegungen = 0;
        XHalter<KeySym> const belegung{XGetKeyboardMapping(anzeige_, taste, 1, &belegungen), &XFree};
        drueckeTaste(symbol, belegungen > 0 && belegung.get()[0] != symbol);
    }
    XSync(anzeige_, False);
}

void Bildschirm::bewege(Punkt wohin) {
    XTestFakeMotionEvent(anzeige_, -1, wohin.x, wohin.y, CurrentTime);
    XSync(anzeige_, False);
}

void Bildschirm::klicke(Punkt wohin) {
    klicke(wohin, Button1);
}

void Bildschirm::rechtsklicke(Punkt wohin) {
    klicke(wohin, Button3);
}

void Bildschirm::klicke(Punkt wohin, unsigned int knopf) {
    bewege(wohin);
    XTestFakeButtonEvent(anzeige_, knopf, True, CurrentTime);
    XTestFakeButtonEvent(anzeige_, knopf, False, CurrentTime);
    XSync(anzeige_, False);
}

void Bildschirm::zwischenablageLeeren() {
    XSetSelectionOwner(anzeige_, XInternAtom(anzeige_, "CLIPBOARD", False), None, CurrentTime);
    XSync(anzeige_, False);
}

std::optional<std::string> Bildschirm::zwischenablage() {
    auto const ablage = XInternAtom(anzeige_, "CLIPBOARD", False);
    auto const ziel = XInternAtom(anzeige_, "QUILLMATE_TEST", False);
    XDeleteProperty(anzeige_, eigenes_, ziel);
    XConvertSelection(
        anzeige_, ablage, XInternAtom(anzeige_, "UTF8_STRING", False), ziel, eigenes_, CurrentTime);
    XFlush(anzeige_);
    XEvent ereignis{};
    bool const geantwortet = werkzeug::wartenBis(
        [&] { return XCheckTypedWindowEvent(anzeige_, eigenes_, SelectionNotify, &ereignis) != 0; },
        std::chrono::seconds{5});
    if (!geantwortet || ereignis.xselection.property == None)
        return std::nullopt;
    return eigenschaft(anzeige_, eigenes_, "QUILLMATE_TEST");
}

std::uint32_t Bildschirm::farbe(Punkt wo) const {
    auto* const bild = XGetImage(anzeige_, wurzel_, wo.x, wo.y, 1, 1, AllPlanes, ZPixmap);
    if (!bild)
        return 0;
    auto const wert = static_cast<std::uint32_t>(XGetPixel(bild, 0, 0) & 0xffffffU);
    XDestroyImage(bild);
    return wert;
}

void Bildschirm::bild(std::string_view name) const {
    // Painting takes a while: wait until nothing has changed for as long as a slow frame takes.
    constexpr std::chrono::milliseconds ruhe{700};
    auto const inhalt = [this] {
        auto bild = aufnahme();
        return bild ? std::string{bild->data, static_cast<std::size_t>(bild->bytes_per_line * bild->height)}
                    : std::string{};
    };
    auto letzter = inhalt();
    auto seit = std::chrono::steady_clock::now();
    (void)werkzeug::wartenBis(
        [&] {
            if (auto neuer = inhalt(); neuer != letzter) {
                letzter = std::move(neuer);
                seit = std::chrono::steady_clock::now();
            }
            return std::chrono::steady_clock::now() - seit > ruhe;
        },
        std::chrono::seconds{5});
    std::filesystem::path const ordner{QUILLMATE_BILDER};
    std::filesystem::create_directories(ordner);
    auto const bild = aufnahme();
    if (!bild || bild->bits_per_pixel != 32)
        return;
    auto* const flaeche = cairo_image_surface_create_for_data(
        reinterpret_cast<unsigned char*>(bild->data), CAIRO_FORMAT_RGB24, bild->width, bild->height,
        bild->bytes_per_line);
    cairo_surface_write_to_png(flaeche, (ordner / (std::string{name} + ".png")).c_str());
    cairo_surface_destroy(flaeche);
}

Bildschirm::Aufnahme Bildschirm::aufnahme() const {
    int const nummer = DefaultScreen(anzeige_);
    return {
        XGetImage(
            anzeige_, wurzel_, 0, 0, static_cast<unsigned>(DisplayWidth(anzeige_, nummer)),
            static_cast<unsigned>(DisplayHeight(anzeige_, nummer)), AllPlanes, ZPixmap),
        [](_XImage* bild) {
            if (bild)
                XDestroyImage(bild);
        }};
}

} // namespace quillmate::fenster_echt
