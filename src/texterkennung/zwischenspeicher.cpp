#include "zwischenspeicher.h"

#include "grundlage/datei.h"
#include "grundlage/pruefsumme.h"
#include "grundlage/text.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <glob.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <filesystem>
#include <memory>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

namespace quillmate::Texterkennung {

namespace {

// Marks the way texts are read; a new way takes a new number, and so old entries are no longer found.
constexpr int lesart = 2;

// No text has more than 6000 characters; a larger file is no entry of ours.
constexpr std::uint64_t hoechstgroesseEintrag = std::uint64_t{16} * 1024 * 1024;

/// Shortest decimal form that gives the same double, without exponent and with at least one decimal.
std::string dezimal(double wert) {
    std::array<char, 400> puffer{};
    auto const ende =
        std::to_chars(puffer.data(), puffer.data() + puffer.size(), wert, std::chars_format::fixed).ptr;
    std::string text{puffer.data(), ende};
    if (text.find('.') == std::string::npos)
        text += ".0";
    return text;
}

} // namespace

namespace {

std::string schluesselAus(std::string const& ganzerPfad, std::int64_t groesse, double geaendert) {
    return hexadezimal(
        sha256(fmt::format("{}|{}|{}|lesart{}", ganzerPfad, groesse, dezimal(geaendert), lesart)));
}

/// Small files by path; nothing when there is none or it is larger than an entry can be. A day after the last time the
/// entry is marked as used, so that sweeping knows: not each time, that would write to the disk for every reading.
std::optional<std::string> leseEintrag(std::string const& pfad) {
    constexpr std::int64_t tag = std::int64_t{24} * 3600;
    auto const datei = oeffneDatei(pfad);
    struct stat lage {};
    if (!datei || ::fstat(datei.get(), &lage) != 0 ||
        static_cast<std::uint64_t>(lage.st_size) > hoechstgroesseEintrag)
        return std::nullopt;
    std::string inhalt(static_cast<std::size_t>(lage.st_size), '\0');
    std::size_t gelesen = 0;
    while (gelesen < inhalt.size()) {
        auto const n = ::read(datei.get(), inhalt.data() + gelesen, inhalt.size() - gelesen);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return std::nullopt;
        gelesen += static_cast<std::size_t>(n);
    }
    if (std::abs(std::time(nullptr) - lage.st_mtim.tv_sec) > tag)
        (void)::futimens(datei.get(), nullptr);
    return inhalt;
}

constexpr std::string_view inhaltskopf = "quillmate-text 1 ";
constexpr std::size_t pruefziffern = 64;

/// One file of a level, as sweeping sees it.
struct Altes {
    std::int64_t benutzt;
    std::uint64_t groesse;
    std::string name;
};

/// Calls `nimm(name, lage)` for each plain file of the folder; false when the folder is not there.
template<typename Nimm>
bool jedeDatei(std::string const& ordner, std::stop_token const& ende, Nimm&& nimm) {
    auto deskriptor = oeffnen(ordner, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    if (!deskriptor)
        return false;
    std::unique_ptr<DIR, int (*)(DIR*)> const liste{::fdopendir(deskriptor.get()), &::closedir};
    if (!liste)
        return false;
    auto const fd = deskriptor.abgeben(); // closedir() closes it
    while (auto const* const eintrag = ::readdir(liste.get())) {
        if (ende.stop_requested())
            return true;
        struct stat lage {};
        if (::fstatat(fd, eintrag->d_name, &lage, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(lage.st_mode))
            nimm(fd, eintrag->d_name, lage);
    }
    return true;
}

/// Removes files of one level until it holds at most nine tenths of its bounds, those first that were used longest ago.
void stufeAufraeumen(
    std::string const& ordner, Zwischenspeicher::Grenzen const& grenzen, std::stop_token const& ende) {
    constexpr std::int64_t stunde = 3600;
    auto const jetzt = static_cast<std::int64_t>(std::time(nullptr));
    std::size_t anzahl = 0;
    std::uint64_t bytes = 0;
    (void)jedeDatei(ordner, ende, [&](int fd, char const* name, struct stat const& lage) {
        // What a writer that was killed left behind; a living one is done within moments.
        if (std::string_view{name}.ends_with(".neu") && jetzt - lage.st_mtim.tv_sec > stunde) {
            (void)::unlinkat(fd, name, 0);
            return;
        }
        ++anzahl;
        bytes += static_cast<std::uint64_t>(lage.st_size);
    });
    if (anzahl <= grenzen.hoechstensEintraege && bytes <= grenzen.hoechstensBytes)
        return;
    std::vector<Altes> alle;
    alle.reserve(anzahl);
    (void)jedeDatei(ordner, ende, [&](int, char const* name, struct stat const& lage) {
        alle.push_back(
            {.benutzt = lage.st_mtim.tv_sec,
             .groesse = static_cast<std::uint64_t>(lage.st_size),
             .name = name});
    });
    std::ranges::sort(alle, {}, [](Altes const& altes) { return std::tie(altes.benutzt, altes.name); });
    auto const deskriptor = oeffnen(ordner, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    auto const zielAnzahl = grenzen.hoechstensEintraege / 10 * 9 + grenzen.hoechstensEintraege % 10;
    auto const zielBytes = grenzen.hoechstensBytes / 10 * 9;
    for (auto const& altes : alle) {
        if (ende.stop_requested() || !deskriptor || (anzahl <= zielAnzahl && bytes <= zielBytes))
            return;
        (void)::unlinkat(deskriptor.get(), altes.name.c_str(), 0);
        --anzahl;
        bytes -= std::min(bytes, altes.groesse);
    }
}

} // namespace

std::string zwischenspeicherSchluessel(std::string_view pfad) {
    std::int64_t groesse = -1;
    double geaendert = -1;
    auto const ganzerPfad = standardisiert(pfad);
    // Through oeffnen() and not by stat(): paths may be longer than the kernel takes at once.
    auto const deskriptor = oeffnen(ganzerPfad, O_PATH);
    struct stat lage {};
    if (deskriptor && ::fstat(deskriptor.get(), &lage) == 0) {
        groesse = lage.st_size;
        geaendert =
            static_cast<double>(lage.st_mtim.tv_sec) + static_cast<double>(lage.st_mtim.tv_nsec) * 1e-9;
    }
    return schluesselAus(ganzerPfad, groesse, geaendert);
}

std::string zwischenspeicherSchluessel(Belegdatei const& datei) {
    constexpr std::int64_t jeSekunde = 1'000'000'000;
    auto const stempel = datei.stand().geaendert;
    auto const bruchteil = ((stempel % jeSekunde) + jeSekunde) % jeSekunde;
    // The same sum as above, so that both give the same double.
    auto const geaendert =
        static_cast<double>((stempel - bruchteil) / jeSekunde) + static_cast<double>(bruchteil) * 1e-9;
    return schluesselAus(standardisiert(datei.pfad()), datei.stand().groesse, geaendert);
}

std::string lesemethode(std::string leserprogramm) {
    if (leserprogramm.empty()) {
        std::error_code fehler;
        leserprogramm =
            (std::filesystem::read_symlink("/proc/self/exe", fehler).parent_path() / "quillmate-leser")
                .string();
    }
    std::string methode;
    auto const aufnehmen = [&](std::string const& pfad) {
        struct stat lage {};
        if (::stat(pfad.c_str(), &lage) == 0)
            // Without the folder: a program that was moved reads as before.
            methode += fmt::format(
                "{}|{}|{}.{};", letzteKomponente(pfad), lage.st_size, lage.st_mtim.tv_sec,
                lage.st_mtim.tv_nsec);
    };
    aufnehmen(leserprogramm);
    auto const alle = [&](std::string const& muster) {
        glob_t treffer{};
        if (::glob(muster.c_str(), 0, nullptr, &treffer) == 0)
            for (std::size_t i = 0; i < treffer.gl_pathc; ++i)
                aufnehmen(treffer.gl_pathv[i]);
        ::globfree(&treffer);
    };
    for (auto const* const bibliothek :
         {"libtesseract.so.5", "liblept.so.5", "libleptonica.so.6", "libheif.so.1"})
        alle(std::string{"/usr/lib/*/"} + bibliothek);
    if (auto const* const eigene = std::getenv("TESSDATA_PREFIX"); eigene != nullptr)
        for (auto const* const sprache : {"deu", "eng"})
            aufnehmen(std::string{eigene} + "/" + sprache + ".traineddata");
    for (auto const* const sprache : {"deu", "eng"})
        alle(std::string{"/usr/share/tesseract-ocr/*/tessdata/"} + sprache + ".traineddata");
    return methode;
}

Zwischenspeicher::Zwischenspeicher(std::string ordner, std::string methode)
    : Zwischenspeicher(std::move(ordner), std::move(methode), Grenzen{}) {}

Zwischenspeicher::Zwischenspeicher(std::string ordner, std::string methode, Grenzen grenzen)
    : ordner_(std::move(ordner))
    , methode_(std::move(methode))
    , grenzen_(grenzen) {}

Zwischenspeicher::~Zwischenspeicher() = default;

std::string Zwischenspeicher::eintrag(std::string_view schluessel) const {
    return fmt::format("{}/{}.txt", ordner_, schluessel);
}

std::string Zwischenspeicher::inhaltseintrag(std::string_view schluessel) const {
    return fmt::format("{}/inhalt/{}", ordner_, schluessel);
}

std::optional<Zwischenspeicher::Eintrag> Zwischenspeicher::ausZwischenspeicher(
    std::string_view schluessel) const {
    auto const inhalt = leseEintrag(eintrag(schluessel));
    if (!inhalt)
        return std::nullopt;
    if (inhalt->empty())
        return Eintrag{};
    return Eintrag{alsUtf8(*inhalt)};
}

void Zwischenspeicher::inZwischenspeicher(
    std::string_view schluessel, std::optional<std::string> const& text) const {
    if (!ordnerAnlegen(ordner_))
        return;
    // An empty file after a power cut would say "no text", so the bytes must be on the disk before the name is.
    // An entry without text has no bytes to lose.
    (void)schreibeAtomar(eintrag(schluessel), text.value_or(""), text ? Dauerhaft::ja : Dauerhaft::nein);
    geschrieben();
}

std::string Zwischenspeicher::inhaltsschluessel(std::string_view pruefsumme, std::string_view art) const {
    return hexadezimal(sha256(fmt::format("{}|{}|{}|lesart{}", pruefsumme, art, methode_, lesart)));
}

std::optional<Zwischenspeicher::Eintrag> Zwischenspeicher::nachInhalt(std::string_view schluessel) const {
    auto const ganz = leseEintrag(inhaltseintrag(schluessel));
    if (!ganz)
        return std::nullopt;
    std::string_view rest = *ganz;
    if (!rest.starts_with(inhaltskopf) || rest.size() < inhaltskopf.size() + pruefziffern + 1)
        return std::nullopt;
    rest.remove_prefix(inhaltskopf.size());
    auto const summe = rest.substr(0, pruefziffern);
    rest.remove_prefix(pruefziffern);
    if (hexadezimal(sha256(rest)) != summe)
        return std::nullopt;
    if (rest.front() == '-')
        return Eintrag{};
    return Eintrag{alsUtf8(rest.substr(1))};
}

void Zwischenspeicher::inhaltMerken(
    std::string_view schluessel, std::optional<std::string> const& text) const {
    if (!ordnerAnlegen(ordner_ + "/inhalt"))
        return;
    // The digest tells a half-written entry, so no wait for the disk.
    auto const inhalt = text ? "\n" + *text : std::string{"-"};
    (void)schreibeAtomar(
        inhaltseintrag(schluessel), fmt::format("{}{}{}", inhaltskopf, hexadezimal(sha256(inhalt)), inhalt),
        Dauerhaft::nein);
    geschrieben();
}

void Zwischenspeicher::geschrieben() const {
    std::lock_guard const schutz{sperre_};
    ++seitAufraeumen_;
    if (schonAufgeraeumt_ && seitAufraeumen_ <= grenzen_.hoechstensEintraege / 10)
        return;
    schonAufgeraeumt_ = true;
    seitAufraeumen_ = 0;
    try {
        // The assignment waits for the last sweep, which ended long ago.
        aufraeumer_ = std::jthread{[this](std::stop_token const& ende) {
            aufraeumen(ende);
        }};
    } catch (std::system_error const&) {
        schonAufgeraeumt_ = false; // Out of threads: the next entry asks again.
    }
}

void Zwischenspeicher::aufraeumen(std::stop_token const& ende) const {
    try {
        stufeAufraeumen(ordner_, grenzen_, ende);
        stufeAufraeumen(ordner_ + "/inhalt", grenzen_, ende);
    } catch (std::exception const&) {
        // Out of memory: another time.
    }
}

} // namespace quillmate::Texterkennung
