#include "lesezeichen_inode.h"

#include "grundlage/datei.h"
#include "grundlage/ergebnis.h"
#include "grundlage/frist.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <memory>
#include <string_view>
#include <utility>

namespace quillmate::adapter::linux {

namespace {

constexpr std::string_view kopfzeile = "quillmate-lesezeichen 2\n";
constexpr std::string_view alteKopfzeile = "quillmate-lesezeichen 1\n";
static_assert(kopfzeile.size() == alteKopfzeile.size());

/// A share whose server is gone does not answer at all. Whoever asks may be the window's thread.
constexpr std::chrono::milliseconds blickfrist{2000};

/// Longest path that is believed; a record is some bytes, never megabytes.
constexpr std::size_t hoechstlaenge = std::size_t{64} * 1024;

struct Ordnerlage {
    enum class Art { ordner, keinOrdner, unbekannt } art; ///< unbekannt: cannot be looked at
    std::uint64_t geraet{0};
    std::uint64_t knoten{0};
};

Ordnerlage lageVon(std::string const& pfad) {
    auto const deskriptor = oeffnen(pfad, O_PATH);
    if (!deskriptor) {
        // Anything else (no permission, no descriptor left, a dead network drive) says nothing about the
        // folder.
        bool const fehlt = errno == ENOENT || errno == ENOTDIR || errno == ELOOP || errno == ENAMETOOLONG;
        return {.art = fehlt ? Ordnerlage::Art::keinOrdner : Ordnerlage::Art::unbekannt};
    }
    struct stat lage {};
    if (::fstat(deskriptor.get(), &lage) != 0)
        return {.art = Ordnerlage::Art::unbekannt};
    if (!S_ISDIR(lage.st_mode))
        return {.art = Ordnerlage::Art::keinOrdner};
    return {.art = Ordnerlage::Art::ordner, .geraet = lage.st_dev, .knoten = lage.st_ino};
}

std::string elternVon(std::string const& pfad) {
    auto const schnitt = pfad.rfind('/');
    return schnitt == 0 ? std::string{"/"} : pfad.substr(0, schnitt);
}

/// The folder of that identity directly below `eltern`: where a renamed folder is found again. Nothing when it is not
/// there; a failure when the parent could not be read to its end.
Ergebnis<std::optional<std::string>> findeInEltern(std::string const& eltern, Lesezeichensatz const& satz) {
    auto deskriptor = oeffnen(eltern, O_RDONLY | O_DIRECTORY);
    if (!deskriptor)
        return errnoFehler(eltern, "Ordner nicht lesbar");
    std::unique_ptr<DIR, int (*)(DIR*)> const ordner{::fdopendir(deskriptor.get()), &::closedir};
    if (!ordner)
        return errnoFehler(eltern, "Ordner nicht lesbar");
    auto const fd = deskriptor.abgeben();
    for (;;) {
        errno = 0;
        auto const* const eintrag = ::readdir(ordner.get());
        if (eintrag == nullptr && errno != 0)
            return errnoFehler(eltern, "Ordner nicht lesbar");
        if (eintrag == nullptr)
            return std::nullopt;
        if (eintrag->d_ino != satz.knoten || (eintrag->d_type != DT_DIR && eintrag->d_type != DT_UNKNOWN))
            continue;
        std::string_view const name = eintrag->d_name;
        struct stat lage {};
        if (name == "." || name == ".." || ::fstatat(fd, eintrag->d_name, &lage, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        if (S_ISDIR(lage.st_mode) && lage.st_dev == satz.geraet && lage.st_ino == satz.knoten)
            return (eltern == "/" ? std::string{} : eltern) + '/' + std::string{name};
    }
}

/// Whether the folder has no entries; also false when it cannot be read.
bool istLeer(std::string const& pfad) {
    auto deskriptor = oeffnen(pfad, O_RDONLY | O_DIRECTORY);
    if (!deskriptor)
        return false;
    std::unique_ptr<DIR, int (*)(DIR*)> const ordner{::fdopendir(deskriptor.get()), &::closedir};
    if (!ordner)
        return false;
    (void)deskriptor.abgeben(); // closedir() closes it
    for (;;) {
        errno = 0;
        auto const* const eintrag = ::readdir(ordner.get());
        if (eintrag == nullptr)
            return errno == 0;
        std::string_view const name = eintrag->d_name;
        if (name != "." && name != "..")
            return false;
    }
}

/// The folder that held a remembered one, as it is now.
enum class Elternstand {
    derselbe,    ///< So it can say whether it still has the folder.
    ein_anderer, ///< An empty mount point, another drive, a folder made anew, or not there at all.
};

Elternstand elternstand(Ordnerlage const& eltern, Lesezeichensatz const& satz) {
    if (eltern.art != Ordnerlage::Art::ordner)
        return Elternstand::ein_anderer;
    // Earlier bookmarks do not know the parent. A folder that lies on its parent's device went with it.
    bool const derselbe = satz.elternknoten != 0
                              ? eltern.geraet == satz.elterngeraet && eltern.knoten == satz.elternknoten
                              : eltern.geraet == satz.geraet;
    return derselbe ? Elternstand::derselbe : Elternstand::ein_anderer;
}

/// Whether the remembered folder was the root of a drive, as far as the bookmark knows.
bool warEinhaengepunkt(Lesezeichensatz const& satz) {
    return satz.elternknoten != 0 && satz.elterngeraet != satz.geraet;
}

std::optional<ports::Lesezeichen::Aufgeloest> aufloesenOhneFrist(Lesezeichensatz const& satz) {
    using Art = Ordnerlage::Art;
    ports::Lesezeichen::Aufgeloest const abwesend{.pfad = satz.pfad, .abwesend = true};
    auto const lage = lageVon(satz.pfad);
    // A folder above it may be closed for the moment; that is no reason to forget it.
    if (lage.art == Art::unbekannt)
        return abwesend;
    auto const elternpfad = elternVon(satz.pfad);
    auto const eltern = lageVon(elternpfad);
    if (lage.art == Art::ordner && lage.geraet == satz.geraet && lage.knoten == satz.knoten) {
        bool const elternNeu = eltern.art == Art::ordner &&
                               (eltern.geraet != satz.elterngeraet || eltern.knoten != satz.elternknoten);
        return ports::Lesezeichen::Aufgeloest{.pfad = satz.pfad, .veraltet = elternNeu};
    }
    if (eltern.art == Art::unbekannt)
        return abwesend;
    if (eltern.art == Art::ordner) {
        auto const umbenannt = findeInEltern(elternpfad, satz);
        if (!umbenannt)
            return abwesend;
        if (*umbenannt)
            return ports::Lesezeichen::Aufgeloest{.pfad = **umbenannt, .veraltet = true};
    }
    if (lage.art == Art::ordner) {
        bool const leererEinhaengepunkt =
            warEinhaengepunkt(satz) && eltern.geraet == lage.geraet && istLeer(satz.pfad);
        if (leererEinhaengepunkt)
            return abwesend;
        return ports::Lesezeichen::Aufgeloest{.pfad = satz.pfad, .veraltet = true};
    }
    // The root of a drive disappears with the drive, and so does its folder in the one above.
    if (elternstand(eltern, satz) == Elternstand::ein_anderer || warEinhaengepunkt(satz))
        return abwesend;
    return std::nullopt;
}

} // namespace

ports::Bytes verschluesseln(Lesezeichensatz const& satz) {
    return fmt::format(
        "{}{} {} {} {}\n{}", kopfzeile, satz.geraet, satz.knoten, satz.elterngeraet, satz.elternknoten,
        satz.pfad);
}

std::optional<Lesezeichensatz> entschluesseln(ports::Bytes const& bytes) {
    std::string_view rest = bytes;
    bool const alt = rest.starts_with(alteKopfzeile);
    if ((!alt && !rest.starts_with(kopfzeile)) || rest.size() > kopfzeile.size() + hoechstlaenge)
        return std::nullopt;
    rest.remove_prefix(kopfzeile.size());
    Lesezeichensatz satz;
    auto const zahlBis = [&rest](char trenner, std::uint64_t& zahl) {
        auto const [ende, fehler] = std::from_chars(rest.data(), rest.data() + rest.size(), zahl);
        if (fehler != std::errc{} || ende == rest.data() + rest.size() || *ende != trenner)
            return false;
        rest.remove_prefix(static_cast<std::size_t>(ende - rest.data()) + 1);
        return true;
    };
    if (!zahlBis(' ', satz.geraet) || !zahlBis(alt ? '\n' : ' ', satz.knoten))
        return std::nullopt;
    if (!alt && (!zahlBis(' ', satz.elterngeraet) || !zahlBis('\n', satz.elternknoten)))
        return std::nullopt;
    if (!rest.starts_with('/') || rest.find('\0') != std::string_view::npos)
        return std::nullopt;
    satz.pfad = rest;
    return satz;
}

std::optional<ports::Bytes> LesezeichenInode::anlegen(std::string const& pfad) {
    auto const ganz = standardisiert(pfad);
    auto const lagen = mitFrist(ganz, blickfrist, [ganz] {
        return std::pair{lageVon(ganz), lageVon(elternVon(ganz))};
    });
    if (!lagen || lagen->first.art != Ordnerlage::Art::ordner)
        return std::nullopt;
    auto const& [lage, eltern] = *lagen;
    return verschluesseln(
        {.geraet = lage.geraet,
         .knoten = lage.knoten,
         .pfad = ganz,
         .elterngeraet = eltern.geraet,
         .elternknoten = eltern.knoten});
}

std::optional<ports::Lesezeichen::Aufgeloest> LesezeichenInode::aufloesen(ports::Bytes const& lesezeichen) {
    auto const satz = entschluesseln(lesezeichen);
    if (!satz)
        return std::nullopt;
    auto const ergebnis =
        mitFrist(satz->pfad, blickfrist, [satz = *satz] { return aufloesenOhneFrist(satz); });
    return ergebnis ? *ergebnis : Aufgeloest{.pfad = satz->pfad, .abwesend = true};
}

bool LesezeichenInode::zugriffBeginnen(std::string const& pfad) {
    return mitFrist(
               pfad, blickfrist, [pfad] { return static_cast<bool>(oeffnen(pfad, O_RDONLY | O_DIRECTORY)); })
        .value_or(false);
}

} // namespace quillmate::adapter::linux
