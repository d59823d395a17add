#include "umgebung.h"

#include <clocale>
#include <cstdlib>
#include <string_view>

namespace quillmate::app::umgebung {
namespace {

std::optional<std::string> wertVon(char const* name) {
    char const* const wert = std::getenv(name);
    return wert ? std::optional<std::string>{wert} : std::nullopt;
}

} // namespace

Vorher einrichten(bool grafikprozessor) {
    Vorher vorher;
    auto const setzen = [&](char const* name, std::optional<std::string> const& wert) {
        vorher.emplace(name, wertVon(name));
        if (wert)
            setenv(name, wert->c_str(), 1);
        else
            unsetenv(name);
    };
    // Translations are chosen by LANGUAGE, but only where the locale is a real one: "C" stands for no translation.
    setzen("LANGUAGE", "de");
    char const* const gesetzt = std::setlocale(LC_ALL, "");
    char const* const meldungen = gesetzt ? std::setlocale(LC_MESSAGES, nullptr) : nullptr;
    std::string_view const sprache = meldungen ? meldungen : "C";
    if (sprache == "C" || sprache == "POSIX") {
        setzen("LC_ALL", "C.UTF-8");
        std::setlocale(LC_ALL, "");
    }
    // These let any local program look into the pages: cookies, bookings, everything.
    for (char const* const name :
         {"WEBKIT_INSPECTOR_SERVER", "WEBKIT_INSPECTOR_HTTP_SERVER", "WEBKIT_INJECTED_BUNDLE_PATH"})
        if (wertVon(name))
            setzen(name, std::nullopt);
    if (!grafikprozessor && !wertVon("GDK_DEBUG"))
        setzen("GDK_DEBUG", "gl-disable");
    return vorher;
}

} // namespace quillmate::app::umgebung
