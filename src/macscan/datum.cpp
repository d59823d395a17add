#include "datum.h"

#include "grundlage/text.h"

#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <chrono>
#include <cstdint>

namespace quillmate::MacScan {

namespace {

std::optional<Ordner::Zeit> nachMuster(icu::UnicodeString const& text, char const* muster) {
    UErrorCode fehler = U_ZERO_ERROR;
    icu::SimpleDateFormat form{icu::UnicodeString::fromUTF8(muster), icu::Locale{"en_US_POSIX"}, fehler};
    if (U_FAILURE(fehler))
        return std::nullopt;
    form.setLenient(false); // else 30 February would be a day in March
    form.adoptTimeZone(icu::TimeZone::getGMT()->clone());
    icu::ParsePosition stelle{0};
    auto const tagInGmt = form.parse(text, stelle);
    if (stelle.getErrorIndex() >= 0 || stelle.getIndex() != text.length())
        return std::nullopt;

    // Where the clocks go forward at midnight, the day begins at one o'clock; only the day must be strict.
    icu::GregorianCalendar gmt{*icu::TimeZone::getGMT(), fehler};
    gmt.setTime(tagInGmt, fehler);
    icu::GregorianCalendar hier{fehler};
    hier.clear();
    hier.set(gmt.get(UCAL_YEAR, fehler), gmt.get(UCAL_MONTH, fehler), gmt.get(UCAL_DATE, fehler));
    auto const millisekunden = hier.getTime(fehler);
    if (U_FAILURE(fehler))
        return std::nullopt;
    // Nanoseconds since 1970 reach from 1677 to 2262. A day beyond lies before or after every file all the
    // same.
    constexpr double grenze = 9.2e12;
    if (millisekunden > grenze)
        return Ordner::Zeit::max();
    if (millisekunden < -grenze)
        return Ordner::Zeit::min();
    return Ordner::Zeit{std::chrono::milliseconds{static_cast<std::int64_t>(millisekunden)}};
}

} // namespace

std::optional<Ordner::Zeit> datumAus(std::optional<std::string> const& text) {
    if (!text || text->empty())
        return std::nullopt;
    auto const anfang = icu::UnicodeString::fromUTF8(ersteZeichen(*text, 10));
    if (auto const datum = nachMuster(anfang, "yyyy-MM-dd"))
        return datum;
    return nachMuster(anfang, "dd.MM.yyyy");
}

} // namespace quillmate::MacScan
