#include "lesezeichen_inode.h"

#include "grundlage/datei.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <memory>
#include <string_view>

namespace quillmate::adapter::linux {

namespace {

constexpr std::string_view kopfzeile = "quillmate-lesezeichen 1\n";

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

/// The folder of that identity directly below `eltern`: where a renamed folder is found again.
std::optional<std::string> findeInEltern(std::string const& eltern, Lesezeichensatz const& satz) {
    auto deskriptor = oeffnen(eltern, O_RDONLY | O_DIRECTORY);
    if (!deskriptor)
        return std::nullopt;
    std::unique_ptr<DIR, int (*)(DIR*)> const ordner{::fdopendir(deskriptor.get()), &::closedir};
    if (!ordner)
        return std::nullopt;
    auto const fd = deskriptor.abgeben();
    while (auto const* const eintrag = ::readdir(ordner.get())) {
        if (eintrag->d_ino != satz.knoten || (eintrag->d_type != DT_DIR && eintrag->d_type != DT_UNKNOWN))
            continue;
        std::string_view const name = eintrag->d_name;
        struct stat lage {};
        if (name == "." || name == ".." || ::fstatat(fd, eintrag->d_name, &lage, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        if (S_ISDIR(lage.st_mode) && lage.st_dev == satz.geraet && lage.st_ino == satz.knoten)
            return (eltern == "/" ? std::string{} : eltern) + '/' + std::string{name};
    }
    return std::nullopt;
}

} // namespace

ports::Bytes verschluesseln(Lesezeichensatz const& satz) {
    return fmt::format("{}{} {}\n{}", kopfzeile, satz.geraet, satz.knoten, satz.pfad);
}

std::optional<Lesezeichensatz> entschluesseln(ports::Bytes const& bytes) {
    std::string_view rest = bytes;
    if (!rest.starts_with(kopfzeile) || rest.size() > kopfzeile.size() + hoechstlaenge)
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
    if (!zahlBis(' ', satz.geraet) || !zahlBis('\n', satz.knoten))
        return std::nullopt;
    if (!rest.starts_with('/') || rest.find('\0') != std::string_view::npos)
        return std::nullopt;
    satz.pfad = rest;
    return satz;
}

std::optional<ports::Bytes> LesezeichenInode::anlegen(std::string const& pfad) {
    auto const ganz = standardisiert(pfad);
    auto const lage = lageVon(ganz);
    if (lage.art != Ordnerlage::Art::ordner)
        return std::nullopt;
    return verschluesseln({.geraet = lage.geraet, .knoten = lage.knoten, .pfad = ganz});
}

std::optional<ports::Lesezeichen::Aufgeloest> LesezeichenInode::aufloesen(ports::Bytes const& lesezeichen) {
    auto const satz = entschluesseln(lesezeichen);
    if (!satz)
        return std::nullopt;
    auto const lage = lageVon(satz->pfad);
    // A folder above it may be closed for the moment; that is no reason to forget it.
    if (lage.art == Ordnerlage::Art::unbekannt)
        return Aufgeloest{.pfad = satz->pfad, .veraltet = false};
    if (lage.art == Ordnerlage::Art::ordner && lage.geraet == satz->geraet && lage.knoten == satz->knoten)
        return Aufgeloest{.pfad = satz->pfad, .veraltet = false};
    auto const schnitt = satz->pfad.rfind('/');
    auto const eltern = schnitt == 0 ? std::string{"/"} : satz->pfad.substr(0, schnitt);
    if (auto umbenannt = findeInEltern(eltern, *satz))
        return Aufgeloest{.pfad = *std::move(umbenannt), .veraltet = true};
    if (lage.art == Ordnerlage::Art::ordner)
        return Aufgeloest{.pfad = satz->pfad, .veraltet = true};
    return std::nullopt;
}

bool LesezeichenInode::zugriffBeginnen(std::string const& pfad) {
    return static_cast<bool>(oeffnen(pfad, O_RDONLY | O_DIRECTORY));
}

} // namespace quillmate::adapter::linux
