// Unpacking in the order of the archive:
//   Entpacker::eintrag   judges one entry: kind, name, limits
//   folders, files       made at once, each component opened without following links, names never taken twice
//   links                remembered and made at the end, so that no later entry can be written through one
#include "auspacken.h"

#include "grundlage/datei.h"
#include "grundlage/text.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace quillmate::aktualisierung {

namespace {

constexpr std::size_t hoechsttiefe = 32;
constexpr std::size_t hoechstlaengePfad = 1000;
constexpr mode_t ordnerrechte = 0755;
constexpr mode_t dateirechte = 0644;
constexpr mode_t programmrechte = 0755;

using Archiv = std::unique_ptr<archive, decltype(&archive_read_free)>;
using Komponenten = std::vector<std::string>;

/// The components of a path; nothing for an absolute one or one with ".." or an overlong name. A trailing slash and
/// "./" at the beginning do not count.
std::optional<Komponenten> komponenten(std::string_view pfad) {
    if (pfad.empty() || pfad.size() > hoechstlaengePfad || pfad.front() == '/' ||
        pfad.find('\0') != std::string_view::npos)
        return std::nullopt;
    Komponenten ergebnis;
    while (!pfad.empty()) {
        auto const teil = pfad.substr(0, pfad.find('/'));
        pfad.remove_prefix(teil.size() == pfad.size() ? teil.size() : teil.size() + 1);
        if (teil == "." || teil.empty())
            continue;
        if (teil == ".." || teil.size() > 255)
            return std::nullopt;
        ergebnis.emplace_back(teil);
    }
    return ergebnis;
}

/// Whether a link in a folder `tiefe` levels below the bundle leads to somewhere within the bundle, whatever the
/// other entries are: it goes up first, no further than the bundle, and then only down.
bool bleibtDrin(std::string_view ziel, std::size_t tiefe) {
    if (ziel.empty() || ziel.size() > hoechstlaengePfad || ziel.front() == '/')
        return false;
    bool abwaerts = false;
    while (!ziel.empty()) {
        auto const teil = ziel.substr(0, ziel.find('/'));
        ziel.remove_prefix(teil.size() == ziel.size() ? teil.size() : teil.size() + 1);
        if (teil == "..") {
            // Up again after down could leave through a folder that is itself a link.
            if (abwaerts || tiefe == 0)
                return false;
            --tiefe;
        } else if (teil != "." && !teil.empty()) {
            abwaerts = true;
        }
    }
    return true;
}

class Entpacker {
public:
    Entpacker(archive* archiv, int ziel, Auspackgrenzen grenzen)
        : archiv_(archiv)
        , ziel_(ziel)
        , grenzen_(grenzen) {}

    Ergebnis<void> alles() {
        archive_entry* eintrag = nullptr;
        for (;;) {
            auto const status = archive_read_next_header(archiv_, &eintrag);
            if (status == ARCHIVE_EOF)
                break;
            // A warning is about a name that this locale cannot show; we take its bytes as they are.
            if (status != ARCHIVE_OK && status != ARCHIVE_WARN)
                return unlesbar();
            if (++gesehen_ > grenzen_.eintraege)
                return fehler(Fehlerart::zuGross, {}, "Das Archiv hat zu viele Einträge");
            if (auto genommen = nimm(eintrag); !genommen)
                return genommen;
        }
        if (buendel_.empty())
            return fehler(Fehlerart::falscheForm, {}, "Das Archiv ist leer");
        return verweiseAnlegen();
    }

private:
    struct Verweis {
        Komponenten pfad;
        std::string ziel;
    };

    /// What the library says of the archive is for the log only, and may hold anything.
    std::unexpected<Fehler> unlesbar() const {
        auto const* const grund = archive_error_string(archiv_);
        return fehler(
            Fehlerart::falscheForm, {},
            "Das Archiv ist nicht zu lesen" + (grund ? " (" + einzeilig(grund, 200) + ')' : std::string{}));
    }
    static std::unexpected<Fehler> ungebeten(std::string_view name, std::string_view satz) {
        return fehler(Fehlerart::falscheForm, einzeilig(name, 200), satz);
    }

    Ergebnis<void> nimm(archive_entry* eintrag) {
        char const* name = archive_entry_pathname(eintrag);
        if (!name)
            name = archive_entry_pathname_utf8(eintrag);
        std::string_view const genannt = name ? name : "";
        auto pfad = name ? komponenten(genannt) : std::nullopt;
        if (!pfad || archive_entry_hardlink(eintrag) || archive_entry_is_encrypted(eintrag))
            return ungebeten(genannt, "Im Archiv ist ein Eintrag, den kein Bündel hat");
        auto const art = archive_entry_filetype(eintrag);
        if (pfad->empty() && art == AE_IFDIR) // "./"
            return {};
        if (buendel_.empty() && !pfad->empty())
            buendel_ = pfad->front();
        if (pfad->empty() || pfad->front() != buendel_ || !buendel_.ends_with(".app") ||
            pfad->size() > hoechsttiefe)
            return ungebeten(genannt, "Im Archiv liegt etwas außerhalb eines Bündels");
        pfad->erase(pfad->begin());
        if (art == AE_IFDIR) {
            if (!ordnerDafuer(*pfad))
                return nichtAngelegt(genannt);
            return {};
        }
        if (art == AE_IFREG && !pfad->empty())
            return datei(eintrag, genannt, *std::move(pfad));
        char const* const ziel = art == AE_IFLNK ? archive_entry_symlink(eintrag) : nullptr;
        if (pfad->empty() || !ziel || !bleibtDrin(ziel, pfad->size() - 1))
            return ungebeten(genannt, "Im Archiv ist ein Eintrag, den kein Bündel hat");
        verweise_.push_back({.pfad = *std::move(pfad), .ziel = ziel});
        return {};
    }

