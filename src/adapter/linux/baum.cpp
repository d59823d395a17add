#include "baum.h"

#include "grundlage/datei.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <memory>
#include <string_view>
#include <system_error>
#include <vector>

namespace quillmate::adapter::linux {

namespace {

/// Deeper trees are no bundles; the recursion and its descriptors stay bounded.
constexpr int hoechsttiefe = 64;
constexpr mode_t rechte = S_IRWXU | S_IRWXG | S_IRWXO;

struct StromSchluss {
    void operator()(DIR* strom) const noexcept { ::closedir(strom); }
};
using Ordnerstrom = std::unique_ptr<DIR, StromSchluss>;

/// Names in a folder; nothing and errno when they cannot be read.
std::optional<std::vector<std::string>> namen(int ordner) {
    // A description of its own: the stream moves the offset, and closes it at the end.
    Deskriptor eigener{::openat(ordner, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (!eigener)
        return std::nullopt;
    Ordnerstrom const strom{::fdopendir(eigener.get())};
    if (!strom)
        return std::nullopt;
    (void)eigener.abgeben();
    std::vector<std::string> ergebnis;
    for (;;) {
        errno = 0;
        auto const* const eintrag = ::readdir(strom.get());
        if (!eintrag)
            break;
        std::string_view const name{static_cast<char const*>(eintrag->d_name)};
        if (name != "." && name != "..")
            ergebnis.emplace_back(name);
    }
    if (errno != 0)
        return std::nullopt;
    return ergebnis;
}

bool gesichert(int deskriptor) {
    int ausgang = 0;
    do {
        ausgang = ::fsync(deskriptor);
    } while (ausgang != 0 && errno == EINTR);
    return ausgang == 0 || errno == EINVAL; // EINVAL: a file system that knows no such thing
}

bool inhaltKopiert(int von, int nach) {
    std::array<char, std::size_t{64} * 1024> puffer{};
    for (;;) {
        auto const gelesen = ::read(von, puffer.data(), puffer.size());
        if (gelesen == 0)
            return true;
        if (gelesen < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        for (ssize_t stelle = 0; stelle < gelesen;) {
            auto const geschrieben =
                ::write(nach, puffer.data() + stelle, static_cast<std::size_t>(gelesen - stelle));
            if (geschrieben < 0 && errno != EINTR)
                return false;
            stelle += geschrieben < 0 ? 0 : geschrieben;
        }
    }
}

bool zeitUebernommen(int ziel, struct stat const& lage) {
    std::array<timespec, 2> const zeiten{lage.st_atim, lage.st_mtim};
    return ::futimens(ziel, zeiten.data()) == 0;
}

/// Copies one tree. Remembers where it stopped.
class Kopierer {
public:
    /// errno is set on failure.
    bool ordner(int von, int nach, std::string const& anzeige, int tiefe) {
        stelle = anzeige;
        if (tiefe > hoechsttiefe) {
            errno = ELOOP;
            return false;
        }
        auto const eintraege = namen(von);
        if (!eintraege)
            return false;
        for (auto const& name : *eintraege)
            if (!eintrag(von, nach, name, anzeige + '/' + name, tiefe))
                return false;
        return true;
    }

    std::string stelle;

private:
    bool eintrag(int von, int nach, std::string const& name, std::string const& anzeige, int tiefe) {
        stelle = anzeige;
        struct stat lage {};
        if (::fstatat(von, name.c_str(), &lage, AT_SYMLINK_NOFOLLOW) != 0)
            return false;
        if (S_ISDIR(lage.st_mode))
            return unterordner(von, nach, name, anzeige, lage, tiefe);
        if (S_ISREG(lage.st_mode))
            return datei(von, nach, name);
        if (S_ISLNK(lage.st_mode))
            return verweis(von, nach, name);
        errno = EINVAL; // a pipe or device in a bundle: nobody put it there for good
        return false;
    }

    bool unterordner(
        int von, int nach, std::string const& name, std::string const& anzeige, struct stat const& lage,
        int tiefe) {
        Deskriptor const quelle{::openat(von, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
        if (!quelle || ::mkdirat(nach, name.c_str(), S_IRWXU) != 0)
            return false;
        Deskriptor const ziel{::openat(nach, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
        if (!ziel || !ordner(quelle.get(), ziel.get(), anzeige, tiefe + 1))
            return false;
        // Only now: a folder without the right to write could not be filled.
        return ::fchmod(ziel.get(), lage.st_mode & rechte) == 0 && zeitUebernommen(ziel.get(), lage) &&
               gesichert(ziel.get());
    }

    static bool datei(int von, int nach, std::string const& name) {
        Deskriptor const quelle{::openat(von, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)};
        struct stat lage {};
        if (!quelle || ::fstat(quelle.get(), &lage) != 0)
            return false;
        if (!S_ISREG(lage.st_mode)) {
            errno = EINVAL; // exchanged meanwhile
            return false;
        }
        Deskriptor const ziel{::openat(
            nach, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR)};
        return ziel && inhaltKopiert(quelle.get(), ziel.get()) &&
               ::fchmod(ziel.get(), lage.st_mode & rechte) == 0 && zeitUebernommen(ziel.get(), lage) &&
               gesichert(ziel.get());
    }

    static bool verweis(int von, int nach, std::string const& name) {
        std::array<char, PATH_MAX> ziel{};
        auto const laenge = ::readlinkat(von, name.c_str(), ziel.data(), ziel.size() - 1);
        if (laenge == 0)
            errno = EINVAL; // a link to nowhere that no system makes
        return laenge > 0 && ::symlinkat(ziel.data(), nach, name.c_str()) == 0;
    }
};

/// Files and folders of a tree, each as an open descriptor, folders after what is in them. Stops when `tue` is false.
template<typename Tue>
bool jeden(int ordner, Tue const& tue, int tiefe) {
    if (tiefe > hoechsttiefe) {
        errno = ELOOP;
        return false;
    }
    auto const eintraege = namen(ordner);
    if (!eintraege)
        return false;
    for (auto const& name : *eintraege) {
        Deskriptor const eintrag{
            ::openat(ordner, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)};
        struct stat lage {};
        if (!eintrag) {
            if (errno == ELOOP)
                continue; // a link; its folder holds all of it
            return false;
        }
        if (::fstat(eintrag.get(), &lage) != 0)
            return false;
        if (S_ISDIR(lage.st_mode) ? !jeden(eintrag.get(), tue, tiefe + 1)
                                  : (S_ISREG(lage.st_mode) && !tue(eintrag.get())))
            return false;
    }
    return tue(ordner);
}

bool geleert(int eltern, std::string const& name, int tiefe) {
    if (::unlinkat(eltern, name.c_str(), 0) == 0 || errno == ENOENT)
        return true;
    if (errno != EISDIR && errno != EPERM)
        return false;
    if (tiefe > hoechsttiefe) {
        errno = ELOOP;
        return false;
    }
    Deskriptor const ordner{::openat(eltern, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
    // A folder without the right to write lets nothing go.
    if (!ordner || ::fchmod(ordner.get(), S_IRWXU) != 0)
        return false;
    auto const eintraege = namen(ordner.get());
    if (!eintraege)
        return false;
    for (auto const& eintrag : *eintraege)
        if (!geleert(ordner.get(), eintrag, tiefe + 1))
            return false;
    return ::unlinkat(eltern, name.c_str(), AT_REMOVEDIR) == 0;
}

} // namespace

std::string hindernissatz(std::string const& was, std::string const& pfad, int grund) {
    auto const warum = [grund]() -> std::string {
        switch (grund) {
        case ENOSPC:
        case EDQUOT:
            return "Auf dem Datenträger ist kein Platz mehr.";
        case EACCES:
        case EPERM:
            return "Die Berechtigung dafür fehlt.";
        case EROFS:
            return "Der Datenträger ist schreibgeschützt.";
        case ENOENT:
            return "Es ist nicht mehr da.";
        case EEXIST:
        case ENOTEMPTY:
            return "Dort liegt schon etwas.";
        case ELOOP:
            return "Die Ordner darin sind zu tief verschachtelt.";
        case EINVAL:
        case EOPNOTSUPP:
            return "Der Datenträger kann das nicht.";
        default:
            return std::generic_category().message(grund) + '.';
        }
    };
    return fmt::format("{} „{}“: {}", was, letzteKomponente(pfad), warum());
}

ports::Hindernis baumKopieren(std::string const& von, std::string const& nach) {
    constexpr auto was = "Nicht zu kopieren ist";
    Deskriptor const quelle{::open(von.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    struct stat lage {};
    if (!quelle || ::fstat(quelle.get(), &lage) != 0)
        return hindernissatz(was, von, errno);
    if (::mkdir(nach.c_str(), S_IRWXU) != 0)
        return hindernissatz(was, von, errno);
    Deskriptor const ziel{::open(nach.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
    Kopierer kopierer;
    kopierer.stelle = von;
    if (!ziel || !kopierer.ordner(quelle.get(), ziel.get(), von, 0) ||
        ::fchmod(ziel.get(), lage.st_mode & rechte) != 0 || !zeitUebernommen(ziel.get(), lage) ||
        !gesichert(ziel.get()))
        return hindernissatz(was, kopierer.stelle, errno);
    return std::nullopt;
}

ports::Hindernis baumSichern(std::string const& pfad) {
    Deskriptor const ordner{::open(pfad.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
    if (!ordner || !jeden(ordner.get(), &gesichert, 0))
        return hindernissatz("Nicht zu sichern ist", pfad, errno);
    return std::nullopt;
}

bool ordnerSichern(std::string const& pfad) {
    Deskriptor const ordner{::open(pfad.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    return ordner && gesichert(ordner.get());
}

bool baumLoeschen(std::string const& pfad) {
    return geleert(AT_FDCWD, pfad, 0);
}

void downloadmarkenLoeschen(std::string const& pfad) {
    Deskriptor const ordner{::open(pfad.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
    if (!ordner)
        return;
    auto const loesche = [](int deskriptor) {
        std::array<char, XATTR_LIST_MAX> liste{};
        auto const laenge = ::flistxattr(deskriptor, liste.data(), liste.size());
        std::string_view rest{liste.data(), laenge > 0 ? static_cast<std::size_t>(laenge) : 0};
        while (!rest.empty()) {
            std::string const name{rest.substr(0, rest.find('\0'))};
            rest.remove_prefix(std::min(name.size() + 1, rest.size()));
            if (name.starts_with("user.xdg."))
                ::fremovexattr(deskriptor, name.c_str());
        }
        return true;
    };
    (void)jeden(ordner.get(), loesche, 0);
}

} // namespace quillmate::adapter::linux
