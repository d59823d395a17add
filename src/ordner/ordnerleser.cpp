#include "ordnerleser.h"

#include "dateisuche.h"
#include "grundlage/datei.h"
#include "paketendungen.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace quillmate::Ordner {

namespace {

/// Candidates between two questions whether to go on.
constexpr std::size_t frageabstand = 256;

Zeit zeitpunkt(statx_timestamp const& stempel) noexcept {
    // A file system can hold times that 64 bits of nanoseconds cannot (before the year 1678, after 2261).
    constexpr std::int64_t jeSekunde = 1'000'000'000;
    constexpr std::int64_t grenze = std::numeric_limits<std::int64_t>::max() / jeSekunde - 1;
    auto const sekunden = std::clamp<std::int64_t>(stempel.tv_sec, -grenze, grenze);
    return Zeit{std::chrono::nanoseconds{sekunden * jeSekunde + stempel.tv_nsec}};
}

constexpr std::string_view platzhalterende = ".icloud";

bool heisstWiePlatzhalter(std::string_view name) {
    return name.starts_with('.') && name.ends_with(platzhalterende);
}

/// The name that a placeholder stands for, which can be empty: in ".icloud" both marks share the dot.
std::string_view platzhalterFuer(std::string_view name) {
    auto const marken = 1 + platzhalterende.size();
    return name.size() > marken ? name.substr(1, name.size() - marken) : std::string_view{};
}

/// What an entry is, asked of the file system if `art` leaves it open.
unsigned char artVon(int ordner, std::string_view name, unsigned char art) {
    if (art != DT_UNKNOWN)
        return art;
    struct stat lage {};
    if (::fstatat(ordner, name.data(), &lage, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT) == 0)
        return static_cast<unsigned char>(IFTODT(lage.st_mode));
    // Gone since, or in a folder whose names may be listed but nothing more.
    return errno == ENOENT ? static_cast<unsigned char>(DT_UNKNOWN) : static_cast<unsigned char>(DT_REG);
}

/// Whether there is no entry of this name; a link is one, wherever it leads.
bool fehlt(int ordner, std::string_view name) {
    struct stat lage {};
    return ::fstatat(ordner, name.data(), &lage, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT) != 0 &&
           errno == ENOENT;
}

enum class Werte { bekannt, unbekannt, keinFund };

constexpr unsigned gefragt = STATX_TYPE | STATX_SIZE | STATX_MTIME | STATX_BTIME | STATX_INO;

Werte uebernehmen(struct statx const& werte, Kandidat& kandidat) {
    if (!S_ISREG(werte.stx_mode))
        return Werte::keinFund;
    kandidat.geraet = makedev(werte.stx_dev_major, werte.stx_dev_minor);
    if ((werte.stx_mask & STATX_INO) != 0)
        kandidat.inode = werte.stx_ino;
    kandidat.groesse = static_cast<std::int64_t>(werte.stx_size);
    if ((werte.stx_mask & STATX_MTIME) != 0)
        kandidat.geaendert = zeitpunkt(werte.stx_mtime);
    if ((werte.stx_mask & STATX_BTIME) != 0)
        kandidat.erstellt = zeitpunkt(werte.stx_btime);
    return Werte::bekannt;
}

Werte werteLesen(int ordner, Kandidat& kandidat) {
    struct statx werte {};
    if (::statx(ordner, kandidat.name.data(), AT_NO_AUTOMOUNT | AT_SYMLINK_NOFOLLOW, gefragt, &werte) != 0)
        return errno == ENOENT ? Werte::keinFund : Werte::unbekannt; // What was removed since is no find.
    return uebernehmen(werte, kandidat);
}

/// The values of the file that a link leads to, if it lies in a searched place. A link is a name that anybody may have
/// put there; what it leads out to is not the search's to read.
Werte zielLesen(int ordner, Kandidat& kandidat, Wanderauftrag const& auftrag, Ordnerinhalt& inhalt) {
    kandidat.ueberVerweis = true;
    Deskriptor const ziel{::openat(ordner, kandidat.name.data(), O_PATH | O_CLOEXEC)};
    if (!ziel) {
        if (errno == EMFILE || errno == ENFILE || errno == ENOMEM)
            return Werte::unbekannt; // Whoever opens the file asks again where it lies.
        if (!fehlt(ordner, kandidat.name))
            ++inhalt.auslassen().verweiseHinaus;
        return Werte::keinFund;
    }
    struct statx werte {};
    if (::statx(ziel.get(), "", AT_EMPTY_PATH | AT_NO_AUTOMOUNT, gefragt, &werte) != 0)
        return Werte::unbekannt;
    auto const ergebnis = uebernehmen(werte, kandidat);
    bool const innen = ergebnis == Werte::bekannt &&
                       (auftrag.orte != nullptr ? auftrag.orte->enthaelt(ziel.get())
                                                : Suchorte::liegtUnter(auftrag.wurzel, ziel.get()));
    if (ergebnis == Werte::bekannt && !innen) {
        ++inhalt.auslassen().verweiseHinaus;
        return Werte::keinFund;
    }
    return ergebnis;
}

} // namespace

Ordnerinhalt Ordnerleser::lesen(int ordner, std::size_t hoechstens, std::function<bool()> const& aufhoeren) {
    Ordnerinhalt inhalt;
    rohnamen_.clear();
    namen_.clear();
    std::size_t portion = 0;
    int const lesefehler = verzeichnisleser_.lesen(
        ordner, [&](std::string_view name, unsigned char art) { beurteilen(ordner, name, art, inhalt); },
        // Nearly every folder is done after two calls, of which the second finds the end.
        [&] { return ++portion <= 2 || !aufhoeren(); });
    if (lesefehler != 0)
        inhalt.auslassen().lesefehler = lesefehler;
    if (!rohnamen_.empty()) {
        sortieren();
        uebernehmen(ordner, hoechstens, inhalt, aufhoeren);
    }
    return inhalt;
}

