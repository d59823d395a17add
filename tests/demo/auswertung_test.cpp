#include "demo/auswertung.h"
#include "demo/hilfsordner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <mutex>

namespace quillmate::demo {
namespace {

using namespace std::chrono_literals;
using Texterkennung::Dateiart;
using Texterkennung::Lesung;

constexpr std::int64_t kunde = 1;

/// Reads what the file holds as its text, and remembers how it was called.
class Vorleser final : public Texterkennung::Leser {
public:
    Lesung lesen(int deskriptor, Dateiart art) override {
        struct stat lage {};
        EXPECT_EQ(::fstat(deskriptor, &lage), 0);
        EXPECT_TRUE(S_ISREG(lage.st_mode));
        std::string text(static_cast<std::size_t>(lage.st_size), '\0');
        EXPECT_EQ(::read(deskriptor, text.data(), text.size()), static_cast<ssize_t>(text.size()));
        std::unique_lock sperre{sperre_};
        arten.push_back(art);
        raenge.push_back(::getpriority(PRIO_PROCESS, static_cast<id_t>(::gettid())));
        ++lesungen;
        geaendert_.notify_all();
        geaendert_.wait(sperre, [this] { return !haelt; });
        if (ohneMotor)
            return {.art = Lesung::Art::ohneMotor, .text = std::nullopt};
        return {.art = Lesung::Art::gelesen, .text = text};
    }
    bool warteAufLesungen(int anzahl) {
        std::unique_lock sperre{sperre_};
        return geaendert_.wait_for(sperre, 20s, [&] { return lesungen >= anzahl; });
    }
    void lassLos() {
        std::scoped_lock const sperre{sperre_};
        haelt = false;
        geaendert_.notify_all();
    }

    std::vector<Dateiart> arten;
    std::vector<int> raenge;
    int lesungen{0};
    bool haelt{false};
    bool ohneMotor{false};

private:
    std::mutex sperre_;
    std::condition_variable geaendert_;
};

class AuswertungTest : public testing::Test {
protected:
    void SetUp() override {
        std::string grund;
        speicher = Speicher::oeffnen(ordner.pfad(), grund);
        ASSERT_NE(speicher, nullptr) << grund;
        ASSERT_TRUE(speicher->kundeAnlegen(kunde, {}));
    }
    std::int64_t nimm(
        std::string_view bytes, std::string_view name = "a.pdf", Herkunft herkunft = Herkunft::scan) {
        return speicher
            ->annehmen(
                {.kunde = kunde,
                 .herkunft = herkunft,
                 .name = name,
                 .quellpfad = "",
                 .typ = "",
                 .bytes = bytes})
            .value_or(Angenommen{})
            .id;
    }
    Zustand zustand(std::int64_t id) { return speicher->beleg(id)->zustand; }
    /// Waits until the receipt is read.
    bool warteAuf(std::int64_t id) {
        for (auto const schluss = std::chrono::steady_clock::now() + 20s;
             std::chrono::steady_clock::now() < schluss;) {
            if (zustand(id) != Zustand::ungelesen)
                return true;
            std::this_thread::yield();
        }
        return false;
    }

