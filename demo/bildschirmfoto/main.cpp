// quillmate-bildschirmfoto FILE.png: what the X display of DISPLAY shows, as a PNG file.
#include <X11/Xlib.h>
#include <cairo/cairo-xlib.h>

#include <cstdio>
#include <memory>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("Aufruf: quillmate-bildschirmfoto DATEI.png\n", stderr);
        return 2;
    }
    std::unique_ptr<Display, decltype(&XCloseDisplay)> const anzeige{XOpenDisplay(nullptr), &XCloseDisplay};
    if (!anzeige) {
        std::fputs("Es gibt keine Anzeige (DISPLAY).\n", stderr);
        return 1;
    }
    int const schirm = DefaultScreen(anzeige.get());
    std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> const bild{
        cairo_xlib_surface_create(
            anzeige.get(), RootWindow(anzeige.get(), schirm), DefaultVisual(anzeige.get(), schirm),
            DisplayWidth(anzeige.get(), schirm), DisplayHeight(anzeige.get(), schirm)),
        &cairo_surface_destroy};
    auto const ausgang = cairo_surface_write_to_png(bild.get(), argv[1]);
    if (ausgang != CAIRO_STATUS_SUCCESS) {
        std::fprintf(stderr, "Das Bild liess sich nicht schreiben: %s\n", cairo_status_to_string(ausgang));
        return 1;
    }
    return 0;
}
