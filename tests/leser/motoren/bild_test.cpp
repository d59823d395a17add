#include "leser/motoren/bild.h"
#include "werkzeug/vorlagen.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>

namespace quillmate::Texterkennung {
namespace {

using namespace vorlagen;

std::optional<leser::motoren::Graubild> lade(Bytes const& bytes) {
    auto const datei = alsDatei(bytes);
    return leser::motoren::bildLaden(leser::motoren::Dateiquelle::ausDeskriptor(datei.get()).value());
}

/// Encoders and decoders round; a wrongly turned corner differs by more than 10.
constexpr double rundung = 3.0;

long spitzeMegabyte() {
    rusage nutzung{};
    getrusage(RUSAGE_SELF, &nutzung);
    return nutzung.ru_maxrss / 1024;
}

TEST(Zielgroesse, LongSideFollowsTheScaleRuleAndNeverGrows) {
    EXPECT_EQ(leser::motoren::zielLaenge(4000, 3000), 2000);
    EXPECT_EQ(leser::motoren::zielLaenge(3000, 4000), 2000);
    EXPECT_EQ(leser::motoren::zielLaenge(500, 400), 500);
    EXPECT_EQ(leser::motoren::zielLaenge(2000, 1500), 2000);
    // A long slip: the short side asks for more, so the long one is not brought down to 2000.
    EXPECT_EQ(leser::motoren::zielLaenge(2000, 8000), 4800);
    EXPECT_EQ(leser::motoren::zielLaenge(1000, 9000), 8000);
    EXPECT_EQ(leser::motoren::zielLaenge(1, 5000), 5000); // No factor for a picture without a short side.
}

TEST(Zielgroesse, ProportionsAreKept) {
    auto const mass = leser::motoren::zielmass(4032, 3024);
    EXPECT_EQ(mass.breite, 2000);
    EXPECT_EQ(mass.hoehe, 1500);
    auto const faden = leser::motoren::zielmass(2, 60'000);
    EXPECT_EQ(faden.breite, 1);
    EXPECT_EQ(faden.hoehe, 8000);
}

TEST(Bild, JpegIsDecodedToGrey) {
    auto const bild = lade(jpeg(eckbild()));
    ASSERT_TRUE(bild);
    EXPECT_LT(abstand(*bild, eckbild()), rundung);
}

TEST(Bild, ProgressiveJpegIsDecoded) {
    auto const bild = lade(jpeg(eckbild(), std::nullopt, Jpegart::fortschreitend));
    ASSERT_TRUE(bild);
    EXPECT_LT(abstand(*bild, eckbild()), rundung);
}

TEST(Bild, EveryExifOrientationOfAJpegIsAppliedOnce) {
    for (int code = 1; code <= 8; ++code) {
        auto const bild = lade(jpeg(eckbild(), code));
        ASSERT_TRUE(bild);
        EXPECT_LT(abstand(*bild, leser::motoren::ausgerichtet(eckbild(), code)), rundung) << code;
    }
}

TEST(Bild, EveryExifOrientationOfAPngIsAppliedOnce) {
    for (int code = 1; code <= 8; ++code) {
        auto const bild = lade(png(eckbild(), Pngart::grau, code));
        ASSERT_TRUE(bild);
        EXPECT_EQ(bild->punkte, leser::motoren::ausgerichtet(eckbild(), code).punkte) << code;
    }
}

TEST(Bild, EveryKindOfPngIsDecodedToGreyOverWhite) {
    for (auto const art :
         {Pngart::grau, Pngart::grau16, Pngart::rgb, Pngart::rgba, Pngart::palette, Pngart::verschraenkt}) {
        auto const bild = lade(png(eckbild(), art));
        ASSERT_TRUE(bild) << static_cast<int>(art);
        EXPECT_EQ(bild->punkte, eckbild().punkte) << static_cast<int>(art);
    }
}

TEST(Bild, HeicIsDecodedAndTurnedAsItsBoxesSay) {
    for (int code = 1; code <= 8; ++code) {
        auto const bild = lade(heic(eckbild(), code));
        ASSERT_TRUE(bild) << code;
        EXPECT_LT(abstand(*bild, leser::motoren::ausgerichtet(eckbild(), code)), rundung) << code;
    }
}

TEST(Bild, CroppedHeicIsDecodedToItsCrop) {
    // The encoder stores odd sizes as an even picture with a crop box.
    leser::motoren::Graubild const ungerade{75, 51, std::vector<std::uint8_t>(75U * 51U, 90)};
    auto const bytes = heic(ungerade);
    ASSERT_NE(bytes.find("clap"), Bytes::npos);
    auto const bild = lade(bytes);
    ASSERT_TRUE(bild);
    EXPECT_LT(abstand(*bild, ungerade), rundung);
}

leser::motoren::Graubild grossesBild() {
    leser::motoren::Graubild bild{4200, 3150, std::vector<std::uint8_t>(4200U * 3150U, 255)};
    for (int y = 300; y < 900; ++y)
        for (int x = 300; x < 1500; ++x)
            bild.punkte[static_cast<std::size_t>(y) * 4200U + static_cast<std::size_t>(x)] = 0;
    return bild;
}

TEST(Bild, LargePicturesAreReducedToTheTarget) {
    auto const gross = grossesBild();
    for (auto const& bytes : {jpeg(gross), png(gross), png(gross, Pngart::verschraenkt), heic(gross)}) {
        auto const bild = lade(bytes);
        ASSERT_TRUE(bild);
        ASSERT_EQ(bild->breite, 2000);
        ASSERT_EQ(bild->hoehe, 1500);
        auto punkt = [&](int x, int y) {
            return bild->zeile(y)[static_cast<std::size_t>(x)];
        };
        EXPECT_LT(punkt(400, 250), 20);
        EXPECT_GT(punkt(900, 250), 235);
        EXPECT_GT(punkt(400, 600), 235);
        EXPECT_GT(punkt(100, 100), 235);
    }
}

TEST(Bild, ClaimedSizeBeyondTheBudgetIsRefusedBeforeMemoryIsTaken) {
    auto riesig = jpeg(eckbild());
    auto const sof = riesig.find("\xFF\xC0");
    ASSERT_NE(sof, Bytes::npos);
    riesig.replace(sof + 5, 4, "\xEA\x60\xEA\x60"); // 60000 x 60000
    auto const vorher = spitzeMegabyte();
    EXPECT_FALSE(lade(riesig));
    EXPECT_FALSE(lade(pngKopf(60'000, 60'000)));
    EXPECT_FALSE(lade(pngKopf(0x7FFF'FFFF, 1)));
    EXPECT_FALSE(lade(pngKopf(0, 0)));
    EXPECT_LT(spitzeMegabyte() - vorher, 50);
}

TEST(Bild, ProgressiveJpegThatWouldNeedTooMuchMemoryIsRefused) {
    auto riesig = jpeg(eckbild(), std::nullopt, Jpegart::fortschreitend);
    auto const sof = riesig.find("\xFF\xC2");
    ASSERT_NE(sof, Bytes::npos);
    riesig.replace(
        sof + 5, 4, "\x32\xC8\x32\xC8"); // 13000 x 13000: within the budget of pixels, not of memory.
    auto const vorher = spitzeMegabyte();
    EXPECT_FALSE(lade(riesig));
    EXPECT_LT(spitzeMegabyte() - vorher, 50);
}

TEST(Bild, LargeClaimWithoutDataCostsLittleMemory) {
    auto riesig = jpeg(eckbild());
    auto const sof = riesig.find("\xFF\xC0");
    ASSERT_NE(sof, Bytes::npos);
    riesig.replace(
        sof + 5, 4, "\x27\x10\x27\x10"); // 10000 x 10000, within the budget: the missing part is filled up.
    auto const vorher = spitzeMegabyte();
    auto const bild = lade(riesig);
    ASSERT_TRUE(bild);
    EXPECT_EQ(bild->breite, 2000);
    EXPECT_LT(spitzeMegabyte() - vorher, 50);
}

Bytes app1(Bytes const& inhalt) {
    auto const laenge = inhalt.size() + 2;
    return Bytes{"\xFF\xE1"} + static_cast<char>(laenge >> 8U) + static_cast<char>(laenge & 0xFFU) + inhalt;
}

TEST(Bild, JpegFullOfSegmentsCostsLittleMemory) {
    using namespace std::string_literals;
    auto bytes = jpeg(eckbild(), 6);
    Bytes segmente;
    for (int i = 0; i < 2000; ++i)
        segmente += app1("Exif\0\0"s + Bytes(65'000, 'x'));
    bytes.insert(bytes.find("\xFF\xDB"), segmente); // Behind the orientation, in front of the picture.
    auto const datei = alsDatei(bytes);
    auto const vorher = spitzeMegabyte();
    auto const bild =
        leser::motoren::bildLaden(leser::motoren::Dateiquelle::ausDeskriptor(datei.get()).value());
    ASSERT_TRUE(bild);
    EXPECT_LT(abstand(*bild, leser::motoren::ausgerichtet(eckbild(), 6)), rundung);
    EXPECT_LT(spitzeMegabyte() - vorher, 50);
}

TEST(Bild, OrientationBehindAnotherSegmentOfItsKindIsFound) {
    auto bytes = jpeg(eckbild(), 6);
    bytes.insert(bytes.find("\xFF\xE1"), app1("http://ns.adobe.com/xap/1.0/"));
    auto const bild = lade(bytes);
    ASSERT_TRUE(bild);
    EXPECT_LT(abstand(*bild, leser::motoren::ausgerichtet(eckbild(), 6)), rundung);
}

TEST(Bild, SegmentThatIsCutOffEndsTheFile) {
    auto const ganz = jpeg(eckbild(), 6);
    auto const anfang = ganz.find("\xFF\xE1");
    for (std::size_t laenge = anfang; laenge < anfang + 30; ++laenge)
        EXPECT_FALSE(lade(ganz.substr(0, laenge))) << laenge;
    for (auto const* klein : {"\0\0", "\0\1", "\0\2", "\0\7"}) {
        auto kaputt = ganz;
        kaputt.replace(anfang + 2, 2, klein, 2);
        static_cast<void>(lade(kaputt));
    }
}

TEST(Bild, OrientationBehindThePictureOfAPngIsApplied) {
    auto bytes = png(eckbild(), Pngart::grau, 6);
    auto const anfang = bytes.find("eXIf") - 4;
    auto const laenge = exifDaten(6, true).size() + 12;
    auto const marke = bytes.substr(anfang, laenge);
    bytes.erase(anfang, laenge).insert(bytes.find("IEND") - 4, marke);
    ASSERT_LT(bytes.find("IDAT"), bytes.find("eXIf"));
    auto const bild = lade(bytes);
    ASSERT_TRUE(bild);
    EXPECT_EQ(bild->punkte, leser::motoren::ausgerichtet(eckbild(), 6).punkte);
    // Cut off behind the picture, what is there still counts.
    EXPECT_TRUE(lade(bytes.substr(0, bytes.find("eXIf"))));
}

TEST(Bild, CutOffFilesGiveWhatIsThereAndNeverFail) {
    auto const bild = schriftbild(beleg());
    for (auto const& ganz :
         {jpeg(bild), jpeg(bild, std::nullopt, Jpegart::fortschreitend), png(bild),
          png(bild, Pngart::verschraenkt), heic(bild)})
        for (std::size_t teil = 0; teil < 24; ++teil)
            if (auto const halb = lade(ganz.substr(0, ganz.size() * teil / 24))) {
                EXPECT_EQ(halb->breite, bild.breite);
                EXPECT_EQ(halb->hoehe, bild.hoehe);
            }
}

TEST(Bild, UpperHalfOfACutOffPictureIsThere) {
    auto const bild = grossesBild();
    for (auto const& ganz : {jpeg(bild), png(bild, Pngart::rgb)}) {
        auto const halb = lade(ganz.substr(0, ganz.size() * 3 / 4));
        ASSERT_TRUE(halb);
        EXPECT_LT(halb->zeile(250)[400], 20);
    }
}

TEST(Bild, DamagedBytesNeverFail) {
    auto const bild = schriftbild(beleg());
    unsigned zufall = 12345;
    for (auto const& ganz : {jpeg(bild, 6), png(bild, Pngart::rgba, 6), heic(bild, 6)})
        for (int lauf = 0; lauf < 20; ++lauf) {
            auto kaputt = ganz;
            for (int i = 0; i < 8; ++i) {
                zufall = zufall * 1103515245U + 12345U;
                // Headers are hit as often as the long middle.
                auto const bereich = i % 2 == 0 ? std::min<std::size_t>(kaputt.size(), 600) : kaputt.size();
                kaputt[(zufall >> 8U) % bereich] = static_cast<char>(zufall >> 16U);
            }
            static_cast<void>(lade(kaputt));
        }
}

TEST(Bild, ForeignContentIsNoPicture) {
    EXPECT_FALSE(lade(""));
    EXPECT_FALSE(lade("x"));
    EXPECT_FALSE(lade("GIF89a" + std::string(100, '\0')));
    EXPECT_FALSE(lade(pdf({{.inhalt = zeilen(beleg())}})));
    EXPECT_FALSE(lade(std::string(
        "\0\0\0\x18"
        "ftypheic",
        12)));
}

TEST(Bild, FileBeyondTheSizeLimitIsNotDecoded) {
    auto const datei = alsDatei(jpeg(eckbild()));
    ASSERT_EQ(ftruncate(datei.get(), leser::motoren::hoechsteBilddatei + 1), 0);
    EXPECT_FALSE(leser::motoren::bildLaden(leser::motoren::Dateiquelle::ausDeskriptor(datei.get()).value()));
}

} // namespace
} // namespace quillmate::Texterkennung
