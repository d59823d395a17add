#include "ordner/merkliste.h"
#include "werkzeug/voreinstellungen.h"

#include <gtest/gtest.h>

using namespace quillmate;

namespace {

constexpr char const* liste = "quillmate.ordner.lesezeichen.liste";
constexpr char const* einzelnes = "quillmate.ordner.lesezeichen";

class Merkliste : public testing::Test {
protected:
    std::vector<std::string> gespeichert() {
        return voreinstellungen.datenliste(liste).value_or(std::vector<std::string>{"nichts"});
    }
    std::vector<std::string> gemerkteUrls() {
        std::vector<std::string> urls;
        for (auto const& gemerkt : merkliste.gemerkte()) {
            urls.push_back(gemerkt.url);
            merkliste.beenden(gemerkt);
        }
        return urls;
    }

    werkzeug::SpeicherVoreinstellungen voreinstellungen;
    werkzeug::SpeicherLesezeichen lesezeichen;
    Ordner::Merkliste merkliste{voreinstellungen, lesezeichen};
};

using Texte = std::vector<std::string>;

} // namespace

TEST_F(Merkliste, WithoutAnyStoredDataItIsEmptyAndNothingIsWritten) {
    EXPECT_TRUE(merkliste.gemerkte().empty());
    EXPECT_EQ(voreinstellungen.geschrieben, 0);
}

TEST_F(Merkliste, TheOldSingleBookmarkMovesIntoTheListOnTheFirstRead) {
    lesezeichen.ordner = {"/belege"};
    voreinstellungen.werte[einzelnes] = std::string{"1:/belege"};
    EXPECT_EQ(gemerkteUrls(), Texte{"/belege"});
    EXPECT_EQ(gespeichert(), Texte{"1:/belege"});
    EXPECT_FALSE(voreinstellungen.werte.contains(einzelnes));
}

TEST_F(Merkliste, AListOfAnotherTypeCountsAsMissingAndTheOldKeyIsTaken) {
    lesezeichen.ordner = {"/belege"};
    voreinstellungen.werte[liste] = std::string{"kein Feld"};
    voreinstellungen.werte[einzelnes] = std::string{"1:/belege"};
    EXPECT_EQ(gemerkteUrls(), Texte{"/belege"});
}

TEST_F(Merkliste, RememberingTheSameFolderTwiceLeavesOneFreshEntryAtTheEnd) {
    lesezeichen.ordner = {"/a", "/b"};
    merkliste.merken("/a");
    merkliste.merken("/b");
    merkliste.merken("/a/.");
    EXPECT_EQ(gespeichert(), (Texte{"1:/a", "2:/b"})); // "/a/." is no folder of the fake: nothing changed
    merkliste.merken("/a");
    EXPECT_EQ(gespeichert(), (Texte{"2:/b", "3:/a"}));
}

TEST_F(Merkliste, AFolderThatCannotBeBookmarkedChangesNothing) {
    lesezeichen.ordner = {"/a"};
    merkliste.merken("/a");
    auto const vorher = voreinstellungen.geschrieben;
    merkliste.merken("/gibt-es-nicht");
    EXPECT_EQ(voreinstellungen.geschrieben, vorher);
}

TEST_F(Merkliste, ABookmarkOfADeletedFolderDisappearsWithTheNextListing) {
    lesezeichen.ordner = {"/a", "/b"};
    merkliste.merken("/a");
    merkliste.merken("/b");
    lesezeichen.ordner = {"/b"};
    EXPECT_EQ(gemerkteUrls(), Texte{"/b"});
    EXPECT_EQ(gespeichert(), Texte{"2:/b"});
}

TEST_F(Merkliste, ABookmarkOfADeletedFolderDisappearsWithTheNextRemembering) {
    lesezeichen.ordner = {"/a"};
    merkliste.merken("/a");
    lesezeichen.ordner = {"/b"};
    merkliste.merken("/b");
    EXPECT_EQ(gespeichert(), Texte{"2:/b"});
}

