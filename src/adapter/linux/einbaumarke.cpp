#include "einbaumarke.h"

#include "grundlage/pruefsumme.h"
#include "ordnerrechte.h"
#include "plist.h"
#include "schreibreste.h"
#include "verzeichnisse.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <string_view>
#include <utility>

namespace quillmate::adapter::linux {

namespace {

constexpr std::uint64_t hoechstgroesse = std::uint64_t{64} * 1024;
constexpr std::array<std::pair<Einbaumarke::Stand, std::string_view>, 4> staende{
    {{Einbaumarke::Stand::bereit, "bereit"},
     {Einbaumarke::Stand::probe, "probe"},
     {Einbaumarke::Stand::begonnen, "begonnen"},
     {Einbaumarke::Stand::zurueck, "zurueck"}}};

/// Tells one run of the system from the next; empty where it cannot be told.
std::string systemstart() {
    auto const datei = oeffnen("/proc/sys/kernel/random/boot_id", O_RDONLY);
    std::array<char, 64> puffer{};
    auto const gelesen = datei ? ::read(datei.get(), puffer.data(), puffer.size()) : -1;
    return gelesen > 0 ? std::string{puffer.data(), static_cast<std::size_t>(gelesen)} : std::string{};
}

std::optional<std::uint64_t> zahl(plist_t plist, char const* schluessel) {
    auto const text = plistText(plist, schluessel);
    if (!text)
        return std::nullopt;
    std::uint64_t wert = 0;
    auto const* const ende = text->data() + text->size();
    auto const [bis, fehler] = std::from_chars(text->data(), ende, wert);
    return fehler == std::errc{} && bis == ende ? std::optional{wert} : std::nullopt;
}

std::optional<Einbaumarke::Stand> standAus(std::optional<std::string> const& text) {
    for (auto const& [stand, name] : staende)
        if (text == name)
            return stand;
    return std::nullopt;
}

std::string_view nameVon(Einbaumarke::Stand stand) {
    for (auto const& [dieser, name] : staende)
        if (dieser == stand)
            return name;
    return {};
}

std::string dateiname(std::string const& buendel) {
    constexpr std::size_t genug = 16;
    return "einbau-" + hexadezimal(sha256(buendel)).substr(0, genug) + ".plist";
}

} // namespace

std::optional<Ordnerausweis> ausweisVon(std::string const& ordner) {
    struct statx lage {};
    constexpr unsigned gefragt = STATX_TYPE | STATX_UID | STATX_INO | STATX_BTIME;
    if (::statx(AT_FDCWD, ordner.c_str(), AT_SYMLINK_NOFOLLOW, gefragt, &lage) != 0 ||
        !S_ISDIR(lage.stx_mode) || lage.stx_uid != ::geteuid())
        return std::nullopt;
    constexpr std::uint64_t jeSekunde = 1'000'000'000;
    bool const bekannt = (lage.stx_mask & STATX_BTIME) != 0;
    return Ordnerausweis{
        .geraet = makedev(lage.stx_dev_major, lage.stx_dev_minor),
        .inode = lage.stx_ino,
        .geburt = bekannt
                      ? static_cast<std::uint64_t>(lage.stx_btime.tv_sec) * jeSekunde + lage.stx_btime.tv_nsec
                      : 0};
}

Markenplatz::Markenplatz(std::string zustand, std::string buendel)
    : zustand_(std::move(zustand))
    , buendel_(std::move(buendel))
    , datei_(zustand_ + '/' + dateiname(buendel_)) {}

std::optional<Einbaumarke> Markenplatz::lesen() const {
    if (!eigenenOrdnerSichern(zustand_, ZuOffen::schliessen))
        return std::nullopt;
    auto const inhalt = leseDatei(datei_, hoechstgroesse);
    auto const plist = inhalt ? plistLesen(*inhalt) : nullptr;
    if (!plist)
        return std::nullopt;
    auto const stand = standAus(plistText(plist.get(), "stand"));
    auto const geraet = zahl(plist.get(), "geraet");
    auto const altes = zahl(plist.get(), "altesInode");
    auto const neues = zahl(plist.get(), "neuesInode");
    auto const altesGeburt = zahl(plist.get(), "altesGeburt");
    auto const neuesGeburt = zahl(plist.get(), "neuesGeburt");
    auto const altesBuild = plistText(plist.get(), "altesBuild");
    auto const neuesBuild = plistText(plist.get(), "neuesBuild");
    if (!stand || !geraet || !altes || !neues || !altesGeburt || !neuesGeburt || !altesBuild || !neuesBuild ||
        plistDaten(plist_dict_get_item(plist.get(), "buendel")) != buendel_)
        return std::nullopt;
    // Many file systems get another device number with each start of the system.
    auto wo = *geraet;
    if (auto const hier = ausweisVon(buendel_);
        hier && plistText(plist.get(), "systemstart") != systemstart())
        wo = hier->geraet;
    return Einbaumarke{
        .stand = *stand,
        .buendel = buendel_,
        .altes = {.geraet = wo, .inode = *altes, .geburt = *altesGeburt},
        .neues = {.geraet = wo, .inode = *neues, .geburt = *neuesGeburt},
        .altesBuild = *altesBuild,
        .neuesBuild = *neuesBuild};
}

Ergebnis<void> Markenplatz::schreiben(Einbaumarke const& marke) const {
    if (auto const gesichert = eigenenOrdnerSichern(zustand_, ZuOffen::schliessen); !gesichert)
        return gesichert;
    Plist const plist{plist_new_dict()};
    auto const text = [&](char const* schluessel, std::string const& wert) {
        plist_dict_set_item(plist.get(), schluessel, plist_new_string(wert.c_str()));
    };
    text("stand", std::string{nameVon(marke.stand)});
    plist_dict_set_item(plist.get(), "buendel", plist_new_data(marke.buendel.data(), marke.buendel.size()));
    text("geraet", std::to_string(marke.altes.geraet));
    text("altesInode", std::to_string(marke.altes.inode));
    text("neuesInode", std::to_string(marke.neues.inode));
    text("altesGeburt", std::to_string(marke.altes.geburt));
    text("neuesGeburt", std::to_string(marke.neues.geburt));
    text("altesBuild", marke.altesBuild);
    text("neuesBuild", marke.neuesBuild);
    text("systemstart", systemstart());
    auto const bytes = plistSchreiben(plist.get());
    if (!bytes)
        return fehler(Fehlerart::keineMittel, datei_, "Die Einbaumarke ist nicht auszudrücken");
    errno = 0;
    if (!schreibeAtomar(datei_, *bytes, Dauerhaft::ja))
        return errnoFehler(datei_, "Die Einbaumarke ist nicht zu schreiben");
    return {};
}

bool Markenplatz::entfernen() const {
    if (::unlink(datei_.c_str()) != 0 && errno != ENOENT)
        return false;
    schreibresteEntfernen(datei_);
    // Otherwise a power cut could bring it back, and with it a trial that is over.
    Deskriptor const ordner{::open(zustand_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (ordner)
        (void)::fsync(ordner.get());
    return true;
}

bool Markenplatz::vorhanden() const {
    struct stat lage {};
    return ::lstat(datei_.c_str(), &lage) == 0 || errno != ENOENT;
}

Ergebnis<Deskriptor> Markenplatz::sperren() const {
    if (auto const gesichert = eigenenOrdnerSichern(zustand_, ZuOffen::schliessen); !gesichert)
        return std::unexpected(gesichert.error());
    auto sperre = oeffnen(datei_ + ".sperre", O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK);
    if (!sperre || ::flock(sperre.get(), LOCK_EX | LOCK_NB) != 0)
        return errnoFehler(datei_ + ".sperre", "Die Einbaumarke ist nicht zu sperren");
    return sperre;
}

std::string markenordner(std::string const& buendelkennung) {
    return zustandsordner() + '/' + buendelkennung;
}

} // namespace quillmate::adapter::linux
