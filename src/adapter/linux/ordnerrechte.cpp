#include "ordnerrechte.h"

#include "grundlage/datei.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <vector>

namespace quillmate::adapter::linux {

namespace {

/// Whether nobody but this user belongs to the group: many systems give each user a group of the same name, and then
/// let it write. What cannot be found out counts as no.
bool istEigeneGruppe(gid_t gruppe) {
    std::vector<char> puffer(std::size_t{64} * 1024);
    passwd wer{};
    passwd* benutzer = nullptr;
    if (::getpwuid_r(::geteuid(), &wer, puffer.data(), puffer.size(), &benutzer) != 0 || !benutzer ||
        benutzer->pw_gid != gruppe)
        return false;
    std::string const name = benutzer->pw_name;
    group welche{};
    group* gefunden = nullptr;
    if (::getgrgid_r(gruppe, &welche, puffer.data(), puffer.size(), &gefunden) != 0 || !gefunden ||
        name != gefunden->gr_name)
        return false;
    for (char** mitglied = gefunden->gr_mem; *mitglied; ++mitglied)
        if (name != *mitglied)
            return false;
    return true;
}

bool hatZugriffsliste(int ordner) {
    return ::fgetxattr(ordner, "system.posix_acl_access", nullptr, 0) > 0;
}

bool andereDuerfenSchreiben(int ordner, struct stat const& lage) {
    if ((lage.st_mode & S_IWOTH) != 0)
        return true;
    // With an access list the group's bits are the most that anybody named in it may do.
    return (lage.st_mode & S_IWGRP) != 0 && (hatZugriffsliste(ordner) || !istEigeneGruppe(lage.st_gid));
}

bool gehoertUns(struct stat const& lage) {
    return lage.st_uid == ::geteuid() || lage.st_uid == 0;
}

} // namespace

Ergebnis<void> nurWirSchreiben(std::string const& ordner) {
    std::error_code fehlerwert;
    auto const wirklich = std::filesystem::canonical(ordner, fehlerwert);
    if (fehlerwert)
        return errnoFehler(ordner, "Der Ordner ist nicht zu finden", fehlerwert.value());
    for (auto stelle = wirklich;; stelle = stelle.parent_path()) {
        bool const selbst = stelle == wirklich;
        Deskriptor const hier{::open(stelle.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
        struct stat lage {};
        // A folder above that may be passed but not read is judged without its access list.
        if (hier ? ::fstat(hier.get(), &lage) != 0
                 : selbst || errno != EACCES || ::lstat(stelle.c_str(), &lage) != 0)
            return errnoFehler(stelle.string(), "Die Rechte des Ordners sind nicht zu lesen");
        if (!gehoertUns(lage))
            return fehler(
                Fehlerart::nichtErlaubt, stelle.string(), "Der Ordner gehört einem anderen Benutzer");
        // Above, the sticky bit is enough: it keeps others from renaming what is ours.
        if (andereDuerfenSchreiben(hier.get(), lage) && (selbst || (lage.st_mode & S_ISVTX) == 0))
            return fehler(
                Fehlerart::nichtErlaubt, stelle.string(), "In den Ordner dürfen auch andere schreiben");
        if (stelle == stelle.root_path())
            return {};
    }
}

Ergebnis<void> eigenenOrdnerSichern(std::string const& pfad, ZuOffen zuOffen) {
    if (!ordnerAnlegen(pfad))
        return errnoFehler(pfad, "Der Ordner ist nicht anzulegen");
    Deskriptor const ordner{::open(pfad.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
    struct stat lage {};
    if (!ordner || ::fstat(ordner.get(), &lage) != 0)
        return errnoFehler(pfad, "Der Ordner ist nicht zu verwenden");
    if (lage.st_uid != ::geteuid())
        return fehler(Fehlerart::nichtErlaubt, pfad, "Der Ordner gehört einem anderen Benutzer");
    if ((lage.st_mode & (S_IRWXG | S_IRWXO)) == 0)
        return {};
    if (zuOffen == ZuOffen::ablehnen)
        return fehler(Fehlerart::nichtErlaubt, pfad, "Der Ordner steht auch anderen offen");
    if (::fchmod(ordner.get(), S_IRWXU) != 0)
        return errnoFehler(pfad, "Die Rechte des Ordners sind nicht zu ändern");
    return {};
}

} // namespace quillmate::adapter::linux
