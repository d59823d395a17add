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

class BrueckeTest : public Brueckenprobe {};

} // namespace

// --- messages -------------------------------------------------------------------------------------------------------

TEST_F(BrueckeTest, AMessageWithoutNumberIsLoggedAndGetsNoReply) {
    for (auto const* const json :
         {R"({"aktion":"suchStand"})", R"({"aktion":"suchStand","id":"7"})",
          R"({"aktion":"suchStand","id":7.5})", R"({"id":7})", "[]", "7", "", "{"}) {
        EXPECT_EQ(
            fehlerausgabe([&] { bruecke->empfangen(json, seite); }),
            "[Quillmate] Bruecke: unverständliche Nachricht abgewiesen\n")
            << json;
        EXPECT_THAT(antworten(), IsEmpty()) << json;
    }
}

TEST_F(BrueckeTest, AnUnknownActionIsLoggedWithItsNameAndAnswered) {
    auto const zeile = fehlerausgabe([&] { beginne("zeigeDatei", 7); });
    EXPECT_EQ(zeile, "[Quillmate] Bruecke: Aktion 'zeigeDatei' ist nicht erlaubt - abgewiesen\n");
    schleife.laufen();
    EXPECT_THAT(
        web->zustellungen,
        ElementsAre(Zustellung{"__quillmateAntwort", R"([7,{"fehler":"unbekannte Aktion"}])"}));
}

TEST_F(BrueckeTest, TheNoticesButtonIsRefusedWithNumber0) {
    (void)fehlerausgabe([&] { beginne("zeigeDatei", 0); });
    schleife.laufen();
    EXPECT_THAT(
        web->zustellungen,
        ElementsAre(Zustellung{"__quillmateAntwort", R"([0,{"fehler":"unbekannte Aktion"}])"}));
}

TEST_F(BrueckeTest, NamesOfActionsAreComparedExactly) {
    (void)fehlerausgabe([&] {
        for (auto const* const name :
             {"", "suchstand", "suchStand ", "SuchStand", "__proto__", "constructor"})
            EXPECT_EQ(rufe(name), fehlerUnbekannt) << name;
    });
}

TEST_F(BrueckeTest, ANameFromThePageCannotForgeLogLinesOrFillTheLog) {
    auto const zeile = fehlerausgabe([&] {
        sende(
            {{"aktion", "x\n[Quillmate] geladen: https://evil.test\x1b[2J" + std::string(1'000'000, 'y')},
             {"id", 1}});
    });
    EXPECT_EQ(std::ranges::count(zeile, '\n'), 1);
    EXPECT_EQ(zeile.find('\x1b'), std::string::npos);
    EXPECT_LT(zeile.size(), 1000U);
}

TEST_F(BrueckeTest, TheNumberIsEchoedWhateverItIs) {
    for (auto const id :
         {std::int64_t{0}, std::int64_t{-5}, std::int64_t{9007199254740993},
          std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}) {
        web->zustellungen.clear();
        beginne("suchStand", id);
        auto const alle = antworten();
        ASSERT_EQ(alle.size(), 1U);
        EXPECT_EQ(alle.front().id, id);
    }
}

