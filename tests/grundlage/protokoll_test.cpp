#include "grundlage/protokoll.h"
#include "werkzeug/fehlerausgabe.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

using quillmate::werkzeug::fehlerausgabe;

TEST(Protokoll, LineIsPrefixTextAndLineFeed) {
    EXPECT_EQ(fehlerausgabe([] { quillmate::protokoll("Grüße: 1"); }), "[Quillmate] Grüße: 1\n");
}

TEST(Protokoll, LinesOfDifferentThreadsDoNotMix) {
    auto const text = fehlerausgabe([] {
        std::vector<std::jthread> faeden;
        for (char c = 'a'; c < 'e'; ++c)
            faeden.emplace_back([c] {
                for (int i = 0; i < 100; ++i)
                    quillmate::protokoll(std::string(200, c));
            });
    });
    std::size_t zeilen = 0;
    for (std::size_t i = 0; i < text.size();) {
        auto const ende = text.find('\n', i);
        ASSERT_NE(ende, std::string::npos);
        auto const zeile = text.substr(i, ende - i);
        ASSERT_EQ(zeile.size(), 12 + 200U);
        EXPECT_EQ(zeile, "[Quillmate] " + std::string(200, zeile.back()));
        i = ende + 1;
        ++zeilen;
    }
    EXPECT_EQ(zeilen, 400U);
}

TEST(Protokoll, BrokenUtf8IsRepaired) {
    EXPECT_EQ(fehlerausgabe([] { quillmate::protokoll("a\xFF"); }), "[Quillmate] a\xEF\xBF\xBD\n");
}