TEST_F(Merkliste, AStaleBookmarkIsMadeAnew) {
    lesezeichen.ordner = {"/alt"};
    merkliste.merken("/alt");
    lesezeichen.ordner = {"/neu"};
    lesezeichen.umgezogen = {{"/alt", "/neu"}};
    EXPECT_EQ(gemerkteUrls(), Texte{"/neu"});
    EXPECT_EQ(gespeichert(), Texte{"2:/neu"});
}

TEST_F(Merkliste, AStaleBookmarkThatCannotBeMadeAnewIsKeptAndNothingIsWritten) {
    lesezeichen.ordner = {"/alt"};
    merkliste.merken("/alt");
    lesezeichen.ordner = {"/neu"};
    lesezeichen.umgezogen = {{"/alt", "/neu"}};
    lesezeichen.anlegenScheitert = true;
    auto const vorher = voreinstellungen.geschrieben;
    EXPECT_EQ(gemerkteUrls(), Texte{"/neu"});
    EXPECT_EQ(gespeichert(), Texte{"1:/alt"});
    EXPECT_EQ(voreinstellungen.geschrieben, vorher);
}

TEST_F(Merkliste, UnchangedBookmarksAreNotWrittenAgain) {
    lesezeichen.ordner = {"/a"};
    merkliste.merken("/a");
    auto const vorher = voreinstellungen.geschrieben;
    EXPECT_EQ(gemerkteUrls(), Texte{"/a"});
    EXPECT_EQ(voreinstellungen.geschrieben, vorher);
}

TEST_F(Merkliste, AccessIsOpenedOnceAndClosedOnlyWhereItWasOpened) {
    lesezeichen.ordner = {"/auf", "/zu"};
    lesezeichen.verschlossen = {"/zu"};
    merkliste.merken("/auf");
    merkliste.merken("/zu");
    auto const gemerkte = merkliste.gemerkte();
    ASSERT_EQ(gemerkte.size(), 2U);
    EXPECT_TRUE(gemerkte[0].zugriffOffen);
    EXPECT_FALSE(gemerkte[1].zugriffOffen);
    EXPECT_EQ(lesezeichen.offen.size(), 1U);
    for (auto const& gemerkt : gemerkte)
        merkliste.beenden(gemerkt);
    EXPECT_TRUE(lesezeichen.offen.empty());
    EXPECT_EQ(lesezeichen.zuOftBeendet, 0);
}

TEST_F(Merkliste, ForgettingOneKeepsTheOthersInOrderAndDropsTheDead) {
    lesezeichen.ordner = {"/a", "/b", "/c", "/d"};
    for (auto const* const pfad : {"/a", "/b", "/c", "/d"})
        merkliste.merken(pfad);
    lesezeichen.ordner.erase("/d");
    merkliste.vergessen(Ordner::kennung("/b"));
    EXPECT_EQ(gespeichert(), (Texte{"1:/a", "3:/c"}));
}

TEST_F(Merkliste, AnAbsentFolderIsKeptThroughListsChoosingAndForgettingOthers) {
    lesezeichen.ordner = {"/stick", "/a", "/b"};
    for (auto const* ordner : {"/stick", "/a", "/b"})
        merkliste.merken(ordner);
    lesezeichen.ordner.erase("/stick");
    lesezeichen.abwesend = {"/stick"};
    auto const gemerkte = merkliste.gemerkte();
    ASSERT_EQ(gemerkte.size(), 3U);
    EXPECT_EQ(gemerkte[0].url, "/stick");
    EXPECT_FALSE(gemerkte[0].zugriffOffen);
    for (auto const& gemerkt : gemerkte)
        merkliste.beenden(gemerkt);
    merkliste.merken("/a");
    merkliste.vergessen(Ordner::kennung("/b"));
    EXPECT_EQ(gemerkteUrls(), (Texte{"/stick", "/a"}));
    // Back again.
    lesezeichen.abwesend.clear();
    lesezeichen.ordner.insert("/stick");
    EXPECT_TRUE(merkliste.gemerkte()[0].zugriffOffen);
    lesezeichen.offen.clear();
    // What the user forgets meanwhile stays forgotten.
    lesezeichen.abwesend = {"/stick"};
    merkliste.vergessen(Ordner::kennung("/stick"));
    lesezeichen.abwesend.clear();
    EXPECT_EQ(gemerkteUrls(), Texte{"/a"});
}

