#include "verzeichnisse.h"

#include "ordnerrechte.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
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

bool istOrdner(std::string const& pfad) {
    struct stat lage {};
    return ::stat(pfad.c_str(), &lage) == 0 && S_ISDIR(lage.st_mode);
}

/// root's own folders count as ours in nurWirSchreiben(), but are no place for what we write.
bool istUnserAllein(std::string const& pfad) {
    struct stat lage {};
    return ::stat(pfad.c_str(), &lage) == 0 && S_ISDIR(lage.st_mode) && lage.st_uid == ::geteuid() &&
           nurWirSchreiben(pfad);
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
    return temporaererOrdner().value_or(keinOrdner);
}

std::string datenordner() {
    return absoluterPfadAus("XDG_DATA_HOME").value_or(heimordner() + "/.local/share");
}

std::string zustandsordner() {
    return absoluterPfadAus("XDG_STATE_HOME").value_or(heimordner() + "/.local/state");
}

Ergebnis<std::string> temporaererOrdner() {
    auto const gegeben = absoluterPfadAus("TMPDIR");
    if (gegeben && istUnserAllein(*gegeben))
        return *gegeben;
    // A folder named by the user that is not there is no place to make things in.
    auto const oben = gegeben && istOrdner(*gegeben) ? *gegeben : std::string{"/tmp"};
    auto eigener = oben + "/quillmate-" + std::to_string(::geteuid());
    if (auto const gesichert = eigenenOrdnerSichern(eigener, ZuOffen::ablehnen); !gesichert)
        return std::unexpected(gesichert.error());
    return eigener;
}

Ergebnis<std::string> laufzeitordner() {
    auto const gegeben = absoluterPfadAus("XDG_RUNTIME_DIR");
    if (gegeben && istUnserAllein(*gegeben))
        return *gegeben;
    return temporaererOrdner();
}

std::string zwischenspeicherOrdner() {
    return cacheordner() + "/de.tandemwerk.quillmate/texte";
}

} // namespace quillmate::adapter::linux
