#include "netz/mehrteilig.h"

#include <gtest/gtest.h>

using namespace quillmate::netz;

TEST(Mehrteilig, BoundariesAreRandomUuidsInCapitals) {
    auto const grenze = neueGrenze("grenze-");
    ASSERT_EQ(grenze.size(), 7 + 36U);
    EXPECT_TRUE(grenze.starts_with("grenze-"));
    EXPECT_EQ(grenze.find_first_not_of("0123456789ABCDEF-", 7), std::string::npos);
    EXPECT_EQ(grenze[7 + 14], '4');
    EXPECT_NE(neueGrenze("grenze-"), grenze);
}
