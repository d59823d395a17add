#include "suchorte.h"

#include "dateisuche.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <optional>
#include <utility>

namespace quillmate::Ordner {

namespace {

/// The path without links under which the kernel knows an open file at this moment.
std::optional<std::string> wirklicherPfad(int deskriptor) {
    std::array<char, PATH_MAX> puffer{};
    auto const n =
        ::readlink(("/proc/self/fd/" + std::to_string(deskriptor)).c_str(), puffer.data(), puffer.size());
    if (n <= 0 || static_cast<std::size_t>(n) == puffer.size() || puffer[0] != '/')
        return std::nullopt;
    return std::string{puffer.data(), static_cast<std::size_t>(n)};
}

/// The part of `pfad` below `ordner`; nothing when it does not lie below it.
std::optional<std::string_view> darunter(std::string_view pfad, std::string_view ordner) {
    if (ordner != "/") {
        if (!pfad.starts_with(ordner))
            return std::nullopt;
        pfad.remove_prefix(ordner.size());
    }
    if (!pfad.starts_with('/') || pfad.size() == 1)
        return std::nullopt;
    return pfad.substr(1);
}

/// Whether a search would get to this file: through no folder that it passes over, and to no hidden name.
bool wirdBetreten(std::string_view pfad) {
    for (;;) {
        auto const schnitt = pfad.find('/');
        if (schnitt == std::string_view::npos)
            return !pfad.starts_with('.');
        if (ueberspringen(pfad.substr(0, schnitt)))
            return false;
        pfad.remove_prefix(schnitt + 1);
    }
}

/// Opens `pfad` below the folder without following any link. Level by level, for kernels without openat2(2).
Deskriptor schrittweise(int ordner, std::string_view pfad) {
    Deskriptor hier;
    int eltern = ordner;
    for (;;) {
        auto const schnitt = pfad.find('/');
        std::string const name{pfad.substr(0, schnitt)};
        if (name.empty() || name == "." || name == "..")
            return {};
        bool const letzter = schnitt == std::string_view::npos;
        Deskriptor naechster{
            ::openat(eltern, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC | (letzter ? 0 : O_DIRECTORY))};
        if (!naechster || letzter)
            return naechster;
        hier = std::move(naechster);
        eltern = hier.get();
        pfad.remove_prefix(schnitt + 1);
    }
}

/// The file at this path below the folder, if the way there leads over no link and not out of the folder.
Deskriptor oeffneDarunter(int ordner, std::string_view pfad) {
    open_how wie{};
    wie.flags = O_PATH | O_NOFOLLOW | O_CLOEXEC;
    wie.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    std::string const name{pfad};
    for (int versuch = 0; versuch < 8; ++versuch) {
        Deskriptor datei{static_cast<int>(::syscall(SYS_openat2, ordner, name.c_str(), &wie, sizeof wie))};
        if (datei)
            return datei;
        if (errno == EAGAIN) // Something was renamed meanwhile, somewhere.
            continue;
        // Some filters of system calls say EPERM where others say that there is no such call.
        if (errno == ENOSYS || errno == EPERM)
            break;
        return {};
    }
    return schrittweise(ordner, pfad);
}

} // namespace

void Suchorte::hinzufuegen(std::string const& ort) {
    hinzufuegen(quillmate::oeffnen(ort, O_PATH | O_DIRECTORY));
}

void Suchorte::hinzufuegen(Deskriptor ort) {
    if (ort)
        orte_.push_back(std::move(ort));
}

bool Suchorte::enthaelt(int datei) const {
    return std::ranges::any_of(orte_, [&](Deskriptor const& ort) { return liegtUnter(ort.get(), datei); });
}

bool Suchorte::liegtUnter(int ort, int datei) {
    // The paths only say where to look. What counts is that the way down from the place meets this very file.
    auto const wirklich = wirklicherPfad(datei);
    auto const ortspfad = wirklicherPfad(ort);
    auto const rest = wirklich && ortspfad ? darunter(*wirklich, *ortspfad) : std::nullopt;
    if (!rest || !wirdBetreten(*rest))
        return false;
    auto const dort = oeffneDarunter(ort, *rest);
    struct stat gefunden {};
    struct stat gesucht {};
    return dort && ::fstat(dort.get(), &gefunden) == 0 && ::fstat(datei, &gesucht) == 0 &&
           gefunden.st_dev == gesucht.st_dev && gefunden.st_ino == gesucht.st_ino;
}

Ergebnis<Belegdatei> Suchorte::oeffnen(Fund const& fund) const {
    auto datei = Belegdatei::oeffnen(fund.pfad);
    if (!datei)
        return datei;
    // The search met this file on a way that it knew. Another one in its place has to lie in the places, too: a folder
    // on the way may have become a link since.
    bool const derselbe =
        fund.inode != 0 && datei->stand().geraet == fund.geraet && datei->stand().inode == fund.inode;
    if (!derselbe && !enthaelt(datei->deskriptor()))
        return fehler(Fehlerart::nichtErlaubt, fund.pfad, "Datei liegt außerhalb der durchsuchten Orte");
    return datei;
}

} // namespace quillmate::Ordner
