#include "verzeichnisse.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <initializer_list>
#include <optional>
#include <vector>

namespace quillmate::adapter::linux {

namespace {

std::optional<std::string> absoluterPfadAus(char const* variable) {
    char const* const wert = std::getenv(variable);
    if (!wert || *wert != '/')
        return std::nullopt;
    return std::string{wert};
}

std::optional<std::string> heimordnerFallsBekannt() {
    if (auto heim = absoluterPfadAus("HOME"))
        return heim;
    std::vector<char> puffer(std::size_t{16} * 1024);
    passwd eintrag{};
    passwd* gefunden = nullptr;
    if (::getpwuid_r(::getuid(), &eintrag, puffer.data(), puffer.size(), &gefunden) == 0 && gefunden &&
        gefunden->pw_dir && *gefunden->pw_dir == '/')
        return std::string{gefunden->pw_dir};
    return std::nullopt;
}

} // namespace

std::string heimordner() {
    return heimordnerFallsBekannt().value_or("/");
}

std::string konfigurationsordner() {
    return absoluterPfadAus("XDG_CONFIG_HOME").value_or(heimordner() + "/.config");
}

std::string cacheordner() {
    if (auto ordner = absoluterPfadAus("XDG_CACHE_HOME"))
        return *ordner;
    if (auto const heim = heimordnerFallsBekannt())
        return *heim + "/.cache";
    return temporaererOrdner();
}

std::string datenordner() {
    return absoluterPfadAus("XDG_DATA_HOME").value_or(heimordner() + "/.local/share");
}

std::string temporaererOrdner() {
    for (char const* const variable : {"TMPDIR", "XDG_RUNTIME_DIR"})
        if (auto ordner = absoluterPfadAus(variable))
            return *ordner;
    return "/tmp";
}

std::string zwischenspeicherOrdner() {
    return cacheordner() + "/de.tandemwerk.quillmate/texte";
}

} // namespace quillmate::adapter::linux