    test::Hilfsordner ordner;
    std::unique_ptr<Speicher> speicher;
    Vorleser leser;
};

TEST_F(AuswertungTest, ScannedFilesAreReadInTheBackgroundAtLowestRank) {
    Auswertung auswertung{*speicher, &leser};
    auto const id = nimm("Rechnung 12,50");
    auswertung.anstossen();
    ASSERT_TRUE(warteAuf(id));
    EXPECT_EQ(zustand(id), Zustand::beleg);
    EXPECT_EQ(leser.raenge, std::vector{19});
    EXPECT_EQ(leser.arten, std::vector{Dateiart::pdf});
}

TEST_F(AuswertungTest, FilesLeftUnreadByAnEarlierRunAreReadAtTheStart) {
    auto const scan = nimm("Rechnung 12,50");
    auto const portal = nimm("Liebe Familie", "b.pdf", Herkunft::portal);
    Auswertung const auswertung{*speicher, &leser};
    ASSERT_TRUE(warteAuf(scan));
    ASSERT_TRUE(warteAuf(portal));
    EXPECT_EQ(zustand(portal), Zustand::keinBeleg);
}

TEST_F(AuswertungTest, ReadingAtOnceAnswersOnTheCallersThreadAndOnlyOnce) {
    Auswertung auswertung{*speicher, &leser};
    auto const id = nimm("Quittung 3,00", "a.jpg", Herkunft::portal);
    auto const erste = auswertung.sofort(id);
    ASSERT_TRUE(erste.has_value());
    EXPECT_EQ(erste->zustand, Zustand::beleg);
    EXPECT_EQ(erste->text, "Quittung 3,00");
    EXPECT_EQ(auswertung.sofort(id)->zustand, Zustand::beleg);
    EXPECT_EQ(leser.lesungen, 1);
    EXPECT_EQ(leser.arten, std::vector{Dateiart::bild});
    EXPECT_FALSE(auswertung.sofort(id + 1).has_value());
}

TEST_F(AuswertungTest, WithoutEngineAFileStaysUnreadAndIsNotCalledANonReceipt) {
    leser.ohneMotor = true;
    Auswertung auswertung{*speicher, &leser};
    auto const scan = nimm("Rechnung 12,50");
    auswertung.anstossen();
    ASSERT_TRUE(leser.warteAufLesungen(1));
    auto const portal = nimm("Rechnung 12,51", "b.pdf", Herkunft::portal);
    EXPECT_EQ(auswertung.sofort(portal)->zustand, Zustand::ungelesen);
    EXPECT_EQ(zustand(scan), Zustand::ungelesen);
    EXPECT_TRUE(speicher->hashesOhneBeleg(kunde).empty());
}

TEST_F(AuswertungTest, WithoutReaderNothingIsRead) {
    Auswertung auswertung{*speicher, nullptr};
    auto const id = nimm("Rechnung 12,50");
    auswertung.anstossen();
    EXPECT_FALSE(auswertung.liest());
    EXPECT_EQ(auswertung.sofort(id)->zustand, Zustand::ungelesen);
    EXPECT_TRUE(auswertung.anhalten());
}

TEST_F(AuswertungTest, FilesThatNoReaderTakesAreNoReceipts) {
    Auswertung auswertung{*speicher, &leser};
    auto const id = nimm("Rechnung 12,50", "notiz.txt", Herkunft::portal);
    EXPECT_EQ(auswertung.sofort(id)->zustand, Zustand::keinBeleg);
    EXPECT_EQ(leser.lesungen, 0);
}

TEST_F(AuswertungTest, StoppingTellsWhetherAFileIsStillBeingReadAndBeginsNoFurther) {
    leser.haelt = true;
    Auswertung auswertung{*speicher, &leser};
    auto const erste = nimm("Rechnung 1,00");
    auto const zweite = nimm("Rechnung 2,00");
    auswertung.anstossen();
    ASSERT_TRUE(leser.warteAufLesungen(1));
    EXPECT_FALSE(auswertung.anhalten());
    leser.lassLos();
    for (auto const schluss = std::chrono::steady_clock::now() + 20s;
         !auswertung.anhalten() && std::chrono::steady_clock::now() < schluss;)
        std::this_thread::yield();
    EXPECT_TRUE(auswertung.anhalten());
    EXPECT_EQ(zustand(erste), Zustand::beleg);
    EXPECT_EQ(zustand(zweite), Zustand::ungelesen);
}

TEST(Dateiart, FirstBytesDecideBeforeTheName) {
    EXPECT_EQ(dateiart("%PDF-1.7", "a.jpg"), Dateiart::pdf);
    EXPECT_EQ(dateiart("Vorspann\n%PDF-1.7", "a"), Dateiart::pdf);
    EXPECT_EQ(dateiart("\xFF\xD8\xFF\xE0", "a.pdf"), Dateiart::bild);
    EXPECT_EQ(dateiart("\x89PNG\r\n\x1A\n", ""), Dateiart::bild);
    EXPECT_EQ(
        dateiart(
            std::string_view{
                "\0\0\0\x18"
                "ftypheic",
                12},
            ""),
        Dateiart::bild);
    EXPECT_EQ(
        dateiart(
            std::string_view{
                "\0\0\0\x18"
                "ftypisom",
                12},
            "film.mp4"),
        std::nullopt);
    EXPECT_EQ(dateiart("", "a.PDF"), Dateiart::pdf);
    EXPECT_EQ(dateiart("", "../a.Heif"), Dateiart::bild);
    EXPECT_EQ(dateiart("text", "a.txt"), std::nullopt);
}

} // namespace
} // namespace quillmate::demo
