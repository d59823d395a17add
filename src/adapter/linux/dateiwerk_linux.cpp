#include "dateiwerk_linux.h"

#include "baum.h"
#include "grundlage/datei.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>

namespace quillmate::adapter::linux {

namespace {

struct GFrei {
    void operator()(void* objekt) const noexcept { g_object_unref(objekt); }
};

std::string ordnerVon(std::string const& pfad) {
    return std::filesystem::path{pfad}.parent_path().string();
}

/// The hidden place at which a copy to `nach` grows. One name for all attempts, so that the next one finds what a
/// killed one left.
std::string baustelle(std::string const& nach) {
    return ordnerVon(nach) + "/." + std::string{letzteKomponente(nach)} + ".umzug";
}

/// Blank, tab, line feed and backslash stand as octal numbers in mountinfo.
std::string ohneMaske(std::string_view text) {
    std::string ergebnis;
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto const ziffer = [&](std::size_t stelle) {
            auto const zeichen = stelle < text.size() ? text[stelle] : '\0';
            return zeichen >= '0' && zeichen <= '7' ? zeichen - '0' : -1;
        };
        if (text[i] == '\\' && ziffer(i + 1) >= 0 && ziffer(i + 2) >= 0 && ziffer(i + 3) >= 0) {
            ergebnis += static_cast<char>((ziffer(i + 1) * 64 + ziffer(i + 2) * 8 + ziffer(i + 3)) & 0xFF);
            i += 3;
        } else {
            ergebnis += text[i];
        }
    }
    return ergebnis;
}

} // namespace

bool DateiwerkLinux::beschreibbar(std::string const& ordner) {
    struct stat lage {};
    return ::stat(ordner.c_str(), &lage) == 0 && S_ISDIR(lage.st_mode) &&
           ::faccessat(AT_FDCWD, ordner.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

bool DateiwerkLinux::vorhanden(std::string const& pfad) {
    struct stat lage {};
    return ::lstat(pfad.c_str(), &lage) == 0;
}

bool DateiwerkLinux::derselbe(std::string const& einer, std::string const& anderer) {
    struct stat a {};
    struct stat b {};
    return ::stat(einer.c_str(), &a) == 0 && ::stat(anderer.c_str(), &b) == 0 && a.st_dev == b.st_dev &&
           a.st_ino == b.st_ino;
}

ports::Hindernis DateiwerkLinux::ordnerAnlegen(std::string const& ordner) {
    std::error_code fehler;
    std::filesystem::create_directories(ordner, fehler);
    if (fehler)
        return hindernissatz("Nicht anzulegen ist der Ordner", ordner, fehler.value());
    (void)ordnerSichern(ordnerVon(ordner));
    return std::nullopt;
}

ports::Hindernis DateiwerkLinux::inDenPapierkorb(std::string const& pfad) {
    std::unique_ptr<GFile, GFrei> const datei{g_file_new_for_path(pfad.c_str())};
    GError* fehler = nullptr;
    if (g_file_trash(datei.get(), nullptr, &fehler))
        return std::nullopt;
    std::unique_ptr<GError, decltype(&g_error_free)> const besitz{fehler, &g_error_free};
    return std::string{fehler ? static_cast<char const*>(fehler->message) : "Es gibt keinen Papierkorb."};
}

ports::Hindernis DateiwerkLinux::kopieren(std::string const& von, std::string const& nach) {
    auto const neu = baustelle(nach);
    constexpr auto was = "Nicht zu kopieren ist";
    if (!baumLoeschen(neu))
        return hindernissatz(was, von, errno);
    if (auto hindernis = baumKopieren(von, neu)) {
        baumLoeschen(neu);
        return hindernis;
    }
    if (!umbenennenOhneErsetzen(neu, nach)) {
        auto const grund = errno;
        baumLoeschen(neu);
        return hindernissatz(was, von, grund);
    }
    if (!ordnerSichern(ordnerVon(nach))) {
        // Without its name on the disk the copy could be gone after a power cut, and with it the old one.
        auto const grund = errno;
        baumLoeschen(nach);
        return hindernissatz(was, von, grund);
    }
    return std::nullopt;
}

void DateiwerkLinux::resteEntfernen(std::string const& nach) {
    baumLoeschen(baustelle(nach));
}

void DateiwerkLinux::downloadmarkenEntfernen(std::string const& pfad) {
    downloadmarkenLoeschen(pfad);
}

std::optional<std::string> einhaengepunkt(std::string_view mountinfo, std::string_view pfad) {
    std::optional<std::string> bester;
    while (!mountinfo.empty()) {
        auto zeile = mountinfo.substr(0, mountinfo.find('\n'));
        mountinfo.remove_prefix(std::min(zeile.size() + 1, mountinfo.size()));
        // "ID PARENT MAJOR:MINOR ROOT MOUNTPOINT …"
        for (int feld = 0; feld < 4; ++feld) {
            auto const blank = zeile.find(' ');
            zeile = blank == std::string_view::npos ? std::string_view{} : zeile.substr(blank + 1);
        }
        auto const punkt = ohneMaske(zeile.substr(0, zeile.find(' ')));
        if (punkt.empty() || punkt.front() != '/')
            continue;
        bool const darunter =
            punkt == "/" || pfad == punkt ||
            (pfad.starts_with(punkt) && pfad.size() > punkt.size() && pfad[punkt.size()] == '/');
        // A later mount at the same place covers the earlier one.
        if (darunter && (!bester || punkt.size() >= bester->size()))
            bester = punkt;
    }
    return bester;
}

std::optional<ports::Datentraeger> DateiwerkLinux::datentraeger(std::string const& pfad) {
    std::error_code fehler;
    auto const wirklich = std::filesystem::canonical(pfad, fehler);
    struct statvfs lage {};
    if (fehler || ::statvfs(wirklich.c_str(), &lage) != 0)
        return std::nullopt;
    constexpr std::uint64_t hoechstgroesse = std::uint64_t{16} * 1024 * 1024;
    auto const mountinfo = leseDatei("/proc/self/mountinfo", hoechstgroesse);
    if (!mountinfo)
        return std::nullopt;
    auto punkt = einhaengepunkt(*mountinfo, wirklich.string());
    if (!punkt)
        return std::nullopt;
    return ports::Datentraeger{.pfad = *std::move(punkt), .nurLesen = (lage.f_flag & ST_RDONLY) != 0};
}

} // namespace quillmate::adapter::linux
