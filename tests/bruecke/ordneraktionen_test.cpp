#include "brueckenprobe.h"
#include "werkzeug/fehlerausgabe.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

using namespace quillmate;
using namespace quillmate::proben;
using werkzeug::fehlerausgabe;
using Zustellung = werkzeug::WebansichtAttrappe::Zustellung;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class Ordneraktionen : public Brueckenprobe {};

} // namespace

// --- folders --------------------------------------------------------------------------------------------------------

TEST_F(Ordneraktionen, ChosenFolderIsRememberedAndReported) {
    auto const ordner = welt.heim.ordner("Belege");
    welt.heim.datei("Belege/a.pdf");
    welt.heim.datei("Belege/unter/b.jpg");
    welt.heim.datei("Belege/c.txt");
    welt.lesezeichen.ordner.insert(ordner);
    tafel.antworten = {ordner};
    EXPECT_EQ(
        rufe("ordnerWaehlen"), (Json{
                                   {"ordner", "Belege"},
                                   {"anzahl", 2},
                                   {"grenze_erreicht", false},
                                   {"kennung", Ordner::kennung(ordner)}}));
    ASSERT_EQ(tafel.gezeigt.size(), 1U);
    EXPECT_EQ(tafel.gezeigt.front().titel, "Ordner mit Belegen auswählen");
    EXPECT_EQ(
        tafel.gezeigt.front().hinweis,
        "Quillmate durchsucht nur diesen Ordner - und nur nach PDF- und Bilddateien.");
    EXPECT_EQ(tafel.gezeigt.front().knopf, "Diesen Ordner durchsuchen");
    auto const gemerkt = welt.merkliste.gemerkte();
    ASSERT_EQ(gemerkt.size(), 1U);
    EXPECT_EQ(gemerkt.front().url, ordner);
}

TEST_F(Ordneraktionen, CancelledPanelChangesNothing) {
    welt.merke("Alt");
    auto const geschrieben = welt.voreinstellungen.geschrieben;
    tafel.antworten = {std::nullopt};
    EXPECT_EQ(rufe("ordnerWaehlen"), (Json{{"abgebrochen", true}}));
    EXPECT_EQ(welt.voreinstellungen.geschrieben, geschrieben);
}

TEST_F(Ordneraktionen, WhileThePanelIsOpenAnotherOneIsNotOpened) {
    tafel.waehrenddessen = [&] {
        beginne("ordnerWaehlen", 2);
    };
    beginne("ordnerWaehlen", 1);
    auto const alle = antworten();
    ASSERT_EQ(alle.size(), 2U);
    EXPECT_EQ(alle[0].id, 2);
    EXPECT_EQ(alle[0].ergebnis, (Json{{"abgebrochen", true}}));
    EXPECT_EQ(alle[1].id, 1);
    EXPECT_EQ(tafel.gezeigt.size(), 1U);
    tafel.waehrenddessen = {};
    EXPECT_EQ(rufe("ordnerWaehlen"), (Json{{"abgebrochen", true}}));
    EXPECT_EQ(tafel.gezeigt.size(), 2U);
}

TEST_F(Ordneraktionen, TheBridgeMayEndWhileThePanelIsOpen) {
    tafel.antworten = {welt.heim.ordner("Belege")};
    tafel.waehrenddessen = [&] {
        bruecke.reset();
    };
    beginne("ordnerWaehlen", 1);
    EXPECT_THAT(antworten(), IsEmpty());
    EXPECT_EQ(welt.voreinstellungen.geschrieben, 0);
}

TEST_F(Ordneraktionen, FirstRememberedFolderIsReportedAndItsAccessEnded) {
    EXPECT_EQ(rufe("gemerkterOrdner"), (Json{{"ordner", nullptr}}));
    welt.merke("Erster");
    welt.merke("Zweiter");
    welt.heim.datei("Erster/a.pdf");
    EXPECT_EQ(
        rufe("gemerkterOrdner"), (Json{{"ordner", "Erster"}, {"anzahl", 1}, {"grenze_erreicht", false}}));
    EXPECT_THAT(welt.lesezeichen.offen, IsEmpty());
    EXPECT_EQ(welt.lesezeichen.zuOftBeendet, 0);
}

TEST_F(Ordneraktionen, AllRememberedFoldersAreReportedInStoredOrder) {
    EXPECT_EQ(rufe("gemerkteOrdner"), (Json{{"ordner", Json::array()}}));
    auto const erste = welt.merke("Erster");
    auto const zweite = welt.merke("Zweiter");
    welt.heim.datei("Zweiter/a.pdf");
    EXPECT_EQ(
        rufe("gemerkteOrdner"),
        (Json{
            {"ordner",
             {{{"ordner", "Erster"}, {"anzahl", 0}, {"grenze_erreicht", false}, {"kennung", erste}},
              {{"ordner", "Zweiter"}, {"anzahl", 1}, {"grenze_erreicht", false}, {"kennung", zweite}}}}}));
    EXPECT_THAT(welt.lesezeichen.offen, IsEmpty());
}