TEST_F(BrueckeTest, BurstOf10000MessagesIsServedInOrder) {
    for (int i = 1; i <= 10'000; ++i)
        beginne("suchStand", i);
    auto const alle = antworten();
    ASSERT_EQ(alle.size(), 10'000U);
    for (int i = 1; i <= 10'000; ++i)
        ASSERT_EQ(alle[static_cast<std::size_t>(i) - 1].id, i);
}

TEST_F(BrueckeTest, BurstOf10000RefusedMessagesIsAnswered) {
    (void)fehlerausgabe([&] {
        for (int i = 1; i <= 10'000; ++i)
            beginne("boese", i);
    });
    EXPECT_EQ(antworten().size(), 10'000U);
}

TEST_F(BrueckeTest, A10MegabyteMessageIsServed) {
    auto anfrage = scan();
    anfrage["token"] = "";
    anfrage["server"] = "nirgends";
    anfrage["unsinn"] = std::string(10'000'000, 'x');
    EXPECT_EQ(rufe("macScannen", anfrage), (Json{{"fehler", "Unvollständige Scan-Anfrage."}}));
}

// --- who may speak --------------------------------------------------------------------------------------------------

TEST_F(BrueckeTest, WhoMayNotSpeakGetsNoAnswerAndOneLineInTheLogForEachDocument) {
    std::uint64_t nummer = 0;
    for (auto const& [dokument, ursprung] :
         {std::pair{"https://evil.test:8080/p?token=geheim", "https://evil.test:8080"},
          {"", "null"},
          {"https://quillmate.example/belege?token=geheim", "https://werbung.test"},
          {"https://quillmate.example/belege", "null"},
          {"http://quillmate.example/", "http://quillmate.example"}}) {
        seite = {.ursprung = ursprung, .dokument = dokument, .nummer = ++nummer};
        auto const zeile = fehlerausgabe([&] {
            for (auto id = 1; id <= 20; ++id)
                for (auto const* const aktion : {"ordnerVergessen", "suchStand", "boese"})
                    beginne(aktion, id);
            bruecke->empfangen("kein JSON", seite);
        });
        EXPECT_EQ(
            zeile,
            "[Quillmate] Bruecke: Nachrichten von " + std::string{ursprung} + " werden nicht beachtet\n");
        EXPECT_THAT(antworten(), IsEmpty());
    }
    EXPECT_EQ(welt.voreinstellungen.geschrieben, 0);
}

TEST_F(BrueckeTest, TheLogNamesNoEndlessListOfOriginsNorWhatTheyWouldLikeToWrite) {
    auto const text = fehlerausgabe([&] {
        for (int i = 0; i < 1000; ++i) {
            seite = {
                .ursprung = "https://w" + std::to_string(i) + ".test\n" + std::string(10'000, 'x'),
                .dokument = "https://quillmate.example/"};
            beginne("suchStand", 1);
        }
    });
    EXPECT_EQ(std::ranges::count(text, '\n'), 20);
    EXPECT_LT(text.size(), 10'000U);
}

TEST_F(BrueckeTest, AForeignPageStartsNothing) {
    seite = {.ursprung = "https://evil.test", .dokument = "https://evil.test/"};
    lage = {.ort = "downloads", .umzugNoetig = true, .ausfuehren = [] {
                ADD_FAILURE();
            }};
    tafel.antworten = {welt.heim.pfad("Desktop")};
    (void)fehlerausgabe([&] {
        for (auto const* const aktion :
             {"ordnerWaehlen", "gemerkterOrdner", "gemerkteOrdner", "ordnerVergessen", "portalOeffnen",
              "macScannen", "bilderZaehlen", "gezieltSuchen", "inProgrammeVerschieben", "suchStand",
              "nachUpdatesSuchen"})
            beginne(aktion, 1, gezielt());
    });
    EXPECT_THAT(antworten(), IsEmpty());
    schleife.vor(std::chrono::seconds{10});
    EXPECT_THAT(tafel.gezeigt, IsEmpty());
    EXPECT_EQ(aktualisierer.gesucht, 0);
    EXPECT_FALSE(suche.laeuft());
    EXPECT_THAT(welt.service.server().anfragen(), IsEmpty());
}

// --- replies --------------------------------------------------------------------------------------------------------

TEST_F(BrueckeTest, RepliesAreDeliveredLaterAlsoOnTheMainThread) {
    beginne("suchStand", 1);
    EXPECT_THAT(web->zustellungen, IsEmpty());
    schleife.laufen();
    EXPECT_EQ(web->zustellungen.size(), 1U);
}

TEST_F(BrueckeTest, WithoutItsWebViewAReplyIsDropped) {
    beginne("suchStand", 1);
    web.reset();
    EXPECT_EQ(schleife.laufen(), 1U);
    bruecke->empfangen(R"({"aktion":"suchStand","id":2})", seite);
    EXPECT_EQ(schleife.laufen(), 1U);
}

TEST_F(BrueckeTest, TheBridgeDoesNotKeepItsWebViewAlive) {
    std::weak_ptr const beobachtet{web};
    beginne("suchStand", 1);
    web.reset();
    EXPECT_TRUE(beobachtet.expired());
}

TEST_F(BrueckeTest, AReplyReachesOnlyTheDocumentThatCalled) {
    seite = web->zeige("https://quillmate.example/belege");
    beginne("gemerkterOrdner", 1);
    seite = web->zeige("https://quillmate.example/belege"); // the same page anew counts from 1, too
    beginne("nachUpdatesSuchen", 1);
    auto const alle = antworten();
    ASSERT_EQ(alle.size(), 1U);
    EXPECT_EQ(alle.front().ergebnis, Json::object());
}

TEST_F(BrueckeTest, AForeignDocumentGetsNoReplyToTheOneBeforeIt) {
    seite = web->zeige("https://quillmate.example/belege");
    beginne("gemerkterOrdner", 1);
    web->zeige("https://evil.test/");
    EXPECT_THAT(antworten(), IsEmpty());
}

TEST_F(BrueckeTest, AfterTheDeathOfThePageItsRepliesAreDropped) {
    seite = web->zeige("https://quillmate.example/belege");
    beginne("suchStand", 1);
    web->stirb();
    EXPECT_THAT(antworten(), IsEmpty());
    web->zeige("https://quillmate.example/belege");
    EXPECT_THAT(antworten(), IsEmpty());
}

TEST_F(BrueckeTest, AnActionDuringWhichThePageChangesAnswersNobody) {
    baueBruecke([this](bruecke::Portalanfrage const&) {
        web->zeige("https://quillmate.example/uebersicht");
        return Json{{"geoeffnet", true}};
    });
    seite = web->zeige("https://quillmate.example/belege");
    beginne("portalOeffnen", 1, portalwunsch);
    EXPECT_THAT(antworten(), IsEmpty());
    baueBruecke([this](bruecke::Portalanfrage const&) -> Json {
        web->zeige("https://quillmate.example/uebersicht");
        throw std::bad_alloc{};
    });
    seite = web->zeige("https://quillmate.example/belege");
    (void)fehlerausgabe([&] { beginne("portalOeffnen", 1, portalwunsch); });
    EXPECT_THAT(antworten(), IsEmpty());
}

TEST_F(BrueckeTest, AScansSummarySettlesNoCallOfTheNextDocument) {
    Lesehalt halt{welt};
    seite = web->zeige("https://quillmate.example/belege");
    beginne("macScannen", 1, scan());
    halt.warteBisGelesenWird();
    schleife.laufen();
    web->zustellungen.clear();
    web->zeige("https://quillmate.example/belege");
    halt.loslassen();
    ASSERT_TRUE(wartenBis([&] { return !suche.laeuft(); }));
    EXPECT_THAT(antworten(), IsEmpty());
}

TEST_F(BrueckeTest, ACountThatDocumentsShareIsToldToTheOneThatIsShown) {
    auto const kennung = welt.merke("Fotos");
    seite = web->zeige("https://quillmate.example/belege");
    beginne("bilderZaehlen", 1, {{"kennung", kennung}});
    seite = web->zeige("https://quillmate.example/uebersicht");
    beginne("bilderZaehlen", 2, {{"kennung", kennung}});
    ASSERT_TRUE(wartenAufAntworten(1));
    auto const alle = antworten();
    ASSERT_EQ(alle.size(), 1U);
    EXPECT_EQ(alle.front().id, 2);
}

TEST_F(BrueckeTest, AReplyThatIsNoJsonIsDroppedWithoutAWord) {
    baueBruecke([](bruecke::Portalanfrage const&) { return Json{{"name", "\xFF"}}; });
    EXPECT_EQ(fehlerausgabe([&] { beginne("portalOeffnen", 1, portalwunsch); }), "");
    EXPECT_THAT(antworten(), IsEmpty());
}

TEST_F(BrueckeTest, ScansStillSpeakingAfterTheBridgeHasGoneSpeakToNobody) {
    Lesehalt halt{welt};
    beginne("macScannen", 1, scan());
    halt.warteBisGelesenWird();
    schleife.laufen();
    web->zustellungen.clear();
    bruecke.reset();
    halt.loslassen();
    ASSERT_TRUE(wartenBis([&] { return !suche.laeuft(); }));
    schleife.laufen();
    EXPECT_THAT(web->zustellungen, IsEmpty());
}
