#include "heuristik.h"

#include "grundlage/dateiarten.h"
#include "grundlage/text.h"

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace quillmate::Texterkennung {

std::set<std::string, std::less<>> const bildEndungen = [] {
    std::set<std::string, std::less<>> bilder;
    for (auto const& zeile : belegendungen)
        if (zeile.art == Dateiart::bild)
            bilder.emplace(zeile.endung);
    return bilder;
}();

namespace {

// The patterns are ICU patterns. "|" alternatives are tried in order, and \b is ICU's plain word boundary.
constexpr char const* musterBelegwoerter =
    R"(rechnung|quittung|beleg|kassenbon|bewirtung|zahlungsbestätigung|rechnungsnummer|rechnungsbetrag|ust-id|)"
    R"(ust-idnr|umsatzsteuer|mwst|mehrwertsteuer|invoice|receipt|order\s*confirmation|subtotal|zwischensumme|)"
    R"(gesamtbetrag|zu\s*zahlen|betrag\s*dankend\s*erhalten|steuernummer)";
constexpr char const* musterBetraege = R"((?:€|eur|usd|\$|chf|gbp|£)\s?\d{1,3}(?:[.\s]\d{3})*[.,]\d{2}\b|)"
                                       R"(\b\d{1,3}(?:[.\s]\d{3})*[.,]\d{2}\s?(?:€|eur|usd|\$|chf|gbp|£)|)"
                                       R"(\b\d{1,3}(?:[.\s]\d{3})*[.,]\d{2}\b)";
constexpr char const* musterTausender = R"((\d)[.,\s](?=\d{3}(?!\d)))";

/// Bound on one search, in the matcher's own units of about a millisecond of work. The amount pattern is
/// quadratic in the length of a text of nothing but groups of digits; no receipt is one.
constexpr std::int32_t suchgrenze = 500;

/// A compiled pattern. The pattern itself is shared by all threads, each search makes its own matcher.
class Muster {
public:
    Muster(char const* muster, std::uint32_t flaggen) {
        UErrorCode fehler = U_ZERO_ERROR;
        UParseError stelle{};
        muster_.reset(
            icu::RegexPattern::compile(icu::UnicodeString::fromUTF8(muster), flaggen, stelle, fehler));
        if (U_FAILURE(fehler) || !muster_)
            std::abort(); // The pattern is a constant of this file: a programming error.
    }

    [[nodiscard]] bool trifft(std::string_view text) const {
        auto const eingabe = icu::UnicodeString::fromUTF8(
            icu::StringPiece{text.data(), static_cast<std::int32_t>(text.size())});
        UErrorCode fehler = U_ZERO_ERROR;
        std::unique_ptr<icu::RegexMatcher> const sucher{muster_->matcher(eingabe, fehler)};
        if (U_SUCCESS(fehler))
            sucher->setTimeLimit(suchgrenze, fehler);
        return U_SUCCESS(fehler) && sucher->find(fehler) && U_SUCCESS(fehler);
    }

    [[nodiscard]] std::string ersetzt(std::string_view text, char const* durch) const {
        auto const eingabe = icu::UnicodeString::fromUTF8(
            icu::StringPiece{text.data(), static_cast<std::int32_t>(text.size())});
        UErrorCode fehler = U_ZERO_ERROR;
        std::unique_ptr<icu::RegexMatcher> const sucher{muster_->matcher(eingabe, fehler)};
        if (U_SUCCESS(fehler))
            sucher->setTimeLimit(suchgrenze, fehler);
        if (U_FAILURE(fehler))
            return std::string{text};
        auto const ersetzt = sucher->replaceAll(icu::UnicodeString::fromUTF8(durch), fehler);
        if (U_FAILURE(fehler))
            return std::string{text};
        std::string ergebnis;
        return ersetzt.toUTF8String(ergebnis);
    }

private:
    std::unique_ptr<icu::RegexPattern> muster_;
};

Muster const& belegwoerter() {
    static Muster const muster{musterBelegwoerter, UREGEX_CASE_INSENSITIVE};
    return muster;
}

Muster const& betraege() {
    static Muster const muster{musterBetraege, UREGEX_CASE_INSENSITIVE};
    return muster;
}

Muster const& tausender() {
    static Muster const muster{musterTausender, 0};
    return muster;
}

} // namespace

bool hatBelegwort(std::string_view text) {
    return belegwoerter().trifft(text);
}

bool hatBetrag(std::string_view text) {
    return betraege().trifft(text);
}

bool siehtNachBelegAus(std::string_view text) {
    return hatBelegwort(text) || hatBetrag(text);
}

std::string betragNormalisiert(std::string_view text) {
    return tausender().ersetzt(text, "$1");
}

bool istVerlaesslich(std::string_view text) {
    constexpr std::size_t mindestzeichen = 20;
    constexpr std::size_t immerGeduldet = 4;
    constexpr double anteilGeduldet = 0.01;
    if (zeichenzahl(text, mindestzeichen) < mindestzeichen)
        return false;
    auto const steuerzeichen = static_cast<std::size_t>(std::ranges::count_if(text, [](char c) {
        return static_cast<unsigned char>(c) < 32 && c != '\t' && c != '\n' && c != '\r';
    }));
    // Counting characters is the dear part; it is needed only when there are control characters to weigh.
    if (steuerzeichen <= immerGeduldet)
        return true;
    return static_cast<double>(steuerzeichen) <= static_cast<double>(zeichenzahl(text)) * anteilGeduldet;
}

double lesefaktor(double breite, double hoehe) {
    constexpr double langeSeite = 2000;
    constexpr double kurzeSeite = 1200;
    constexpr double langeSeiteHoechstens = 8000;
    auto const lang = std::max(breite, hoehe);
    auto const kurz = std::min(breite, hoehe);
    if (!(lang > 1 && kurz > 1))
        return 1;
    return std::min(std::max(langeSeite / lang, kurzeSeite / kurz), langeSeiteHoechstens / lang);
}

} // namespace quillmate::Texterkennung
