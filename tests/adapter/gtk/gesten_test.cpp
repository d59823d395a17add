#include "adapter/gtk/gesten.h"

#include <gtest/gtest.h>

namespace quillmate::adapter::gtk {
namespace {

using namespace std::chrono_literals;

TEST(Gesten, AnInputStartsOneThingWithinItsTime) {
    adapter::gtk::Gesten gesten;
    gesten.eingabe(10s);
    auto const nummer = gesten.nummer(10s);
    EXPECT_NE(nummer, 0U);
    EXPECT_EQ(gesten.nummer(12s), nummer);
    EXPECT_TRUE(gesten.verbrauchen(nummer, 12s));
    EXPECT_FALSE(gesten.verbrauchen(nummer, 12s));
    EXPECT_EQ(gesten.nummer(13s), 0U);
    gesten.eingabe(13s);
    EXPECT_NE(gesten.nummer(13s), 0U);
    EXPECT_NE(gesten.nummer(13s), nummer);
}

TEST(Gesten, NothingAndWhatIsOverStartNothing) {
    adapter::gtk::Gesten gesten;
    EXPECT_FALSE(gesten.verbrauchen(0, 1s));
    gesten.eingabe(1s);
    auto const alte = gesten.nummer(1s);
    gesten.eingabe(2s);
    EXPECT_FALSE(gesten.verbrauchen(alte, 2s));
    EXPECT_TRUE(gesten.verbrauchen(gesten.nummer(2s), 2s));
}

TEST(Gesten, AMarkWithoutInputCountsUnlessTheProgramsOwnScriptMadeIt) {
    adapter::gtk::Gesten gesten;
    gesten.eigenesSkript(10s);
    EXPECT_EQ(gesten.nummer(11s), 0U);
    auto const erste = gesten.nummer(12s);
    EXPECT_TRUE(gesten.verbrauchen(erste, 12s));
    EXPECT_EQ(gesten.nummer(12s), 0U) << "one a second";
    EXPECT_TRUE(gesten.verbrauchen(gesten.nummer(13s), 13s));
}

} // namespace
} // namespace quillmate::adapter::gtk