TEST_F(Ordneraktionen, AFolderOf5000FindsHasReachedTheLimit) {
    welt.merke("Viele");
    for (int i = 0; i < 4999; ++i)
        welt.heim.datei("Viele/" + std::to_string(i) + ".pdf");
    EXPECT_EQ(
        rufe("gemerkterOrdner"), (Json{{"ordner", "Viele"}, {"anzahl", 4999}, {"grenze_erreicht", false}}));
    for (int i = 4999; i < 5002; ++i)
        welt.heim.datei("Viele/" + std::to_string(i) + ".pdf");
    EXPECT_EQ(
        rufe("gemerkterOrdner"), (Json{{"ordner", "Viele"}, {"anzahl", 5000}, {"grenze_erreicht", true}}));
}

TEST_F(Ordneraktionen, AFolderNameThatIsNoUtf8IsReportedRepaired) {
    welt.merke("Bel\xE4ge");
    EXPECT_EQ(rufe("gemerkterOrdner")["ordner"], "Bel\xEF\xBF\xBDge");
}

TEST_F(Ordneraktionen, OneFolderIsForgottenByItsIdentifier) {
    auto const erste = welt.merke("Erster");
    welt.merke("Zweiter");
    EXPECT_EQ(rufe("ordnerVergessen", {{"kennung", erste}}), (Json{{"ordner", nullptr}}));
    auto const uebrig = welt.merkliste.gemerkte();
    ASSERT_EQ(uebrig.size(), 1U);
    EXPECT_EQ(uebrig.front().name(), "Zweiter");
}

TEST_F(Ordneraktionen, WithoutIdentifierAllFoldersAreForgotten) {
    for (auto const& daten :
         {Json::object(), Json{{"kennung", ""}}, Json{{"kennung", 7}}, Json{{"kennung", nullptr}}}) {
        welt.merke("Erster");
        welt.merke("Zweiter");
        EXPECT_EQ(rufe("ordnerVergessen", daten), (Json{{"ordner", nullptr}}));
        EXPECT_THAT(welt.merkliste.gemerkte(), IsEmpty()) << daten;
    }
}

// --- counting -------------------------------------------------------------------------------------------------------

TEST_F(Ordneraktionen, ImagesOfARememberedFolderAreCountedInTheBackground) {
    auto const kennung = welt.merke("Fotos");
    welt.heim.datei("Fotos/a.jpg", std::string(8000, 'x'));
    welt.heim.datei("Fotos/b.png", std::string(9000, 'x'));
    welt.heim.datei("Fotos/klein.png", std::string(7999, 'x'));
    welt.heim.datei("Fotos/c.pdf", std::string(9000, 'x'));
    beginne("bilderZaehlen", 6, {{"kennung", kennung}});
    ASSERT_TRUE(wartenAufAntworten(1));
    EXPECT_EQ(antworten().front().id, 6);
    EXPECT_EQ(antworten().front().ergebnis, (Json{{"anzahl", 2}}));
    EXPECT_THAT(welt.lesezeichen.offen, IsEmpty());
}

TEST_F(Ordneraktionen, ImagesOfAnUnknownFolderCannotBeCounted) {
    welt.merke("Fotos");
    beginne("bilderZaehlen", 1, {{"kennung", "0123456789abcdef"}});
    ASSERT_TRUE(wartenAufAntworten(1));
    beginne("bilderZaehlen", 2, {{"kennung", std::string(1'000'000, 'a')}});
    ASSERT_TRUE(wartenAufAntworten(2));
    for (auto const& antwort : antworten())
        EXPECT_EQ(antwort.ergebnis, (Json{{"fehler", "Der Ordner ist nicht mehr freigegeben."}}));
}

TEST_F(Ordneraktionen, WithoutFolderNothingIsCountedAndTheReplyComesAtOnce) {
    for (auto const& daten : {Json::object(), Json{{"kennung", ""}}, Json{{"kennung", 5}}})
        EXPECT_EQ(rufe("bilderZaehlen", daten), (Json{{"fehler", "Kein Ordner angegeben."}}));
}

TEST_F(Ordneraktionen, BurstOf10000CountsIsAnsweredWithoutCounting10000Times) {
    auto const kennung = welt.merke("Fotos");
    welt.heim.datei("Fotos/a.jpg", std::string(8000, 'x'));
    for (int i = 1; i <= 10'000; ++i)
        beginne("bilderZaehlen", i, {{"kennung", kennung}});
    ASSERT_TRUE(wartenAufAntworten(10'000));
    auto const alle = antworten();
    EXPECT_EQ(alle.size(), 10'000U);
    for (auto const& antwort : alle)
        ASSERT_EQ(antwort.ergebnis, (Json{{"anzahl", 1}}));
    beginne("bilderZaehlen", 10'001, {{"kennung", kennung}});
    ASSERT_TRUE(wartenAufAntworten(10'001));
}

TEST_F(Ordneraktionen, ACountThatEndsAfterTheBridgeSendsNothing) {
    auto const kennung = welt.merke("Fotos");
    beginne("bilderZaehlen", 1, {{"kennung", kennung}});
    bruecke.reset(); // stops a count that has begun
    schleife.laufen();
    EXPECT_THAT(web->zustellungen, IsEmpty());
}
