#include "grundlage/text.h"
#include "leser/motoren/bild.h"
#include "leser/motoren/erkennen.h"
#include "leser/motoren/lage.h"
#include "leser/motoren/leser_im_prozess.h"
#include "leser/motoren/pdf.h"
#include "texterkennung/heuristik.h"
#include "werkzeug/faeden.h"
#include "werkzeug/vorlagen.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

namespace quillmate::Texterkennung {
namespace {

using namespace vorlagen;
using ::testing::HasSubstr;
namespace fs = std::filesystem;

/// Says the same about every picture, and counts.
struct Zaehlwerk {
    std::atomic<int> gebaut{0};
    std::atomic<int> gelesen{0};
    std::optional<std::string> antwort;
    int felder{30};
    bool wirft{false};
    bool wirftAnderes{false};
};

class ZaehlenderErkenner final : public leser::motoren::Schrifterkenner {
public:
    explicit ZaehlenderErkenner(Zaehlwerk& werk)
        : werk_(werk) {
        ++werk_.gebaut;
    }
    void auflegen(leser::motoren::Graubild /*bild*/) override {}
    std::optional<int> textfelder() override { return werk_.felder; }
    Gelesen lesen(
        leser::motoren::Ausrichtung /*ausrichtung*/, leser::motoren::Erkennungsende /*ende*/) override {
        ++werk_.gelesen;
        if (werk_.wirftAnderes)
            throw std::runtime_error{"kaputt"};
        if (werk_.wirft)
            throw std::bad_alloc{};
        return {werk_.antwort, werk_.antwort ? 0.9F : 0.0F};
    }
    void vergessen() noexcept override {}

private:
    Zaehlwerk& werk_;
};

class LeserRegeln : public ::testing::Test {
protected:
    Texterkennung::Lesung lies(Bytes const& bytes, Texterkennung::Dateiart art) {
        auto const datei = alsDatei(bytes);
        return leser.lesen(datei.get(), art);
    }
    Zaehlwerk werk;
    leser::motoren::LeserImProzess leser{[this] {
        return std::make_unique<ZaehlenderErkenner>(werk);
    }};
};

Bytes pdfMitText(std::vector<std::string> const& texte) {
    return pdf({{.inhalt = zeilen(texte)}});
}

TEST_F(LeserRegeln, ReliableTextLayerIsTheResultWithoutRecognition) {
    werk.antwort = "Rechnung aus dem Bild";
    auto const lesung = lies(pdfMitText({"Rechnung Nummer 4711 vom 1. Mai"}), Texterkennung::Dateiart::pdf);
    EXPECT_EQ(lesung.text, "Rechnung Nummer 4711 vom 1. Mai\n");
    EXPECT_EQ(werk.gebaut, 0);
}

TEST_F(LeserRegeln, WhitespaceOnlyPagesAreReadByRecognition) {
    werk.antwort = "Rechnung aus dem Bild";
    auto const leer = zeilen({"          ", "        ", "        "});
    EXPECT_EQ(
        lies(
            pdf({{.inhalt = leer}, {.inhalt = leer}, {.inhalt = leer}, {.inhalt = zeilen(beleg())}}),
            Texterkennung::Dateiart::pdf)
            .text,
        "Rechnung aus dem Bild");
}

TEST_F(LeserRegeln, ShortTextLayerIsReplacedByRecognisedText) {
    werk.antwort = "Rechnung aus dem Bild";
    EXPECT_EQ(lies(pdfMitText({"Seite 1"}), Texterkennung::Dateiart::pdf).text, "Rechnung aus dem Bild");
}

TEST_F(LeserRegeln, UnreliableTextLayerIsKeptWhenNothingIsRecognised) {
    auto const bytes = pdf({{.inhalt = zeilen({"12,50 " + std::string(30, '!')}, "F3")}});
    auto const lesung = lies(bytes, Texterkennung::Dateiart::pdf);
    EXPECT_EQ(werk.gelesen, 1);
    ASSERT_TRUE(lesung.text);
    EXPECT_FALSE(Texterkennung::istVerlaesslich(*lesung.text));
    werk.antwort = "Rechnung aus dem Bild";
    EXPECT_EQ(lies(bytes, Texterkennung::Dateiart::pdf).text, "Rechnung aus dem Bild");
}

TEST_F(LeserRegeln, PageThatIsNotDrawnKeepsItsShortTextLayer) {
    werk.antwort = "Rechnung aus dem Bild";
    auto const bytes = pdf({{.inhalt = "", .kasten = "[0 0 1 500]"}, {.inhalt = zeilen({"Seite 2"})}});
    EXPECT_EQ(lies(bytes, Texterkennung::Dateiart::pdf).text, "Seite 2\n");
    EXPECT_EQ(werk.gelesen, 0);
}

TEST_F(LeserRegeln, PictureWithFewTextRegionsHasNoText) {
    werk.antwort = "Rechnung aus dem Bild";
    werk.felder = 2;
    auto const lesung = lies(png(eckbild()), Texterkennung::Dateiart::bild);
    EXPECT_EQ(lesung.art, Texterkennung::Lesung::Art::gelesen);
    EXPECT_EQ(lesung.text, std::nullopt);
    EXPECT_EQ(werk.gelesen, 0);
}

TEST_F(LeserRegeln, UnreadableFilesHaveNoText) {
    werk.antwort = "Rechnung aus dem Bild";
    for (auto const art : {Texterkennung::Dateiart::pdf, Texterkennung::Dateiart::bild}) {
        auto const lesung = lies("weder noch", art);
        EXPECT_EQ(lesung.art, Texterkennung::Lesung::Art::gelesen);
        EXPECT_EQ(lesung.text, std::nullopt);
    }
    EXPECT_EQ(werk.gebaut, 0);
}

TEST_F(LeserRegeln, AReadErrorIsNoFindingAboutTheFile) {
    EXPECT_EQ(leser.lesen(-1, Texterkennung::Dateiart::pdf).art, Texterkennung::Lesung::Art::gestoert);
    // Its size can be told, its bytes cannot be had.
    auto const ganze = alsDatei(pdfMitText({"Seite 1"}));
    auto const pfad = "/proc/self/fd/" + std::to_string(ganze.get());
    Deskriptor const nurSchreiben{::open(pfad.c_str(), O_WRONLY | O_CLOEXEC)};
    for (auto const art : {Texterkennung::Dateiart::pdf, Texterkennung::Dateiart::bild}) {
        auto const lesung = leser.lesen(nurSchreiben.get(), art);
        EXPECT_EQ(lesung.art, Texterkennung::Lesung::Art::gestoert);
        EXPECT_EQ(lesung.text, std::nullopt);
    }
}

TEST_F(LeserRegeln, TextIsCutAtTheLongestLength) {
    std::string lang = "Rechnung ";
    while (zeichenzahl(lang) < Texterkennung::hoechstensZeichen + 1)
        lang += "ü";
    werk.antwort = lang;
    auto const text = lies(png(eckbild()), Texterkennung::Dateiart::bild).text;
    ASSERT_TRUE(text);
    EXPECT_EQ(zeichenzahl(*text), Texterkennung::hoechstensZeichen);
    EXPECT_TRUE(lang.starts_with(*text));
}

TEST_F(LeserRegeln, EnginesAreReused) {
    werk.antwort = "Rechnung";
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(lies(png(eckbild()), Texterkennung::Dateiart::bild).text, "Rechnung");
    EXPECT_EQ(werk.gebaut, 1);
}

TEST_F(LeserRegeln, EngineWithoutMemoryIsReplacedAndItsFileHasNoTextYet) {
    werk.wirft = true;
    auto const lesung = lies(png(eckbild()), Texterkennung::Dateiart::bild);
    EXPECT_EQ(lesung.art, Texterkennung::Lesung::Art::ohneMittel);
    EXPECT_EQ(lesung.text, std::nullopt);
    werk.wirft = false;
    werk.antwort = "Rechnung";
    EXPECT_EQ(lies(png(eckbild()), Texterkennung::Dateiart::bild).text, "Rechnung");
    EXPECT_EQ(werk.gebaut, 2);
}

TEST_F(LeserRegeln, RecognitionThatFailsKeepsTheTextLayer) {
    werk.wirft = true;
    auto const lesung = lies(pdfMitText({"Seite 1"}), Texterkennung::Dateiart::pdf);
    EXPECT_EQ(lesung.art, Texterkennung::Lesung::Art::ohneMittel);
    EXPECT_EQ(lesung.text, "Seite 1\n");
    werk.wirftAnderes = true;
    auto const andere = lies(pdfMitText({"Seite 1"}), Texterkennung::Dateiart::pdf);
    EXPECT_EQ(andere.art, Texterkennung::Lesung::Art::gelesen);
    EXPECT_EQ(andere.text, "Seite 1\n");
}

TEST(LeserOhneMotor, TextLayerThatRecognitionWouldReplaceIsReturned) {
    leser::motoren::LeserImProzess leser{std::vector<std::string>{"/nirgendwo"}};
    auto const kurz = alsDatei(pdfMitText({"Seite 1"}));
    auto const lesung = leser.lesen(kurz.get(), Texterkennung::Dateiart::pdf);
    EXPECT_EQ(lesung.art, Texterkennung::Lesung::Art::ohneMotor);
    EXPECT_EQ(lesung.text, "Seite 1\n");
}

TEST(LeserOhneMotor, FilesThatNeedRecognitionSaySo) {
    leser::motoren::LeserImProzess leser{std::vector<std::string>{"/nirgendwo"}};
    auto const bild = alsDatei(png(eckbild()));
    EXPECT_EQ(
        leser.lesen(bild.get(), Texterkennung::Dateiart::bild).art, Texterkennung::Lesung::Art::ohneMotor);
    auto const scan = alsDatei(pdf({{.inhalt = "400 0 0 300 0 0 cm /B Do", .bild = eckbild()}}));
    EXPECT_EQ(
        leser.lesen(scan.get(), Texterkennung::Dateiart::pdf).art, Texterkennung::Lesung::Art::ohneMotor);
    auto const kurz = alsDatei(pdfMitText({"Seite 1"}));
    EXPECT_EQ(
        leser.lesen(kurz.get(), Texterkennung::Dateiart::pdf).art, Texterkennung::Lesung::Art::ohneMotor);
}

TEST(LeserOhneMotor, FilesThatNeedNoRecognitionAreRead) {
    leser::motoren::LeserImProzess leser{std::vector<std::string>{"/nirgendwo"}};
    leser.vorwaermen();
    auto const mitText = alsDatei(pdfMitText(beleg()));
    auto const lesung = leser.lesen(mitText.get(), Texterkennung::Dateiart::pdf);
    EXPECT_EQ(lesung.art, Texterkennung::Lesung::Art::gelesen);
    EXPECT_THAT(lesung.text.value_or(""), HasSubstr("4711"));
    auto const kaputt = alsDatei("kein Bild");
    EXPECT_EQ(
        leser.lesen(kaputt.get(), Texterkennung::Dateiart::bild).art, Texterkennung::Lesung::Art::gelesen);
}

TEST(LeserOhneMotor, BrokenLanguageDataIsNoEngine) {
    auto const ordner = fs::temp_directory_path() / ("quillmate-sprachdaten-" + std::to_string(getpid()));
    fs::create_directories(ordner);
    std::ofstream{ordner / "deu.traineddata"} << "kein Sprachmodell";
    testing::internal::CaptureStderr();
    leser::motoren::LeserImProzess leser{std::vector<std::string>{ordner.string()}};
    auto const bild = alsDatei(png(eckbild()));
    EXPECT_EQ(
        leser.lesen(bild.get(), Texterkennung::Dateiart::bild).art, Texterkennung::Lesung::Art::ohneMotor);
    EXPECT_EQ(
        leser.lesen(bild.get(), Texterkennung::Dateiart::bild).art, Texterkennung::Lesung::Art::ohneMotor);
    auto const log = testing::internal::GetCapturedStderr();
    EXPECT_THAT(log, HasSubstr("tesseract-ocr-eng"));
    EXPECT_THAT(log, HasSubstr("unbrauchbar"));
    EXPECT_EQ(log.find("unbrauchbar"), log.rfind("unbrauchbar")); // Said once.
    fs::remove_all(ordner);
}

TEST(LeserOhneMotor, MissingLanguageDataIsSaidOnceWithThePackages) {
    testing::internal::CaptureStderr();
    leser::motoren::LeserImProzess leser{std::vector<std::string>{"/nirgendwo"}};
    auto const bild = alsDatei(png(eckbild()));
    for (int i = 0; i < 3; ++i)
        static_cast<void>(leser.lesen(bild.get(), Texterkennung::Dateiart::bild));
    auto const log = testing::internal::GetCapturedStderr();
    EXPECT_THAT(log, HasSubstr("tesseract-ocr-deu"));
    EXPECT_THAT(log, HasSubstr("tesseract-ocr-eng"));
    EXPECT_EQ(log.find('\n'), log.size() - 1);
}

TEST(Sprachdaten, FolderWithBothLanguagesIsPreferred) {
    auto const wurzel = fs::temp_directory_path() / ("quillmate-sprachen-" + std::to_string(getpid()));
    auto anlegen = [&](std::string const& ordner, std::vector<std::string> const& sprachen) {
        fs::create_directories(wurzel / ordner);
        for (auto const& sprache : sprachen)
            std::ofstream{wurzel / ordner / (sprache + ".traineddata")} << "x";
        return (wurzel / ordner).string();
    };
    auto const englisch = anlegen("a", {"eng"});
    auto const deutsch = anlegen("b", {"deu", "osd"});
    auto const beide = anlegen("c", {"deu", "eng"});
    auto suche = [](std::vector<std::string> const& ordner) {
        return leser::motoren::sucheSprachdaten(ordner);
    };
    EXPECT_EQ(suche({englisch, deutsch, beide}).value().ordner, beide);
    EXPECT_EQ(suche({englisch, deutsch, beide}).value().sprachen, "deu+eng");
    EXPECT_EQ(suche({englisch, deutsch}).value().ordner, deutsch);
    EXPECT_EQ(suche({englisch, deutsch}).value().sprachen, "deu");
    EXPECT_EQ(suche({"/nirgendwo", englisch}).value().sprachen, "eng");
    EXPECT_FALSE(suche({"/nirgendwo"}));
    EXPECT_FALSE(suche({}));
    fs::remove_all(wurzel);
}

TEST(Sprachdaten, EnvironmentComesFirst) {
    auto const* vorher = std::getenv("TESSDATA_PREFIX");
    std::optional<std::string> const alt = vorher ? std::optional<std::string>{vorher} : std::nullopt;
    setenv("TESSDATA_PREFIX", "/eigene", 1);
    auto const ordner = leser::motoren::ueblicheSprachordner();
    if (alt)
        setenv("TESSDATA_PREFIX", alt->c_str(), 1);
    else
        unsetenv("TESSDATA_PREFIX");
    ASSERT_GE(ordner.size(), 3U);
    EXPECT_EQ(ordner[0], "/eigene");
    EXPECT_EQ(ordner[1], "/eigene/tessdata");
}

/// The real engine; made once, because loading it takes a while.
class EchterLeser : public ::testing::Test {
protected:
    static void SetUpTestSuite() { leser_ = new leser::motoren::LeserImProzess{}; }
    static void TearDownTestSuite() { delete std::exchange(leser_, nullptr); }
    static std::string lies(Bytes const& bytes, Texterkennung::Dateiart art) {
        auto const datei = alsDatei(bytes);
        return leser_->lesen(datei.get(), art).text.value_or("");
    }
    static leser::motoren::LeserImProzess* leser_;
};
leser::motoren::LeserImProzess* EchterLeser::leser_ = nullptr;

void istBeleg(std::string const& text) {
    EXPECT_THAT(text, HasSubstr("Rechnung"));
    EXPECT_THAT(text, HasSubstr("4711"));
    EXPECT_THAT(text, HasSubstr("12,50"));
}

/// A scan: the page is nothing but a picture.
Bytes scan(leser::motoren::Graubild const& bild, std::string const& zusatz = "") {
    return pdf({{.inhalt = "400 0 0 300 0 0 cm /B Do", .zusatz = zusatz, .bild = bild}});
}

TEST_F(EchterLeser, ScanIsRead) {
    istBeleg(lies(scan(schriftbild(beleg())), Texterkennung::Dateiart::pdf));
}

TEST_F(EchterLeser, LinesAreJoinedByLineFeeds) {
    auto const text = lies(png(schriftbild(beleg())), Texterkennung::Dateiart::bild);
    EXPECT_EQ(std::ranges::count(text, '\n'), 4) << text;
}

TEST_F(EchterLeser, UpsideDownScanIsReadByTheSecondPass) {
    istBeleg(lies(scan(leser::motoren::ausgerichtet(schriftbild(beleg()), 3)), Texterkennung::Dateiart::pdf));
    istBeleg(lies(png(leser::motoren::ausgerichtet(schriftbild(beleg()), 3)), Texterkennung::Dateiart::bild));
}

TEST_F(EchterLeser, TurnedPageOfAScanIsRead) {
    istBeleg(lies(scan(schriftbild(beleg()), "/Rotate 180"), Texterkennung::Dateiart::pdf));
}

TEST_F(EchterLeser, EveryExifOrientationReadsTheSame) {
    // The picture is stored the way that its code turns back: 6 and 8 undo each other, the rest themselves.
    for (int code = 1; code <= 8; ++code) {
        int const gegen = code == 6 ? 8 : code == 8 ? 6 : code;
        SCOPED_TRACE(code);
        istBeleg(lies(
            jpeg(leser::motoren::ausgerichtet(schriftbild(beleg()), gegen), code),
            Texterkennung::Dateiart::bild));
    }
}

TEST_F(EchterLeser, TurnedHeicIsRead) {
    istBeleg(
        lies(heic(leser::motoren::ausgerichtet(schriftbild(beleg()), 8), 6), Texterkennung::Dateiart::bild));
}

TEST_F(EchterLeser, UnmarkedQuarterTurnsAndSkewReadTheSame) {
    for (int const code : {6, 8}) {
        SCOPED_TRACE(code);
        istBeleg(lies(
            png(leser::motoren::ausgerichtet(schriftbild(beleg()), code)), Texterkennung::Dateiart::bild));
    }
    for (double const neigung : {-0.176, 0.176}) { // Ten degrees.
        SCOPED_TRACE(neigung);
        istBeleg(lies(
            png(leser::motoren::begradigt(schriftbild(beleg()), neigung)), Texterkennung::Dateiart::bild));
    }
}

TEST_F(EchterLeser, SmallPrintIsRead) {
    auto const gross = schriftbild(beleg());
    leser::motoren::Verkleinerer klein{gross.breite, gross.hoehe, 260, 195};
    for (int y = 0; y < gross.hoehe; ++y)
        klein.zeile(gross.zeile(y));
    istBeleg(lies(png(std::move(klein).fertig()), Texterkennung::Dateiart::bild));
}

TEST_F(EchterLeser, UmlautsAreRead) {
    auto const text = lies(
        png(schriftbild(
            {"Bestellung f\\374r Frau M\\374ller", "Geb\\374hren und \\304pfel", "Quittung Nummer 17",
             "Stra\\337e 5"})),
        Texterkennung::Dateiart::bild);
    EXPECT_THAT(text, HasSubstr("Müller"));
    EXPECT_THAT(text, HasSubstr("Gebühren"));
}

TEST_F(EchterLeser, BlankPictureHasNoText) {
    EXPECT_EQ(
        lies(
            png(leser::motoren::Graubild{600, 800, std::vector<std::uint8_t>(600U * 800U, 255)}),
            Texterkennung::Dateiart::bild),
        "");
    EXPECT_EQ(lies(png(leser::motoren::Graubild{1, 1, {0}}), Texterkennung::Dateiart::bild), "");
}

TEST_F(EchterLeser, TwoLinesAreTooFewToBeReadAtAll) {
    EXPECT_EQ(
        lies(png(schriftbild({"Rechnung Nummer 4711", "Gesamt 12,50 EUR"})), Texterkennung::Dateiart::bild),
        "");
}

TEST_F(EchterLeser, ConfidenceOfCleanPrintIsHighAndOfNoTextZero) {
    auto const motor = leser::motoren::TesseractErkenner::laden(
        leser::motoren::sucheSprachdaten(leser::motoren::ueblicheSprachordner()).value());
    ASSERT_TRUE(motor);
    motor->auflegen(schriftbild(beleg()));
    auto const gelesen =
        motor->lesen(leser::motoren::Ausrichtung::aufrecht, leser::motoren::Erkennungsende::max());
    EXPECT_GT(gelesen.zuversicht, 0.7F);
    EXPECT_LE(gelesen.zuversicht, 1.0F);
    motor->auflegen({300, 300, std::vector<std::uint8_t>(90'000, 255)});
    auto const nichts =
        motor->lesen(leser::motoren::Ausrichtung::aufrecht, leser::motoren::Erkennungsende::max());
    EXPECT_EQ(nichts.text, std::nullopt);
    EXPECT_EQ(nichts.zuversicht, 0.0F);
}

TEST_F(EchterLeser, ReadingAfterTheLayoutPassGivesTheSameText) {
    auto const motor = leser::motoren::TesseractErkenner::laden(
        leser::motoren::sucheSprachdaten(leser::motoren::ueblicheSprachordner()).value());
    ASSERT_TRUE(motor);
    motor->auflegen(schriftbild(beleg()));
    auto const ohne =
        motor->lesen(leser::motoren::Ausrichtung::aufrecht, leser::motoren::Erkennungsende::max());
    motor->auflegen(schriftbild(beleg()));
    EXPECT_EQ(motor->textfelder(), 5);
    EXPECT_EQ(
        motor->lesen(leser::motoren::Ausrichtung::aufrecht, leser::motoren::Erkennungsende::max()).text,
        ohne.text);
}

TEST_F(EchterLeser, APictureStaysAsItIsHoweverItWasReadBefore) {
    auto const motor = leser::motoren::TesseractErkenner::laden(
        leser::motoren::sucheSprachdaten(leser::motoren::ueblicheSprachordner()).value());
    ASSERT_TRUE(motor);
    motor->auflegen(schriftbild(beleg()));
    auto const zuerst =
        motor->lesen(leser::motoren::Ausrichtung::aufrecht, leser::motoren::Erkennungsende::max());
    EXPECT_NE(
        motor->lesen(leser::motoren::Ausrichtung::kopfueber, leser::motoren::Erkennungsende::max()).text,
        zuerst.text);
    EXPECT_EQ(motor->textfelder(), 5);
    EXPECT_EQ(
        motor->lesen(leser::motoren::Ausrichtung::aufrecht, leser::motoren::Erkennungsende::max()).text,
        zuerst.text);
    // And the next one is not taken for it.
    motor->auflegen(schriftbild({"Quittung", "Nummer 99", "Summe 7,77"}));
    EXPECT_THAT(
        motor->lesen(leser::motoren::Ausrichtung::aufrecht, leser::motoren::Erkennungsende::max())
            .text.value_or(""),
        HasSubstr("Quittung"));
}

/// Sixteen lines of words that no receipt has.
leser::motoren::Graubild lageplan() {
    std::vector<std::string> viele;
    for (int i = 0; i < 16; ++i)
        viele.push_back("Treffpunkt am Bahnhof um " + std::to_string(10 + i) + " Uhr vor dem Brunnen");
    auto const datei = alsDatei(pdf({{.inhalt = zeilen(viele, "F1", 10, 285)}}));
    return leser::motoren::PdfDatei::oeffnen(leser::motoren::Dateiquelle::ausDeskriptor(datei.get()).value())
        .value()
        .pdfSeiteAlsBild()
        .value();
}

std::ptrdiff_t zeilenzahl(leser::motoren::Schrifterkenner::Gelesen const& gelesen) {
    return gelesen.text ? 1 + std::ranges::count(*gelesen.text, '\n') : 0;
}

TEST_F(EchterLeser, APageThatLiesRightIsNotReadUpsideDownToTheEnd) {
    auto const motor = leser::motoren::TesseractErkenner::laden(
        leser::motoren::sucheSprachdaten(leser::motoren::ueblicheSprachordner()).value());
    ASSERT_TRUE(motor);
    motor->auflegen(lageplan());
    auto const richtig =
        motor->lesen(leser::motoren::Ausrichtung::aufrecht, leser::motoren::Erkennungsende::max());
    EXPECT_EQ(zeilenzahl(richtig), 16);
    for (int mal = 0; mal < 2; ++mal) {
        // A few lines of gibberish are no reading: an amount that happens to be in them would count.
        auto const falsch =
            motor->lesen(leser::motoren::Ausrichtung::kopfueber, leser::motoren::Erkennungsende::max());
        EXPECT_EQ(falsch.text, std::nullopt);
        EXPECT_EQ(falsch.zuversicht, 0.0F);
    }
    EXPECT_EQ(
        motor->lesen(leser::motoren::Ausrichtung::aufrecht, leser::motoren::Erkennungsende::max()).text,
        richtig.text);
}

TEST_F(EchterLeser, APageThatLiesOnItsHeadIsReadToTheEndTheOtherWayRound) {
    auto const motor = leser::motoren::TesseractErkenner::laden(
        leser::motoren::sucheSprachdaten(leser::motoren::ueblicheSprachordner()).value());
    ASSERT_TRUE(motor);
    motor->auflegen(lageplan());
    auto const richtig =
        motor->lesen(leser::motoren::Ausrichtung::aufrecht, leser::motoren::Erkennungsende::max());
    motor->auflegen(leser::motoren::ausgerichtet(lageplan(), 3));
    auto const falsch =
        motor->lesen(leser::motoren::Ausrichtung::aufrecht, leser::motoren::Erkennungsende::max());
    EXPECT_LT(falsch.zuversicht, richtig.zuversicht);
    auto const gedreht =
        motor->lesen(leser::motoren::Ausrichtung::kopfueber, leser::motoren::Erkennungsende::max());
    EXPECT_EQ(gedreht.text, richtig.text);
    // And back: what was found out about the one way says nothing about the other.
    EXPECT_EQ(
        motor->lesen(leser::motoren::Ausrichtung::kopfueber, leser::motoren::Erkennungsende::max()).text,
        richtig.text);
}

TEST_F(EchterLeser, AnAmountInThreeTimesTheSizeOfItsLineIsRead) {
    // As on many receipts. In one go the line is read in the amount's height, in which its words are specks, and the
    // amount itself comes out as something else.
    auto const kopf = zeilen({"Musterladen GmbH", "Hauptstrasse 12", "Rechnung Nummer 4711"}, "F1", 12);
    auto const summe = zeilen({"Gesamtbetrag EUR"}, "F1", 9, 150) +
                       "BT /F1 27 Tf 140 150 Td (39,00) Tj ET\n" +
                       zeilen({"Bar EUR 50,00", "Wechselgeld EUR 11,00"}, "F1", 12, 120);
    auto const datei = alsDatei(pdf({{.inhalt = kopf + summe}}));
    auto const bild =
        leser::motoren::PdfDatei::oeffnen(leser::motoren::Dateiquelle::ausDeskriptor(datei.get()).value())
            .value()
            .pdfSeiteAlsBild()
            .value();
    auto const text = lies(png(bild), Texterkennung::Dateiart::bild);
    EXPECT_THAT(text, HasSubstr("39,00"));
    EXPECT_THAT(text, HasSubstr("11,00"));
}

TEST_F(EchterLeser, PassThatBeginsAfterTheDeadlineGivesNothing) {
    auto const motor = leser::motoren::TesseractErkenner::laden(
        leser::motoren::sucheSprachdaten(leser::motoren::ueblicheSprachordner()).value());
    ASSERT_TRUE(motor);
    motor->auflegen(schriftbild(beleg()));
    auto const gelesen =
        motor->lesen(leser::motoren::Ausrichtung::aufrecht, leser::motoren::Rechenuhr::now());
    EXPECT_EQ(gelesen.text, std::nullopt);
    EXPECT_EQ(gelesen.zuversicht, 0.0F);
}

TEST_F(EchterLeser, PassThatReachesItsDeadlineEndsAndKeepsTheEngineUsable) {
    auto const motor = leser::motoren::TesseractErkenner::laden(
        leser::motoren::sucheSprachdaten(leser::motoren::ueblicheSprachordner()).value());
    ASSERT_TRUE(motor);
    std::vector<std::string> viele;
    for (int i = 0; i < 40; ++i)
        viele.push_back("Position " + std::to_string(1000 + i) + " Kaffee und Kuchen mit viel Sahne 12,50");
    auto const datei = alsDatei(pdf({{.inhalt = zeilen(viele, "F1", 4, 290)}}));
    auto const bild =
        leser::motoren::PdfDatei::oeffnen(leser::motoren::Dateiquelle::ausDeskriptor(datei.get()).value())
            .value()
            .pdfSeiteAlsBild()
            .value();
    motor->auflegen(bild);
    EXPECT_GE(motor->textfelder(), 20);
    auto const beginn = leser::motoren::Rechenuhr::now();
    auto const teil =
        motor->lesen(leser::motoren::Ausrichtung::aufrecht, beginn + std::chrono::milliseconds{150});
    auto const kurz = leser::motoren::Rechenuhr::now() - beginn;
    motor->auflegen(bild);
    auto const ganz =
        motor->lesen(leser::motoren::Ausrichtung::aufrecht, leser::motoren::Erkennungsende::max());
    auto const lang = leser::motoren::Rechenuhr::now() - beginn - kurz;
    EXPECT_THAT(ganz.text.value_or(""), HasSubstr("1039"));
    EXPECT_LT(kurz * 2, lang);
    // What was not reached is not there: no lines of blanks, and nothing that the engine is sure of.
    EXPECT_LT(zeilenzahl(teil), zeilenzahl(ganz) / 2);
    std::istringstream zeilenweise{teil.text.value_or("")};
    for (std::string zeile; std::getline(zeilenweise, zeile);)
        EXPECT_FALSE(nurLeerraum(zeile));
}

TEST_F(EchterLeser, TimeThatPassesWithoutProcessorTimeCostsNoText) {
    auto const motor = leser::motoren::TesseractErkenner::laden(
        leser::motoren::sucheSprachdaten(leser::motoren::ueblicheSprachordner()).value());
    ASSERT_TRUE(motor);
    motor->auflegen(schriftbild(beleg()));
    auto const ende = leser::motoren::Rechenuhr::now() + std::chrono::seconds{1};
    // A thread that sleeps stands for a machine on which others are busy.
    std::this_thread::sleep_for(std::chrono::milliseconds{1100});
    EXPECT_THAT(
        motor->lesen(leser::motoren::Ausrichtung::aufrecht, ende).text.value_or(""), HasSubstr("12,50"));
}

TEST_F(EchterLeser, OnlyABlankPictureHasCertainlyNoLines) {
    auto const motor = leser::motoren::TesseractErkenner::laden(
        leser::motoren::sucheSprachdaten(leser::motoren::ueblicheSprachordner()).value());
    ASSERT_TRUE(motor);
    auto einfarbig = [](std::uint8_t grau) {
        return leser::motoren::Graubild{600, 800, std::vector<std::uint8_t>(480'000, grau)};
    };
    for (auto const grau : {std::uint8_t{255}, std::uint8_t{0}}) {
        motor->auflegen(einfarbig(grau));
        EXPECT_EQ(motor->textfelder().value_or(0), 0);
    }
    motor->auflegen(schriftbild(beleg()));
    EXPECT_EQ(motor->textfelder(), 5);
}

TEST_F(EchterLeser, ThreadsReadSideBySide) {
    auto const bytes = png(schriftbild(beleg()));
    auto const erwartet = lies(bytes, Texterkennung::Dateiart::bild);
    std::atomic<int> gleich{0};
    std::vector<std::jthread> faeden;
    for (int i = 0; i < 3; ++i)
        faeden.emplace_back([&] {
            for (int j = 0; j < 2; ++j)
                if (lies(bytes, Texterkennung::Dateiart::bild) == erwartet)
                    ++gleich;
        });
    faeden.clear();
    EXPECT_EQ(gleich, 6);
}

TEST_F(EchterLeser, RecognitionAddsNoThreads) {
    auto const bytes = png(schriftbild(beleg()));
    static_cast<void>(lies(bytes, Texterkennung::Dateiart::bild));
    std::atomic<bool> fertig{false};
    auto const vorher = werkzeug::nurRuhende();
    std::size_t hoechstens = 0;
    {
        std::jthread const faden{[&] {
            static_cast<void>(lies(bytes, Texterkennung::Dateiart::bild));
            fertig = true;
        }};
        while (!fertig)
            hoechstens = std::max(hoechstens, werkzeug::fadenzahl());
    }
    EXPECT_LE(hoechstens, vorher + 1); // The one that reads.
}

TEST_F(EchterLeser, NothingIsOpenedAfterWarmingUp) {
    leser::motoren::LeserImProzess leser;
    leser.vorwaermen();
    auto const schrift = alsDatei(scan(schriftbild(beleg())));
    auto const text = alsDatei(pdfMitText(beleg()));
    auto const jpegDatei = alsDatei(jpeg(schriftbild(beleg()), 1));
    auto const pngDatei = alsDatei(png(schriftbild(beleg())));
    auto const heicDatei = alsDatei(heic(schriftbild(beleg())));
    rlimit alt{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &alt), 0);
    rlimit const keine{0, alt.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &keine), 0); // From here on every open() fails.
    EXPECT_FALSE(oeffnen("/dev/null", 0));
    auto const ausText = leser.lesen(text.get(), Texterkennung::Dateiart::pdf);
    auto const ausSchrift = leser.lesen(schrift.get(), Texterkennung::Dateiart::pdf);
    auto const ausJpeg = leser.lesen(jpegDatei.get(), Texterkennung::Dateiart::bild);
    auto const ausPng = leser.lesen(pngDatei.get(), Texterkennung::Dateiart::bild);
    auto const ausHeic = leser.lesen(heicDatei.get(), Texterkennung::Dateiart::bild);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &alt), 0);
    for (auto const* lesung : {&ausText, &ausSchrift, &ausJpeg, &ausPng, &ausHeic})
        istBeleg(lesung->text.value_or(""));
}

TEST_F(EchterLeser, ReadingSaysNothingOnStandardError) {
    testing::internal::CaptureStderr();
    static_cast<void>(lies(scan(schriftbild(beleg())), Texterkennung::Dateiart::pdf));
    static_cast<void>(lies(
        png(leser::motoren::Graubild{3, 3, std::vector<std::uint8_t>(9, 0)}), Texterkennung::Dateiart::bild));
    for (int seite : {1, 2, 5, 9, 30})
        for (int andere : {1, 2, 5, 400}) {
            std::vector<std::uint8_t> punkte(
                static_cast<std::size_t>(seite) * static_cast<std::size_t>(andere));
            for (std::size_t i = 0; i < punkte.size(); i += 2)
                punkte[i] = 255;
            static_cast<void>(
                lies(png(leser::motoren::Graubild{seite, andere, punkte}), Texterkennung::Dateiart::bild));
        }
    static_cast<void>(lies("%PDF-1.4 kaputt", Texterkennung::Dateiart::pdf));
    static_cast<void>(lies(jpeg(schriftbild(beleg())).substr(0, 5000), Texterkennung::Dateiart::bild));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
} // namespace quillmate::Texterkennung