void Ordnerleser::beurteilen(int ordner, std::string_view name, unsigned char art, Ordnerinhalt& inhalt) {
    if (auftrag_.ziel == Ziel::platzhalter) {
        beurteilenFuerPlatzhalter(ordner, name, art, inhalt);
        return;
    }
    if (name.front() == '.') // hidden, and "." and ".."
        return;
    bool const gewuenscht = art != DT_DIR && auftrag_.filter.passt(name);
    if (art == DT_UNKNOWN) { // Some file systems do not say; asking costs a call, so only where it matters.
        if (!gewuenscht && ueberspringen(name))
            return;
        art = artVon(ordner, name, art);
    }
    if (art == DT_DIR) {
        if (!auszulassen(ordner, name, inhalt))
            merken(name, art, Rolle::ordner);
    } else if (gewuenscht && (art == DT_REG || art == DT_LNK)) {
        if (art == DT_REG && auftrag_.ziel == Ziel::anzahl && auftrag_.mindestgroesse < 1)
            ++inhalt.gezaehlt;
        else
            merken(name, art, Rolle::kandidat);
    }
}

bool Ordnerleser::auszulassen(int ordner, std::string_view name, Ordnerinhalt& inhalt) {
    bool const uebersprungen = ueberspringen(name);
    if (!heisstWiePaket(name))
        return uebersprungen;
    if (!uebersprungen && !istPaketVonInnen(ordner, name))
        return false;
    auto& ausgelassen = inhalt.auslassen();
    ++ausgelassen.pakete;
    auto& namen = ausgelassen.paketnamen;
    namen.emplace(std::ranges::upper_bound(namen, name), name);
    if (namen.size() > Suchbilanz::hoechstensNamen)
        namen.pop_back();
    return true;
}

void Ordnerleser::beurteilenFuerPlatzhalter(
    int ordner, std::string_view name, unsigned char art, Ordnerinhalt& inhalt) {
    if (name == "." || name == "..")
        return;
    bool const platzhalter = heisstWiePlatzhalter(name);
    if (!platzhalter && ueberspringen(name))
        return;
    if (platzhalter && auftrag_.filter.passt(platzhalterFuer(name)))
        merken(name, art, Rolle::kandidat);
    // A folder that is named like a placeholder counts as one and is entered all the same.
    if (artVon(ordner, name, art) == DT_DIR && (platzhalter || !auszulassen(ordner, name, inhalt)))
        merken(name, art, Rolle::ordner);
}

void Ordnerleser::merken(std::string_view name, unsigned char art, Rolle rolle) {
    rohnamen_.push_back({.anfang = namen_.size(), .laenge = name.size(), .art = art, .rolle = rolle});
    namen_.append(name.data(), name.size() + 1);
}

void Ordnerleser::sortieren() {
    std::ranges::sort(rohnamen_, [namen = namen_.data()](Rohname const& a, Rohname const& b) {
        auto const ordnung = std::strcmp(namen + a.anfang, namen + b.anfang); // compares unsigned bytes
        return ordnung != 0 ? ordnung < 0 : a.rolle < b.rolle;
    });
}

void Ordnerleser::uebernehmen(
    int ordner, std::size_t hoechstens, Ordnerinhalt& inhalt, std::function<bool()> const& aufhoeren) {
    inhalt.namen = std::make_unique_for_overwrite<char[]>(namen_.size());
    std::memcpy(inhalt.namen.get(), namen_.data(), namen_.size());
    if (auftrag_.ziel != Ziel::anzahl)
        inhalt.eintraege.reserve(std::min(rohnamen_.size(), hoechstens));
    std::size_t geprueft = 0;
    std::size_t uebernommen = 0;
    for (auto const& roh : rohnamen_) {
        Ordnerinhalt::Eintrag eintrag{.kandidat = {.name = {inhalt.namen.get() + roh.anfang, roh.laenge}}};
        if (roh.rolle == Rolle::ordner) {
            eintrag.unterordner = inhalt.unterordner++;
        } else {
            if (++geprueft % frageabstand == 0 && aufhoeren())
                return;
            if (!kandidatUebernehmen(ordner, roh.art, eintrag.kandidat, inhalt))
                continue;
            ++uebernommen;
        }
        inhalt.eintraege.push_back(eintrag);
        if (uebernommen == hoechstens)
            return;
    }
}

bool Ordnerleser::kandidatUebernehmen(
    int ordner, unsigned char art, Kandidat& kandidat, Ordnerinhalt& inhalt) const {
    if (auftrag_.ziel == Ziel::platzhalter) {
        kandidat.name = platzhalterFuer(kandidat.name);
        return true;
    }
    auto const werte =
        art == DT_LNK ? zielLesen(ordner, kandidat, auftrag_, inhalt) : werteLesen(ordner, kandidat);
    if (werte == Werte::keinFund)
        return false;
    if (auftrag_.ziel == Ziel::funde)
        return true;
    bool const grossGenug = werte == Werte::bekannt && kandidat.groesse >= auftrag_.mindestgroesse;
    if (grossGenug || (werte == Werte::unbekannt && auftrag_.mindestgroesse < 1))
        ++inhalt.gezaehlt;
    return false;
}

} // namespace quillmate::Ordner
