#include "ablage.h"

#include "grundlage/text.h"
#include "netz/mehrteilig.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <utility>
#include <vector>

namespace quillmate::portal {

namespace {

/// Whether a name is one that neuerOrdner() gives.
bool istEigenerName(std::string_view name) {
    if (!name.starts_with(Portalablage::vorsatz))
        return false;
    name.remove_prefix(Portalablage::vorsatz.size());
    if (name.size() != 36)
        return false;
    for (std::size_t i = 0; i < name.size(); ++i) {
        bool const strich = i == 8 || i == 13 || i == 18 || i == 23;
        bool const ziffer = (name[i] >= '0' && name[i] <= '9') || (name[i] >= 'A' && name[i] <= 'F');
        if (strich ? name[i] != '-' : !ziffer)
            return false;
    }
    return true;
}

/// The folder, locked; empty when it is no folder of this user's, is a link, or somebody else has locked it.
Deskriptor gesperrt(std::string const& ordner) {
    Deskriptor griff{::open(ordner.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
    struct stat lage {};
    if (!griff || ::fstat(griff.get(), &lage) != 0 || lage.st_uid != ::geteuid() ||
        ::flock(griff.get(), LOCK_EX | LOCK_NB) != 0)
        return {};
    // Whoever had it locked before may have removed it: no entry leads here any more.
    if (::fstat(griff.get(), &lage) != 0 || lage.st_nlink == 0)
        return {};
    return griff;
}

void loeschen(std::string const& ordner) {
    std::error_code fehler;
    std::filesystem::remove_all(ordner, fehler); // follows no links
}

} // namespace

Portalablage::Portalablage(std::string temporaererOrdner)
    : temporaererOrdner_(std::move(temporaererOrdner)) {}

Portalablage::~Portalablage() {
    for (auto const& [ordner, inhalt] : offen_)
        loeschen(ordner);
}

Ergebnis<std::string> Portalablage::neuerOrdner() {
    {
        std::lock_guard const schutz{sperre_};
        if (offen_.size() >= hoechstensOffen)
            return fehler(Fehlerart::zuGross, temporaererOrdner_, "Es warten schon zu viele Dateien");
    }
    if (!ordnerAnlegen(temporaererOrdner_))
        return errnoFehler(temporaererOrdner_, "Der Ordner ist nicht anzulegen");
    // Another instance that tidies up may see the folder before it is locked, and take it away: then try again.
    for (int versuch = 0; versuch < 3; ++versuch) {
        auto ordner = temporaererOrdner_ + '/' + std::string{vorsatz} + netz::neueUuid();
        if (::mkdir(ordner.c_str(), 0700) != 0)
            return errnoFehler(ordner, "Der Ordner ist nicht anzulegen");
        auto griff = gesperrt(ordner);
        if (!griff)
            continue;
        std::lock_guard const schutz{sperre_};
        offen_.emplace(ordner, Ordner{.griff = std::move(griff)});
        return ordner;
    }
    return fehler(Fehlerart::gestoert, temporaererOrdner_, "Der Ordner ist nicht zu behalten");
}

bool Portalablage::vermerken(std::string const& ordner, std::uint64_t bytes) {
    std::lock_guard const schutz{sperre_};
    auto const eintrag = offen_.find(ordner);
    if (eintrag == offen_.end())
        return false;
    auto const andere = bytes_ - eintrag->second.bytes;
    if (bytes > hoechstensBytes || andere > hoechstensBytes - bytes)
        return false;
    bytes_ = andere + bytes;
    eintrag->second.bytes = bytes;
    return true;
}

void Portalablage::entfernen(std::string const& ordner) {
    Deskriptor griff;
    {
        std::lock_guard const schutz{sperre_};
        auto const eintrag = offen_.find(ordner);
        if (eintrag == offen_.end())
            return;
        griff = std::move(eintrag->second.griff);
        bytes_ -= eintrag->second.bytes;
        offen_.erase(eintrag);
    }
    loeschen(ordner);
}

void Portalablage::aufraeumen() {
    std::error_code fehler;
    std::vector<std::string> namen;
    for (std::filesystem::directory_iterator eintrag{temporaererOrdner_, fehler}, ende;
         !fehler && eintrag != ende; eintrag.increment(fehler))
        if (auto name = eintrag->path().filename().string(); istEigenerName(name))
            namen.push_back(std::move(name));
    for (auto const& name : namen) {
        auto const ordner = temporaererOrdner_ + '/' + name;
        if (auto const griff = gesperrt(ordner))
            loeschen(ordner);
    }
}

std::string belegname(std::string_view vorschlag) {
    constexpr std::size_t hoechstens =
        200; // a file system takes 255, and a download in progress has a longer name
    auto name = ohneSteuerzeichen(alsUtf8(letzteKomponente(vorschlag)));
    if (name.empty() || name == "." || name == ".." || name == "/")
        return {};
    if (name.size() <= hoechstens)
        return name;
    auto const punkt = name.rfind('.');
    auto endung = punkt == std::string::npos || name.size() - punkt > 16 ? std::string{} : name.substr(punkt);
    auto stamm = name.substr(0, hoechstens - endung.size());
    // Not in the middle of a character's bytes.
    while (!stamm.empty() && (static_cast<unsigned char>(name[stamm.size()]) & 0xC0U) == 0x80U)
        stamm.pop_back();
    return stamm + endung;
}

} // namespace quillmate::portal
