#include "orte.h"

#include "grundlage/datei.h"
#include "grundlage/frist.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <memory>

namespace quillmate::Ordner {

namespace {

/// How long a place may take to be looked at. Whoever asks may be the window's thread.
constexpr std::chrono::milliseconds blickfrist{2000};

/// Whether a permission of the system stands before a place; decides what a failure to list it means.
enum class Geschuetzt { ja, nein };

struct Standardort {
    std::string pfad;
    Geschuetzt geschuetzt;
};

std::array<Standardort, 4> standardorteInReihenfolge(ports::Standardorte& standardorte) {
    auto const pfade = standardorte.pfade();
    return {{
        {.pfad = pfade.schreibtisch, .geschuetzt = Geschuetzt::ja},
        {.pfad = pfade.dokumente, .geschuetzt = Geschuetzt::ja},
        {.pfad = pfade.downloads, .geschuetzt = Geschuetzt::ja},
        {.pfad = pfade.wolke, .geschuetzt = Geschuetzt::nein},
    }};
}

/// 0, or the errno of listing the folder's contents. Reading one entry is enough to know.
int fehlerBeimAuflisten(std::string const& pfad) {
    auto deskriptor = oeffnen(pfad, O_RDONLY | O_DIRECTORY | O_NONBLOCK);
    if (!deskriptor)
        return errno;
    std::unique_ptr<DIR, int (*)(DIR*)> const ordner{::fdopendir(deskriptor.get()), &::closedir};
    if (!ordner)
        return errno;
    (void)deskriptor.abgeben(); // closedir() closes it
    errno = 0;
    (void)::readdir(ordner.get());
    return errno;
}

/// Whether there is nothing at this path. What cannot be looked at now is not missing: the search says what keeps it.
bool fehlt(std::string const& pfad) {
    auto const grund = mitFrist(pfad, blickfrist, [pfad] {
        struct stat lage {};
        return ::stat(pfad.c_str(), &lage) == 0 ? 0 : errno;
    });
    return grund == ENOENT || grund == ENOTDIR || grund == ELOOP || grund == ENAMETOOLONG;
}

std::string zustand(Standardort const& ort) {
    auto const grund =
        mitFrist(ort.pfad, blickfrist, [pfad = ort.pfad] { return fehlerBeimAuflisten(pfad); });
    switch (grund.value_or(ETIMEDOUT)) {
    case 0:
        return "ok";
    case EACCES:
    case EPERM:
        return "permission_denied";
    default:
        return ort.geschuetzt == Geschuetzt::ja ? "permission_missing" : "nicht_vorhanden";
    }
}

} // namespace

std::string ortName(std::string_view url) {
    auto name = letzteKomponente(url);
    return name == "com~apple~CloudDocs" ? "iCloud Drive" : name;
}

std::vector<std::string> belegOrte(ports::Standardorte& standardorte) {
    std::vector<std::string> orte;
    for (auto& ort : standardorteInReihenfolge(standardorte))
        if (!fehlt(ort.pfad))
            orte.push_back(std::move(ort.pfad));
    return orte;
}

std::vector<std::string> alleOrte(ports::Standardorte& standardorte, std::vector<Gemerkt> const& gemerkte) {
    auto orte = belegOrte(standardorte);
    for (auto const& gemerkt : gemerkte)
        orte.push_back(gemerkt.url);
    return orte;
}

std::vector<Zugriffslage> zugriffsLage(ports::Standardorte& standardorte) {
    std::vector<Zugriffslage> lagen;
    for (auto const& ort : standardorteInReihenfolge(standardorte))
        lagen.push_back({.ort = ort.pfad, .name = ortName(ort.pfad), .zustand = zustand(ort)});
    return lagen;
}

} // namespace quillmate::Ordner
