#include "macscan/datum.h"

#include <gtest/gtest.h>

#include <ctime>

using quillmate::MacScan::datumAus;

namespace {

std::optional<std::string> tag(std::string const& text) {
    auto const datum = datumAus(text);
    if (!datum)
        return std::nullopt;
    auto const sekunden = std::chrono::duration_cast<std::chrono::seconds>(datum->time_since_epoch()).count();
    std::tm ortszeit{};
    ::localtime_r(&sekunden, &ortszeit);
    std::array<char, 64> puffer{};
    std::strftime(puffer.data(), puffer.size(), "%Y-%m-%d %H:%M:%S", &ortszeit);
    return puffer.data();
}

} // namespace

TEST(DatumAus, FirstTenCharactersCount) {
    EXPECT_EQ(tag("2024-03-01T00:00:00Z"), "2024-03-01 00:00:00");
}

TEST(DatumAus, GermanDatesAreRead) {
    EXPECT_EQ(tag("01.03.2024"), "2024-03-01 00:00:00");
    EXPECT_EQ(tag("01.03.2024 12:30"), "2024-03-01 00:00:00");
}

TEST(DatumAus, AnythingElseIsNoDate) {
    EXPECT_FALSE(datumAus(std::nullopt));
    for (auto const* const text :
         {"", "gestern", "2024/03/01", "03-01-2024", "2024-02-30", "32.01.2024", "2024-13-01", "\xFF\xFE"})
        EXPECT_FALSE(datumAus(text)) << text;
}

TEST(DatumAus, DaysBeyondAllFilesStillLieBeforeOrAfterThem) {
    EXPECT_EQ(datumAus("9999-12-31"), quillmate::Ordner::Zeit::max());
    EXPECT_EQ(datumAus("2263-01-01"), quillmate::Ordner::Zeit::max());
    EXPECT_EQ(datumAus("1500-01-01"), quillmate::Ordner::Zeit::min());
}
