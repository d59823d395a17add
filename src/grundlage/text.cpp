#include "text.h"

#include <unicode/brkiter.h>
#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <memory>

namespace quillmate {

namespace {

bool nurAscii(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/// Byte offset behind the first `anzahl` characters, and how many there were.
struct Stelle {
    std::size_t byte;
    std::size_t zeichen;
};

Stelle hinterZeichen(std::string_view text, std::size_t anzahl) {
    // In ASCII the only cluster of two scalars is CR LF, and telling them apart here is some fifty times
    // faster than the general iterator.
    std::size_t byte = 0;
    std::size_t zeichen = 0;
    while (zeichen < anzahl && byte < text.size()) {
        auto const c = static_cast<unsigned char>(text[byte]);
        auto const folgt = byte + 1 < text.size() ? static_cast<unsigned char>(text[byte + 1]) : 0U;
        if (c >= 0x80 || folgt >= 0x80)
            break;
        byte += c == '\r' && folgt == '\n' ? 2 : 1;
        ++zeichen;
    }
    if (zeichen == anzahl || byte == text.size())
        return {byte, zeichen};

    UErrorCode fehler = U_ZERO_ERROR;
    thread_local std::unique_ptr<icu::BreakIterator> const grenzen{
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), fehler)};
    if (U_FAILURE(fehler) || !grenzen)
        return {text.size(), zeichen};
    auto const rest = text.substr(byte);
    UText* const sicht =
        utext_openUTF8(nullptr, rest.data(), static_cast<std::int64_t>(rest.size()), &fehler);
    grenzen->setText(sicht, fehler);
    std::int32_t ende = 0;
    if (U_SUCCESS(fehler)) {
        grenzen->first();
        while (zeichen < anzahl) {
            auto const naechste = grenzen->next();
            if (naechste == icu::BreakIterator::DONE)
                break;
            ende = naechste;
            ++zeichen;
        }
    }
    utext_close(sicht);
    return {byte + static_cast<std::size_t>(ende), zeichen};
}

} // namespace

std::string alsUtf8(std::string_view bytes) {
    if (nurAscii(bytes))
        return std::string{bytes};
    std::string ergebnis;
    ergebnis.reserve(bytes.size());
    auto const* const daten = reinterpret_cast<std::uint8_t const*>(bytes.data());
    auto const laenge = static_cast<std::int64_t>(bytes.size());
    for (std::int64_t i = 0; i < laenge;) {
        auto const anfang = i;
        UChar32 zeichen = 0;
        U8_NEXT(daten, i, laenge, zeichen);
        if (zeichen < 0)
            ergebnis += "\xEF\xBF\xBD";
        else
            ergebnis += bytes.substr(static_cast<std::size_t>(anfang), static_cast<std::size_t>(i - anfang));
    }
    return ergebnis;
}

std::size_t zeichenzahl(std::string_view text, std::size_t hoechstens) {
    return hinterZeichen(text, hoechstens).zeichen;
}

std::string ersteZeichen(std::string_view text, std::size_t anzahl) {
    if (text.size() <= anzahl)
        return std::string{text};
    return std::string{text.substr(0, hinterZeichen(text, anzahl).byte)};
}

std::string kleingeschrieben(std::string_view text) {
    std::string ergebnis;
    if (nurAscii(text)) {
        ergebnis.resize(text.size());
        std::ranges::transform(text, ergebnis.begin(), [](char c) {
            return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        });
        return ergebnis;
    }
    UErrorCode fehler = U_ZERO_ERROR;
    icu::StringByteSink<std::string> senke{&ergebnis};
    icu::CaseMap::utf8ToLower(
        "", 0, icu::StringPiece{text.data(), static_cast<std::int32_t>(text.size())}, senke, nullptr, fehler);
    return U_SUCCESS(fehler) ? ergebnis : std::string{text};
}

std::string zusammengesetzt(std::string_view text) {
    if (nurAscii(text))
        return std::string{text};
    UErrorCode fehler = U_ZERO_ERROR;
    auto const* const nfc = icu::Normalizer2::getNFCInstance(fehler);
    std::string ergebnis;
    icu::StringByteSink<std::string> senke{&ergebnis};
    if (U_SUCCESS(fehler))
        nfc->normalizeUTF8(
            0, icu::StringPiece{text.data(), static_cast<std::int32_t>(text.size())}, senke, nullptr, fehler);
    return U_SUCCESS(fehler) ? ergebnis : std::string{text};
}

bool nurLeerraum(std::string_view text) {
    auto const* const daten = reinterpret_cast<std::uint8_t const*>(text.data());
    auto const laenge = static_cast<std::int64_t>(text.size());
    for (std::int64_t i = 0; i < laenge;) {
        UChar32 zeichen = 0;
        U8_NEXT(daten, i, laenge, zeichen);
        if (zeichen < 0 || !u_isUWhiteSpace(zeichen))
            return false;
    }
    return true;
}

std::string einzeilig(std::string_view text, std::size_t hoechstens) {
    // A character can be of any length; bytes bound what has to be looked at.
    constexpr std::size_t byteJeZeichen = 64;
    auto const anfang = text.substr(0, hoechstens * byteJeZeichen);
    auto const kurz = ersteZeichen(anfang, hoechstens);
    auto ergebnis = alsUtf8(kurz);
    std::ranges::replace_if(
        ergebnis, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == '\x7F'; }, ' ');
    if (kurz.size() < text.size())
        ergebnis += "…";
    return ergebnis;
}

std::string ohneRandleerraum(std::string_view text) {
    auto const* const daten = reinterpret_cast<std::uint8_t const*>(text.data());
    auto const laenge = static_cast<std::int64_t>(text.size());
    std::int64_t anfang = laenge;
    std::int64_t ende = laenge;
    for (std::int64_t i = 0; i < laenge;) {
        auto const hier = i;
        UChar32 zeichen = 0;
        U8_NEXT(daten, i, laenge, zeichen);
        if (zeichen >= 0 && u_isUWhiteSpace(zeichen))
            continue;
        anfang = std::min(anfang, hier);
        ende = i;
    }
    return std::string{
        text.substr(static_cast<std::size_t>(anfang), static_cast<std::size_t>(ende - anfang))};
}

std::string ohneSteuerzeichen(std::string_view text) {
    std::string ergebnis;
    auto const* const daten = reinterpret_cast<std::uint8_t const*>(text.data());
    auto const laenge = static_cast<std::int64_t>(text.size());
    for (std::int64_t i = 0; i < laenge;) {
        auto const anfang = i;
        UChar32 zeichen = 0;
        U8_NEXT(daten, i, laenge, zeichen);
        if (zeichen < 0 || (U_GET_GC_MASK(zeichen) & (U_GC_CC_MASK | U_GC_CF_MASK)) == 0)
            ergebnis += text.substr(static_cast<std::size_t>(anfang), static_cast<std::size_t>(i - anfang));
    }
    return ergebnis;
}

bool hatSteuerzeichen(std::string_view text) {
    return ohneSteuerzeichen(text).size() != text.size();
}

std::string dateiendung(std::string_view dateiname) {
    auto const punkt = dateiname.rfind('.');
    if (punkt == std::string_view::npos || punkt == 0)
        return {};
    return kleingeschrieben(dateiname.substr(punkt + 1));
}

} // namespace quillmate
