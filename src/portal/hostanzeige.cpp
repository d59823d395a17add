#include "hostanzeige.h"

#include "grundlage/text.h"

#include <unicode/uidna.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>

namespace quillmate::portal {

namespace {

/// Letters that no ASCII letter is mistaken for, beyond their own base letter whose mark everybody sees. Left out: thorn
/// and eth (like p and o), the dotless i and all that is no letter.
bool istUnverwechselbar(UChar32 zeichen) {
    if (zeichen < 0x80)
        return true;
    return (zeichen >= 0xDF && zeichen <= 0xFF && zeichen != 0xF0 && zeichen != 0xF7 && zeichen != 0xFD &&
            zeichen != 0xFE && zeichen != 0xFF) ||
           zeichen == 0x153;
}

bool istUnverwechselbar(std::string_view text) {
    auto const laenge = static_cast<std::int32_t>(text.size());
    auto const* const bytes = reinterpret_cast<std::uint8_t const*>(text.data());
    for (std::int32_t stelle = 0; stelle < laenge;) {
        UChar32 zeichen = 0;
        U8_NEXT(bytes, stelle, laenge, zeichen);
        if (zeichen < 0 || !istUnverwechselbar(zeichen))
            return false;
    }
    return true;
}

using Umsetzung =
    std::int32_t (*)(UIDNA const*, char const*, std::int32_t, char*, std::int32_t, UIDNAInfo*, UErrorCode*);

/// Empty when there is no such form.
std::string umgesetzt(Umsetzung wie, UIDNA const* regeln, std::string_view marke) {
    std::array<char, 512> puffer{};
    UIDNAInfo befund = UIDNA_INFO_INITIALIZER;
    UErrorCode fehler = U_ZERO_ERROR;
    auto const laenge =
        wie(regeln, marke.data(), static_cast<std::int32_t>(marke.size()), puffer.data(),
            static_cast<std::int32_t>(puffer.size()), &befund, &fehler);
    if (U_FAILURE(fehler) || befund.errors != 0 || laenge <= 0 ||
        laenge > static_cast<std::int32_t>(puffer.size()))
        return {};
    return {puffer.data(), static_cast<std::size_t>(laenge)};
}

std::string anzeigemarke(UIDNA const* regeln, std::string_view marke) {
    bool const umlaut = marke.starts_with("xn--");
    if (!umlaut && std::ranges::all_of(marke, [](unsigned char byte) { return byte < 0x80; }))
        return std::string{marke};
    auto lesbar = umgesetzt(&uidna_labelToUnicodeUTF8, regeln, marke);
    auto ascii = umgesetzt(&uidna_labelToASCII_UTF8, regeln, lesbar.empty() ? marke : lesbar);
    // Only what leads back to the very same label is shown as that label.
    if (!lesbar.empty() && !ascii.empty() && (!umlaut || ascii == marke) && istUnverwechselbar(lesbar))
        return lesbar;
    if (umlaut || ascii.empty())
        return std::string{marke};
    return ascii;
}

} // namespace

std::string anzeigehost(std::string_view wirt) {
    UErrorCode fehler = U_ZERO_ERROR;
    std::unique_ptr<UIDNA, decltype(&uidna_close)> const regeln{
        uidna_openUTS46(
            UIDNA_CHECK_BIDI | UIDNA_CHECK_CONTEXTJ | UIDNA_NONTRANSITIONAL_TO_ASCII |
                UIDNA_NONTRANSITIONAL_TO_UNICODE,
            &fehler),
        &uidna_close};
    auto const rein = ohneSteuerzeichen(alsUtf8(wirt));
    if (!regeln)
        return rein;
    std::string text;
    for (std::size_t anfang = 0; anfang <= rein.size();) {
        auto const punkt = std::min(rein.find('.', anfang), rein.size());
        text += anzeigemarke(regeln.get(), std::string_view{rein}.substr(anfang, punkt - anfang));
        if (punkt < rein.size())
            text += '.';
        anfang = punkt + 1;
    }
    return text;
}

} // namespace quillmate::portal