TEST_F(Merkliste, ForgettingTheLastOneStoresAnEmptyList) {
    lesezeichen.ordner = {"/a"};
    merkliste.merken("/a");
    merkliste.vergessen(Ordner::kennung("/a"));
    EXPECT_EQ(gespeichert(), Texte{});
}

TEST_F(Merkliste, ForgettingAllRemovesBothKeys) {
    voreinstellungen.werte[liste] = std::vector<std::string>{"1:/a"};
    voreinstellungen.werte[einzelnes] = std::string{"1:/a"};
    merkliste.vergessen();
    EXPECT_TRUE(voreinstellungen.werte.empty());
}

TEST_F(Merkliste, WhileTheDefaultsCannotBeReadNothingIsWritten) {
    lesezeichen.ordner = {"/a", "/b"};
    merkliste.merken("/a");
    voreinstellungen.unlesbar = true;
    auto const vorher = voreinstellungen.geschrieben;
    merkliste.merken("/b");
    merkliste.vergessen(Ordner::kennung("/a"));
    EXPECT_TRUE(merkliste.gemerkte().empty());
    EXPECT_EQ(voreinstellungen.geschrieben, vorher);
    voreinstellungen.unlesbar = false;
    EXPECT_EQ(gespeichert(), Texte{"1:/a"});
}

TEST_F(Merkliste, RememberingTakesTheOldSingleBookmarkOverToo) {
    lesezeichen.ordner = {"/alt", "/neu"};
    voreinstellungen.werte[einzelnes] = std::string{"9:/alt"};
    merkliste.merken("/neu");
    EXPECT_EQ(gespeichert(), (Texte{"9:/alt", "1:/neu"}));
    EXPECT_FALSE(voreinstellungen.werte.contains(einzelnes));
}

TEST(Kennung, Is16LowerCaseHexadecimalDigits) {
    auto const kennung = Ordner::kennung("/home/anna/Belege");
    EXPECT_EQ(kennung.size(), 16U);
    EXPECT_EQ(kennung.find_first_not_of("0123456789abcdef"), std::string::npos);
}

TEST(Kennung, IsTheBeginningOfTheDigestOfThePath) {
    // printf '%s' /tmp | sha256sum
    EXPECT_EQ(Ordner::kennung("/tmp"), "e9671acd244849c5");
}

TEST(Kennung, SpellingsOfOnePathGiveOneIdentifier) {
    auto const kennung = Ordner::kennung("/home/anna/Belege");
    EXPECT_EQ(Ordner::kennung("/home/anna/Belege/."), kennung);
    EXPECT_EQ(Ordner::kennung("/home/anna//Belege/"), kennung);
    EXPECT_EQ(Ordner::kennung("/home/bert/../anna/Belege"), kennung);
    EXPECT_NE(Ordner::kennung("/home/anna/belege"), kennung);
}

TEST(Gemerkt, NameIsTheLastPathComponent) {
    EXPECT_EQ((Ordner::Gemerkt{.url = "/home/anna/Belege 2024", .kennung = {}}).name(), "Belege 2024");
}

TEST(Auswaehlen, PanelHasTheProgramsTexts) {
    struct Tafel final : ports::Ordnertafel {
        std::optional<std::string> waehlen(Texte const& t) override {
            texte = t;
            return "/gewaehlt";
        }
        Texte texte;
    } tafel;
    EXPECT_EQ(Ordner::auswaehlen(tafel), "/gewaehlt");
    EXPECT_EQ(tafel.texte.titel, "Ordner mit Belegen auswählen");
    EXPECT_EQ(
        tafel.texte.hinweis, "Quillmate durchsucht nur diesen Ordner - und nur nach PDF- und Bilddateien.");
    EXPECT_EQ(tafel.texte.knopf, "Diesen Ordner durchsuchen");
    (void)Ordner::auswaehlen(tafel, "Anderer Titel");
    EXPECT_EQ(tafel.texte.titel, "Anderer Titel");
}
