// Pictures that browsers and messengers store under any name: what is inside is told by the first bytes.
#include "leser/motoren/bild.h"
#include "werkzeug/bildformate.h"
#include "werkzeug/vorlagen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace quillmate::Texterkennung {
namespace {

using vorlagen::abstand;
using vorlagen::alsDatei;
using vorlagen::bildformate;
using vorlagen::Bytes;
using vorlagen::eckbild;
using vorlagen::verpackt;

std::optional<leser::motoren::Graubild> lade(Bytes const& bytes) {
    auto const datei = alsDatei(bytes);
    return leser::motoren::bildLaden(leser::motoren::Dateiquelle::ausDeskriptor(datei.get()).value());
}

TEST(Bildformate, WhatIsInsideDecides) {
    for (auto const& format : bildformate()) {
        SCOPED_TRACE(format.name);
        auto const bytes = verpackt(eckbild(), format);
        ASSERT_FALSE(bytes.empty());
        auto const bild = lade(bytes);
        ASSERT_TRUE(bild);
        EXPECT_LT(abstand(*bild, eckbild()), 40); // One bit has no greys between.
        auto const vorlage = eckbild();
        auto const dunkel = std::ranges::min_element(vorlage.punkte) - vorlage.punkte.begin();
        EXPECT_LT(bild->punkte[static_cast<std::size_t>(dunkel)], 110);
        EXPECT_GT(bild->zeile(55)[75], 220);
    }
}

TEST(Bildformate, LargePicturesAreReduced) {
    leser::motoren::Graubild const gross{4000, 3000, std::vector<std::uint8_t>(12'000'000, 128)};
    for (auto const& format : bildformate()) {
        SCOPED_TRACE(format.name);
        auto const bild = lade(verpackt(gross, format));
        ASSERT_TRUE(bild);
        EXPECT_EQ(bild->breite, 2000);
        EXPECT_EQ(bild->hoehe, 1500);
    }
}

TEST(Bildformate, CutOffAndDamagedFilesNeverFail) {
    for (auto const& format : bildformate()) {
        SCOPED_TRACE(format.name);
        auto const bytes = verpackt(eckbild(), format);
        for (std::size_t laenge = 0; laenge < bytes.size(); laenge += 1 + bytes.size() / 200)
            static_cast<void>(lade(bytes.substr(0, laenge)));
        for (std::size_t stelle = 0; stelle < bytes.size(); stelle += 1 + bytes.size() / 400) {
            auto kaputt = bytes;
            kaputt[stelle] = static_cast<char>(kaputt[stelle] ^ 0xFF);
            static_cast<void>(lade(kaputt));
        }
    }
}

TEST(Bildformate, SizesBeyondTheLimitsAreRefused) {
    auto mit = [](Bytes bytes, std::size_t stelle, std::string_view wert) {
        return bytes.replace(stelle, wert.size(), wert);
    };
    auto const bmp = verpackt(eckbild(), bildformate()[0]);
    EXPECT_FALSE(lade(mit(bmp, 18, {"\xFF\xFF\xFF\x7F\xFF\xFF\xFF\x7F", 8})));
    EXPECT_FALSE(lade(mit(bmp, 18, {"\x00\x00\x01\x00\x00\x00\x00\x80", 8})));
    // A WebP without loss that claims 16,383 points either way: a gigabyte.
    Bytes const webp{"RIFF\x16\0\0\0WEBPVP8L\x0A\0\0\0\x2F\xFF\xFF\xFF\x0F\0\0\0\0\0", 30};
    EXPECT_FALSE(lade(webp));
    // A TIFF of 15,000 x 15,000 points in one strip.
    auto const tiff = [] {
        Bytes t{"II*\0\x08\0\0\0\x04\0", 10};
        auto eintrag = [&](char marke, std::uint32_t wert) {
            t += Bytes{marke, '\x01', '\x04', '\0', '\x01', '\0', '\0', '\0'};
            for (int i = 0; i < 4; ++i)
                t += static_cast<char>(wert >> (8U * static_cast<unsigned>(i)));
        };
        eintrag('\x00', 15'000); // Width,
        eintrag('\x01', 15'000); // height,
        eintrag('\x11', 8);      // where the strip is,
        eintrag('\x17', 100);    // and how long.
        return t + Bytes(4, '\0');
    }();
    EXPECT_FALSE(lade(tiff));
}

TEST(Bildformate, GifWithoutAPictureEnds) {
    Bytes gif{"GIF89a\x08\0\x08\0\0\0\0", 13};
    for (int i = 0; i < 50'000; ++i)
        gif += Bytes{"\x21\xFE\x01x\0", 5};
    EXPECT_FALSE(lade(gif));
}

} // namespace
} // namespace quillmate::Texterkennung
