#include "endungsfilter.h"

#include "grundlage/text.h"

#include <algorithm>
#include <cstddef>
#include <optional>

namespace quillmate::Ordner {

namespace {

constexpr std::size_t hoechstlaenge = sizeof(std::uint64_t);

/// Lower-case ASCII characters as one number; nothing when one is not ASCII or there are too many.
std::optional<std::uint64_t> gepackt(std::string_view endung) {
    if (endung.size() > hoechstlaenge)
        return std::nullopt;
    std::uint64_t zahl = 0;
    for (char const zeichen : endung) {
        auto byte = static_cast<unsigned char>(zeichen);
        if (byte > 0x7F)
            return std::nullopt;
        if (byte >= 'A' && byte <= 'Z')
            byte = static_cast<unsigned char>(byte + ('a' - 'A'));
        zahl = zahl << 8U | byte;
    }
    return zahl;
}

} // namespace

Endungsfilter::Endungsfilter(Endungen const& gewuenscht)
    : gewuenscht_(gewuenscht) {
    std::fill(letzteBytes_.begin() + 0x80, letzteBytes_.end(), true);
    for (auto const& endung : gewuenscht) {
        if (endung.empty()) { // wants names without extension, which end in anything
            letzteBytes_.fill(true);
            alleKurz_ = false;
            continue;
        }
        // An extension with a capital letter matches nothing: names are compared in lower case.
        if (kleingeschrieben(endung) != endung)
            continue;
        auto const ende = static_cast<unsigned char>(endung.back());
        letzteBytes_[ende] = true;
        if (ende >= 'a' && ende <= 'z')
            letzteBytes_[static_cast<std::size_t>(ende - ('a' - 'A'))] = true;
        if (auto const zahl = gepackt(endung))
            kurze_.push_back(*zahl);
        else
            alleKurz_ = false;
    }
}

bool Endungsfilter::passtGenau(std::string_view name) const {
    // The last dot, if a short extension follows it. A dot in first place makes a hidden name, not an
    // extension.
    auto const frueheste = name.size() > hoechstlaenge + 1 ? name.size() - hoechstlaenge - 1 : 1;
    for (auto stelle = name.size(); stelle > frueheste;) {
        --stelle;
        if (name[stelle] != '.')
            continue;
        auto const endung = name.substr(stelle + 1);
        if (auto const zahl = gepackt(endung); zahl && !endung.empty())
            return std::ranges::find(kurze_, *zahl) != kurze_.end();
        break;
    }
    // A long extension, one outside ASCII, or none.
    bool const reinesAscii =
        std::ranges::none_of(name, [](char zeichen) { return static_cast<signed char>(zeichen) < 0; });
    if (alleKurz_ && reinesAscii)
        return false;
    return gewuenscht_.contains(dateiendung(name));
}

} // namespace quillmate::Ordner
