#include "zwischenspeicher.h"

#include "grundlage/datei.h"
#include "grundlage/pruefsumme.h"
#include "grundlage/text.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <utility>

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
    auto const felder = fmt::format("{}|{}|{}|lesart{}", ganzerPfad, groesse, dezimal(geaendert), lesart);
    return hexadezimal(sha256(felder));
}

Zwischenspeicher::Zwischenspeicher(std::string ordner)
    : ordner_(std::move(ordner)) {}

std::string Zwischenspeicher::eintrag(std::string_view schluessel) const {
    return fmt::format("{}/{}.txt", ordner_, schluessel);
}

std::optional<Zwischenspeicher::Eintrag> Zwischenspeicher::ausZwischenspeicher(
    std::string_view schluessel) const {
    auto const inhalt = leseDatei(eintrag(schluessel), hoechstgroesseEintrag);
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
}

} // namespace quillmate::Texterkennung
