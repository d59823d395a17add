#include "zieldatei.h"

#include "grundlage/datei.h"
#include "grundlage/text.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <mutex>
#include <set>
#include <utility>

namespace quillmate::fenster {

namespace {

/// Bytes of a name. File systems take 255; a number and the temporary name's ending must still fit.
constexpr std::size_t hoechsteNamenslaenge = 200;
/// Bytes of an extension; a longer one is no extension that anybody would miss.
constexpr std::size_t hoechsteEndungslaenge = 32;

/// Position of the dot before the extension; the name's length without one.
std::size_t endungsstelle(std::string_view name) {
    auto const punkt = name.rfind('.');
    return punkt == std::string_view::npos || punkt == 0 || punkt + 1 == name.size() ? name.size() : punkt;
}

/// Cuts to at most `laenge` bytes, never within a character.
std::string_view gekuerzt(std::string_view text, std::size_t laenge) {
    if (text.size() <= laenge)
        return text;
    while (laenge > 0 && (static_cast<unsigned char>(text[laenge]) & 0xC0U) == 0x80U)
        --laenge;
    return text.substr(0, laenge);
}

/// U+200E, U+200F, U+202A to U+202E, U+2066 to U+2069 at this place: they can make "fdp.exe" look like "exe.pdf".
bool wendetSchreibrichtung(std::string_view text, std::size_t stelle) {
    if (stelle + 2 >= text.size() || text[stelle] != '\xE2')
        return false;
    auto const mitte = static_cast<unsigned char>(text[stelle + 1]);
    auto const ende = static_cast<unsigned char>(text[stelle + 2]);
    return (mitte == 0x80 && (ende == 0x8E || ende == 0x8F || (ende >= 0xAA && ende <= 0xAE))) ||
           (mitte == 0x81 && ende >= 0xA6 && ende <= 0xA9);
}

} // namespace

std::string sichererDateiname(std::string_view vorschlag) {
    // Names from Windows have their own separator.
    if (auto const schnitt = vorschlag.find_last_of("/\\"); schnitt != std::string_view::npos)
        vorschlag.remove_prefix(schnitt + 1);
    auto const text = alsUtf8(vorschlag);
    std::string name;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (wendetSchreibrichtung(text, i)) {
            i += 2;
            continue;
        }
        auto const c = static_cast<unsigned char>(text[i]);
        name += c < 0x20 || c == 0x7F ? '_' : text[i];
    }
    while (!name.empty() && name.back() == ' ')
        name.pop_back();
    name.erase(0, std::min(name.find_first_not_of(' '), name.size()));
    if (name.empty())
        return "Download";
    if (name.front() == '.') // A hidden file would not be found again; "." and ".." are no files.
        name.front() = '_';

    auto const punkt = endungsstelle(name);
    if (name.size() <= hoechsteNamenslaenge)
        return name;
    auto const endung = std::string_view{name}.substr(punkt);
    if (endung.size() > hoechsteEndungslaenge)
        return std::string{gekuerzt(name, hoechsteNamenslaenge)};
    return std::string{
               gekuerzt(std::string_view{name}.substr(0, punkt), hoechsteNamenslaenge - endung.size())} +
           std::string{endung};
}

namespace {

/// The names that are claimed now.
struct Vergebene {
    std::mutex sperre;
    std::set<std::string> pfade;
};

Vergebene& vergebene() {
    static Vergebene alle;
    return alle;
}

/// Whether files can be made in the folder: by making one that nobody sees.
bool nimmtDateien(std::string const& ordner) {
    auto probe = ordner + "/.quillmate-probe-XXXXXX";
    Deskriptor const datei{::mkostemp(probe.data(), O_CLOEXEC)};
    if (!datei)
        return false;
    ::unlink(probe.c_str());
    return true;
}

} // namespace

Zieldatei::Zieldatei(std::string pfad) noexcept
    : pfad_(std::move(pfad)) {}

Zieldatei::Zieldatei(Zieldatei&& andere) noexcept
    : pfad_(std::exchange(andere.pfad_, {})) {}

Zieldatei& Zieldatei::operator=(Zieldatei&& andere) noexcept {
    if (this != &andere) {
        aufgeben();
        pfad_ = std::exchange(andere.pfad_, {});
    }
    return *this;
}

Zieldatei::~Zieldatei() {
    aufgeben();
}

void Zieldatei::aufgeben() noexcept {
    if (pfad_.empty())
        return;
    auto& alle = vergebene();
    std::lock_guard const schutz{alle.sperre};
    alle.pfade.erase(pfad_);
    pfad_.clear();
}

std::optional<Zieldatei> Zieldatei::belegen(std::string const& ordner, std::string_view name) {
    if (!nimmtDateien(ordner))
        return std::nullopt;
    auto const punkt = endungsstelle(name);
    auto const stamm = name.substr(0, punkt);
    auto const endung = name.substr(punkt);
    auto const mitSchraegstrich = ordner.ends_with('/') ? ordner : ordner + '/';
    auto& alle = vergebene();
    std::lock_guard const schutz{alle.sperre};
    for (unsigned long long nummer = 1;; ++nummer) {
        auto pfad = nummer == 1 ? mitSchraegstrich + std::string{name}
                                : fmt::format("{}{} {}{}", mitSchraegstrich, stamm, nummer, endung);
        struct stat lage {};
        if (alle.pfade.contains(pfad) || ::lstat(pfad.c_str(), &lage) == 0)
            continue;
        if (errno != ENOENT)
            return std::nullopt;
        alle.pfade.insert(pfad);
        return Zieldatei{std::move(pfad)};
    }
}

std::string Zieldatei::name() const {
    return letzteKomponente(pfad_);
}

} // namespace quillmate::fenster