    /// Why something could not be made: the archive's fault when the name is taken by something else.
    static std::unexpected<Fehler> nichtAngelegt(std::string_view name, int grund = errno) {
        if (grund == EEXIST || grund == ENOTDIR || grund == ELOOP)
            return ungebeten(name, "Im Archiv ist ein Name zweimal vergeben");
        return nichtAbgelegt(name, grund);
    }
    static std::unexpected<Fehler> nichtAbgelegt(std::string_view name, int grund = errno) {
        return errnoFehler(einzeilig(name, 200), "Nicht abzulegen ist", grund);
    }

    /// Opens the folder, made where it is missing, component by component from the top.
    Deskriptor ordnerDafuer(Komponenten const& pfad) const {
        Deskriptor hier{::openat(ziel_, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
        for (auto const& teil : pfad) {
            if (!hier || (::mkdirat(hier.get(), teil.c_str(), ordnerrechte) != 0 && errno != EEXIST))
                return {};
            hier = Deskriptor{
                ::openat(hier.get(), teil.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
        }
        return hier;
    }

    Ergebnis<void> datei(archive_entry* eintrag, std::string_view genannt, Komponenten pfad) {
        auto const name = std::move(pfad.back());
        pfad.pop_back();
        auto const ordner = ordnerDafuer(pfad);
        if (!ordner)
            return nichtAngelegt(genannt);
        Deskriptor const ziel{::openat(
            ordner.get(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, dateirechte)};
        if (!ziel)
            return nichtAngelegt(genannt);
        std::array<char, std::size_t{64} * 1024> puffer{};
        for (;;) {
            auto const gelesen = archive_read_data(archiv_, puffer.data(), puffer.size());
            if (gelesen == 0)
                break;
            if (gelesen < 0)
                return unlesbar();
            if (static_cast<std::uint64_t>(gelesen) > grenzen_.bytes - geschrieben_)
                return fehler(Fehlerart::zuGross, {}, "Das Archiv ist ausgepackt zu groß");
            geschrieben_ += static_cast<std::uint64_t>(gelesen);
            for (ssize_t stelle = 0; stelle < gelesen;) {
                auto const n =
                    ::write(ziel.get(), puffer.data() + stelle, static_cast<std::size_t>(gelesen - stelle));
                if (n < 0 && errno != EINTR)
                    return nichtAbgelegt(genannt);
                stelle += n < 0 ? 0 : n;
            }
        }
        bool const programm = (archive_entry_perm(eintrag) & S_IXUSR) != 0;
        if (::fchmod(ziel.get(), programm ? programmrechte : dateirechte) != 0)
            return nichtAbgelegt(genannt);
        return {};
    }

    Ergebnis<void> verweiseAnlegen() {
        for (auto& verweis : verweise_) {
            auto const name = std::move(verweis.pfad.back());
            verweis.pfad.pop_back();
            auto const ordner = ordnerDafuer(verweis.pfad);
            if (!ordner || ::symlinkat(verweis.ziel.c_str(), ordner.get(), name.c_str()) != 0)
                return nichtAngelegt(name);
        }
        return {};
    }

    archive* const archiv_;
    int const ziel_;
    Auspackgrenzen const grenzen_;
    std::string buendel_; ///< Name of the one folder at the top.
    std::vector<Verweis> verweise_;
    std::uint64_t gesehen_{0};
    std::uint64_t geschrieben_{0};
};

} // namespace

Ergebnis<void> auspacken(std::string_view archiv, std::string const& ziel, Auspackgrenzen const& grenzen) {
    Deskriptor const ordner{::open(ziel.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
    if (!ordner)
        return errnoFehler(ziel, "Nicht zu öffnen ist");
    Archiv const leser{archive_read_new(), &archive_read_free};
    if (!leser)
        return errnoFehler({}, "Kein Speicher zum Auspacken", ENOMEM);
    // Nothing but what our own archives are made of: each further format is a parser more for foreign bytes.
    archive_read_support_format_tar(leser.get());
    archive_read_support_filter_gzip(leser.get());
    archive_read_support_filter_xz(leser.get());
    archive_read_support_filter_zstd(leser.get());
    if (archive_read_open_memory(leser.get(), archiv.data(), archiv.size()) != ARCHIVE_OK)
        return fehler(Fehlerart::falscheForm, {}, "Das ist kein Archiv");
    return Entpacker{leser.get(), ordner.get(), grenzen}.alles();
}

} // namespace quillmate::aktualisierung
