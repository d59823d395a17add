#include "bruecke/json_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using quillmate::Json;
using quillmate::bruecke::jsonText;

TEST(JsonText, ObjectsAreWrittenWithoutBlanksInTheirOrder) {
    EXPECT_EQ(
        jsonText({{"b", 1}, {"a", {true, nullptr, "ü\""}}, {"c", Json::object()}}),
        R"({"b":1,"a":[true,null,"ü\""],"c":{}})");
}

TEST(JsonText, WhatJsonCannotSayGivesNothing) {
    EXPECT_FALSE(jsonText({{"a", "\xFC.pdf"}}));
    EXPECT_FALSE(jsonText({{"a", std::nan("")}}));
    EXPECT_FALSE(jsonText({{"a", {{"b", std::numeric_limits<double>::infinity()}}}}));
    EXPECT_FALSE(jsonText({{"a", Json::binary({1, 2})}}));
    EXPECT_FALSE(jsonText(Json::array({Json(Json::value_t::discarded)})));
    EXPECT_FALSE(jsonText({{"\xFF", 1}}));
}
