#include "bruecke/bruecke.h"
#include "macscan/suchwelt.h"
#include "werkzeug/dialoge.h"
#include "werkzeug/fehlerausgabe.h"
#include "werkzeug/fensterwerk.h"
#include "werkzeug/hauptschleife.h"
#include "werkzeug/programme.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

using namespace quillmate;
using werkzeug::fehlerausgabe;
using werkzeug::wartenBis;
using Zustellung = werkzeug::WebansichtAttrappe::Zustellung;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

/// One reply as the page would get it.
struct Antwort {
    std::int64_t id;
    Json ergebnis;
};

/// Keeps scans from ending: their readers wait before the first file, which is made here, until they are let go. That
/// is at the latest with this object.
class Lesehalt {
public:
    explicit Lesehalt(werkzeug::Suchwelt& welt) {
        welt.heim.datei("Desktop/rechnung.pdf", "Rechnung 119,00 EUR");
        welt.leser.vorher = [lage = lage_] {
            setze(lage->liest);
            lage->weiter.wait(false);
        };
    }
    ~Lesehalt() { loslassen(); }
    Lesehalt(Lesehalt const&) = delete;
    Lesehalt& operator=(Lesehalt const&) = delete;

    void warteBisGelesenWird() const { lage_->liest.wait(false); }
    void loslassen() { setze(lage_->weiter); }

private:
    struct Lage {
        std::atomic_flag liest;
        std::atomic_flag weiter;
    };
    static void setze(std::atomic_flag& was) {
        was.test_and_set();
        was.notify_all();
    }
    std::shared_ptr<Lage> const lage_{std::make_shared<Lage>()}; ///< Also the readers'.
};

class BrueckeTest : public testing::Test {
protected:
    BrueckeTest() { baueBruecke(); }

    void baueBruecke(bruecke::Bruecke::PortalOeffnen portalOeffnen = {}) {
        bruecke.reset();
        bruecke.emplace(
            web, std::move(portalOeffnen),
            bruecke::Brueckenumgebung{
                .schleife = schleife,
                .ordnertafel = tafel,
                .arbeitsfaden = welt.arbeitsfaden,
                .aktualisierer = nachsehen,
                .merkliste = welt.merkliste,
                .suche = suche,
                .umzugLage = [this] { return lage; },
                .start = Adresse::lesen(start).value()});
    }
    /// Somebody who develops the service: scans may serve one on this machine.
    std::string start{"http://127.0.0.1:1/uebersicht"};

    void sende(Json const& nachricht) { bruecke->empfangen(nachricht.dump(), seite); }
    /// Sends one call and waits for nothing.
    void beginne(std::string const& aktion, std::int64_t id, Json daten = Json::object()) {
        daten["aktion"] = aktion;
        daten["id"] = id;
        sende(daten);
    }

    /// The replies so far; a script that is no reply fails the test.
    std::vector<Antwort> antworten() {
        schleife.laufen();
        std::vector<Antwort> alle;
        for (auto const& [funktion, werte] : web->zustellungen) {
            EXPECT_EQ(funktion, "__quillmateAntwort");
            auto const liste = Json::parse(werte);
            EXPECT_EQ(liste.size(), 2U) << werte;
            alle.push_back({liste.at(0).get<std::int64_t>(), liste.at(1)});
        }
        EXPECT_THAT(web->skripte, IsEmpty());
        return alle;
    }

    /// Sends one call and returns its only reply, given at once.
    Json rufe(std::string const& aktion, Json daten = Json::object()) {
        schleife.laufen();
        web->zustellungen.clear();
        beginne(aktion, ++zaehler, std::move(daten));
        auto const alle = antworten();
        EXPECT_EQ(alle.size(), 1U) << aktion;
        if (alle.size() != 1)
            return {};
        EXPECT_EQ(alle.front().id, zaehler);
        return alle.front().ergebnis;
    }

    bool wartenAufAntworten(std::size_t anzahl) {
        return wartenBis([&] {
            schleife.laufen();
            return web->zustellungen.size() >= anzahl;
        });
    }

    /// What a valid scan asks for.
    [[nodiscard]] Json scan() const {
        return {{"client_id", 5}, {"token", "t"}, {"server", welt.service.server().adresse()}};
    }
    [[nodiscard]] Json gezielt() const {
        auto anfrage = scan();
        anfrage["transaction_id"] = 9;
        anfrage["stichworte"] = {"Gärtnerei"};
        anfrage["betrag_texte"] = {"119,00"};
        return anfrage;
    }

    werkzeug::HandSchleife schleife; // before the search, which speaks through it to its end
    werkzeug::Suchwelt welt;
    werkzeug::OrdnertafelAttrappe tafel;
    werkzeug::AktualisiererAttrappe aktualisierer;
    ports::Aktualisierer* nachsehen{&aktualisierer}; ///< What baueBruecke() gives the bridge.
    MacScan::Suche suche{welt.umgebung()};
    bruecke::Umzugslage lage{.ort = "programme", .umzugNoetig = false};
    ports::Webansicht::Empfaenger niemand;
    std::shared_ptr<werkzeug::WebansichtAttrappe> web{
        std::make_shared<werkzeug::WebansichtAttrappe>("web", niemand, std::make_shared<werkzeug::Buch>())};
    ports::Absender seite{
        .ursprung = "https://quillmate.example", .dokument = "https://quillmate.example/belege"};
    std::int64_t zaehler{0};
    std::optional<bruecke::Bruecke> bruecke;
};

Json const portalwunsch{{"kennung", "a"}, {"client_id", 1}, {"token", "t"}};
Json const fehlerUnbekannt{{"fehler", "unbekannte Aktion"}};

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

// --- folders --------------------------------------------------------------------------------------------------------

TEST_F(BrueckeTest, ChosenFolderIsRememberedAndReported) {
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

TEST_F(BrueckeTest, CancelledPanelChangesNothing) {
    welt.merke("Alt");
    auto const geschrieben = welt.voreinstellungen.geschrieben;
    tafel.antworten = {std::nullopt};
    EXPECT_EQ(rufe("ordnerWaehlen"), (Json{{"abgebrochen", true}}));
    EXPECT_EQ(welt.voreinstellungen.geschrieben, geschrieben);
}

TEST_F(BrueckeTest, WhileThePanelIsOpenAnotherOneIsNotOpened) {
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

TEST_F(BrueckeTest, TheBridgeMayEndWhileThePanelIsOpen) {
    tafel.antworten = {welt.heim.ordner("Belege")};
    tafel.waehrenddessen = [&] {
        bruecke.reset();
    };
    beginne("ordnerWaehlen", 1);
    EXPECT_THAT(antworten(), IsEmpty());
    EXPECT_EQ(welt.voreinstellungen.geschrieben, 0);
}

TEST_F(BrueckeTest, FirstRememberedFolderIsReportedAndItsAccessEnded) {
    EXPECT_EQ(rufe("gemerkterOrdner"), (Json{{"ordner", nullptr}}));
    welt.merke("Erster");
    welt.merke("Zweiter");
    welt.heim.datei("Erster/a.pdf");
    EXPECT_EQ(
        rufe("gemerkterOrdner"), (Json{{"ordner", "Erster"}, {"anzahl", 1}, {"grenze_erreicht", false}}));
    EXPECT_THAT(welt.lesezeichen.offen, IsEmpty());
    EXPECT_EQ(welt.lesezeichen.zuOftBeendet, 0);
}

TEST_F(BrueckeTest, AllRememberedFoldersAreReportedInStoredOrder) {
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

TEST_F(BrueckeTest, AFolderOf5000FindsHasReachedTheLimit) {
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

TEST_F(BrueckeTest, AFolderNameThatIsNoUtf8IsReportedRepaired) {
    welt.merke("Bel\xE4ge");
    EXPECT_EQ(rufe("gemerkterOrdner")["ordner"], "Bel\xEF\xBF\xBDge");
}

TEST_F(BrueckeTest, OneFolderIsForgottenByItsIdentifier) {
    auto const erste = welt.merke("Erster");
    welt.merke("Zweiter");
    EXPECT_EQ(rufe("ordnerVergessen", {{"kennung", erste}}), (Json{{"ordner", nullptr}}));
    auto const uebrig = welt.merkliste.gemerkte();
    ASSERT_EQ(uebrig.size(), 1U);
    EXPECT_EQ(uebrig.front().name(), "Zweiter");
}

TEST_F(BrueckeTest, WithoutIdentifierAllFoldersAreForgotten) {
    for (auto const& daten :
         {Json::object(), Json{{"kennung", ""}}, Json{{"kennung", 7}}, Json{{"kennung", nullptr}}}) {
        welt.merke("Erster");
        welt.merke("Zweiter");
        EXPECT_EQ(rufe("ordnerVergessen", daten), (Json{{"ordner", nullptr}}));
        EXPECT_THAT(welt.merkliste.gemerkte(), IsEmpty()) << daten;
    }
}

// --- portals --------------------------------------------------------------------------------------------------------

TEST_F(BrueckeTest, WithoutPortalsThePageIsToldSo) {
    EXPECT_EQ(
        rufe("portalOeffnen", portalwunsch),
        (Json{{"fehler", "Portalmodus ist in dieser App-Fassung nicht verfügbar."}}));
}

TEST_F(BrueckeTest, APortalRequestIsPassedOnAndItsReplyBack) {
    std::vector<bruecke::Portalanfrage> anfragen;
    baueBruecke([&](bruecke::Portalanfrage const& anfrage) {
        anfragen.push_back(anfrage);
        return Json{{"geoeffnet", true}};
    });
    EXPECT_EQ(
        rufe(
            "portalOeffnen", {{"kennung", "weiteres"},
                              {"client_id", 0},
                              {"token", "t"},
                              {"name", "Laden"},
                              {"transaction_id", 8}}),
        (Json{{"geoeffnet", true}}));
    (void)rufe("portalOeffnen", {{"kennung", ""}, {"client_id", 5.0}, {"token", "t"}, {"name", 1}});
    ASSERT_EQ(anfragen.size(), 2U);
    EXPECT_EQ(anfragen[0].kennung, "weiteres");
    EXPECT_EQ(anfragen[0].clientId, 0);
    EXPECT_EQ(anfragen[0].token, "t");
    EXPECT_EQ(anfragen[0].name, "Laden");
    EXPECT_EQ(anfragen[0].transactionId, 8);
    EXPECT_EQ(anfragen[1].clientId, 5);
    EXPECT_FALSE(anfragen[1].name);
    EXPECT_FALSE(anfragen[1].transactionId);
}

TEST_F(BrueckeTest, AnIncompletePortalRequestIsRefused) {
    baueBruecke([](bruecke::Portalanfrage const&) -> Json {
        ADD_FAILURE();
        return {};
    });
    for (auto const& [schluessel, wert] : std::vector<std::pair<std::string, Json>>{
             {"kennung", nullptr},
             {"kennung", 7},
             {"client_id", nullptr},
             {"client_id", "1"},
             {"client_id", 1.5},
             {"client_id", 1e30},
             {"token", nullptr},
             {"token", ""},
             {"token", 5}}) {
        auto daten = portalwunsch;
        daten[schluessel] = wert;
        EXPECT_EQ(rufe("portalOeffnen", daten), (Json{{"fehler", "Unvollständige Portalanfrage."}})) << daten;
    }
}

TEST_F(BrueckeTest, TheBridgeMayEndWhileAPortalIsAskedFor) {
    baueBruecke([&](bruecke::Portalanfrage const&) {
        bruecke.reset();
        return Json{{"abgebrochen", true}};
    });
    beginne("portalOeffnen", 1, portalwunsch);
    EXPECT_THAT(antworten(), IsEmpty());
}

// --- scans ----------------------------------------------------------------------------------------------------------

TEST_F(BrueckeTest, AScanRunsAndItsSummaryIsTheReply) {
    welt.heim.datei("Desktop/rechnung.pdf", "Rechnung Nr. 5 Betrag 119,00 EUR");
    beginne("macScannen", 3, scan());
    ASSERT_TRUE(wartenBis([&] { return !suche.laeuft(); }));
    auto const alle = antworten();
    ASSERT_EQ(alle.size(), 2U); // that it has begun, and its summary
    EXPECT_EQ(alle.front().id, 3);
    EXPECT_EQ(alle.back().id, 3);
    EXPECT_FALSE(alle.back().ergebnis.contains("fehler")) << alle.back().ergebnis;
    EXPECT_EQ(welt.service.hochgeladen().count("rechnung.pdf"), 1U);
}

TEST_F(BrueckeTest, AnIncompleteScanRequestIsRefusedAndStartsNothing) {
    for (auto const& [schluessel, wert] : std::vector<std::pair<std::string, Json>>{
             {"client_id", 0},
             {"client_id", -1},
             {"client_id", nullptr},
             {"client_id", "5"},
             {"client_id", 5.5},
             {"client_id", 1e19},
             {"token", nullptr},
             {"token", 7},
             {"server", nullptr},
             {"server", ""},
             {"server", "ftp://host"},
             {"server", "HTTP://host"},
             {"server", " http://host"},
             {"server", "http:/host"},
             {"server", 80}}) {
        auto daten = gezielt();
        daten[schluessel] = wert;
        EXPECT_EQ(rufe("macScannen", daten), (Json{{"fehler", "Unvollständige Scan-Anfrage."}})) << daten;
        EXPECT_EQ(rufe("gezieltSuchen", daten), (Json{{"fehler", "Unvollständige Suchanfrage."}})) << daten;
    }
    EXPECT_FALSE(suche.laeuft());
    EXPECT_THAT(welt.service.server().anfragen(), IsEmpty());
}

TEST_F(BrueckeTest, AServerThatIsNotTheServiceGetsNoFilesAndNoToken) {
    auto const anschluss = welt.service.server().adresse().substr(std::string{"http://127.0.0.1"}.size());
    for (auto const& server :
         {std::string{"https://fremd.example"}, "http://127.0.0.1" + anschluss + "@fremd.example/",
          "http://fremd.example#@127.0.0.1" + anschluss, "http://127.0.0.1.fremd.example" + anschluss,
          "http://127.0.0.1" + anschluss + "\\.fremd.example/", "http://2130706433" + anschluss,
          std::string{"http://quillmate.example"}}) {
        auto daten = gezielt();
        daten["server"] = server;
        EXPECT_EQ(rufe("macScannen", daten), (Json{{"fehler", "Unvollständige Scan-Anfrage."}})) << daten;
        EXPECT_EQ(rufe("gezieltSuchen", daten), (Json{{"fehler", "Unvollständige Suchanfrage."}})) << daten;
    }
    EXPECT_FALSE(suche.laeuft());
}

TEST_F(BrueckeTest, OnTheServicesOwnPageALoopbackServerIsNotTheService) {
    start = "https://quillmate.example/uebersicht";
    baueBruecke();
    EXPECT_EQ(rufe("macScannen", scan()), (Json{{"fehler", "Unvollständige Scan-Anfrage."}}));
    EXPECT_EQ(rufe("gezieltSuchen", gezielt()), (Json{{"fehler", "Unvollständige Suchanfrage."}}));
    EXPECT_THAT(welt.service.server().anfragen(), IsEmpty());
}

TEST_F(BrueckeTest, AScanNeedsNoTokenOfAnyLength) {
    auto anfrage = scan();
    anfrage["token"] = "";
    beginne("macScannen", 1, anfrage);
    ASSERT_TRUE(wartenAufAntworten(1));
    EXPECT_FALSE(antworten().front().ergebnis.contains("fehler"));
}

namespace {

/// Number of pictures that an extended image search sends under this limit, out of `vorhanden`.
struct Bildfall {
    char const* grenze; ///< JSON text
    std::size_t gesendet;
};

class BrueckeBildgrenze : public BrueckeTest, public testing::WithParamInterface<Bildfall> {};

} // namespace

TEST_P(BrueckeBildgrenze, LimitOfImagesIsClampedTo1To500) {
    auto const kennung = welt.merke("Fotos");
    for (int i = 0; i < 502; ++i)
        welt.heim.datei("Fotos/" + std::to_string(i) + ".jpg", std::to_string(i) + std::string(8000, 'x'));
    auto anfrage = scan();
    anfrage["nurOrdner"] = kennung;
    anfrage["fotos"] = true;
    anfrage["hoechstensBilder"] = Json::parse(GetParam().grenze);
    beginne("macScannen", 1, anfrage);
    ASSERT_TRUE(wartenBis([&] { return !suche.laeuft(); }, std::chrono::seconds{120}));
    EXPECT_EQ(welt.service.hochgeladen().size(), GetParam().gesendet);
}

INSTANTIATE_TEST_SUITE_P(
    Bruecke, BrueckeBildgrenze,
    testing::Values(
        Bildfall{"0", 1}, Bildfall{"-7", 1}, Bildfall{"1", 1}, Bildfall{"2", 2}, Bildfall{"499", 499},
        Bildfall{"500", 500}, Bildfall{"10000", 500}, Bildfall{"9223372036854775807", 500},
        Bildfall{"null", 500}, Bildfall{"\"3\"", 500}, Bildfall{"2.5", 500}));

TEST_F(BrueckeTest, ASecondScanIsRefusedWhileOneRuns) {
    Lesehalt halt{welt};
    beginne("macScannen", 1, scan());
    ASSERT_TRUE(wartenAufAntworten(1)); // it has begun, and says no more before it reads
    EXPECT_EQ(rufe("macScannen", scan()), (Json{{"fehler", "Es läuft bereits ein Scan."}}));
    EXPECT_EQ(
        rufe("gezieltSuchen", gezielt()),
        (Json{{"fehler", "Es läuft bereits ein Scan - bitte kurz warten."}}));
    EXPECT_EQ(rufe("suchStand")["laeuft"], true);
    halt.loslassen();
    ASSERT_TRUE(wartenBis([&] { return !suche.laeuft(); }));
    EXPECT_EQ(rufe("suchStand")["laeuft"], false);
}

TEST_F(BrueckeTest, BurstOf10000ScansStartsOneAndAnswersAll) {
    Lesehalt halt{welt};
    for (int i = 1; i <= 10'000; ++i)
        beginne("macScannen", i, scan());
    ASSERT_TRUE(wartenAufAntworten(10'000)); // 9,999 refusals, and the scan that has begun
    auto const alle = antworten();
    EXPECT_EQ(
        std::ranges::count_if(
            alle, [](Antwort const& antwort) { return antwort.ergebnis.contains("fehler"); }),
        9'999);
    halt.loslassen();
    ASSERT_TRUE(wartenBis([&] { return !suche.laeuft(); }));
    EXPECT_EQ(antworten().size(), 10'001U); // and its summary
}

TEST_F(BrueckeTest, ATargetedSearchRunsAndItsOutcomeIsTheReply) {
    welt.heim.datei("Desktop/gärtnerei.pdf", "Rechnung Gärtnerei Betrag 119,00 EUR");
    auto anfrage = gezielt();
    anfrage["datum"] = "2020-02-30"; // no day, so no date
    beginne("gezieltSuchen", 4, anfrage);
    ASSERT_TRUE(wartenAufAntworten(1));
    auto const alle = antworten();
    EXPECT_EQ(alle.back().id, 4);
    EXPECT_FALSE(alle.back().ergebnis.contains("fehler")) << alle.back().ergebnis;
    ASSERT_TRUE(wartenBis([&] { return !suche.laeuft(); }));
}

TEST_F(BrueckeTest, ATargetedSearchNeedsABooking) {
    for (auto const& wert : {Json(0), Json(-1), Json(nullptr), Json("9"), Json(1.5)}) {
        auto anfrage = gezielt();
        anfrage["transaction_id"] = wert;
        EXPECT_EQ(rufe("gezieltSuchen", anfrage), (Json{{"fehler", "Unvollständige Suchanfrage."}})) << wert;
    }
}

TEST_F(BrueckeTest, ATargetedSearchWithoutTermsSaysSo) {
    for (auto const& [stichworte, betraege] : std::vector<std::pair<Json, Json>>{
             {nullptr, nullptr},
             {Json::array(), Json::array()},
             {{"Gärtnerei", 5}, {1.5}},
             {"Gärtnerei", "119,00"}}) {
        auto anfrage = gezielt();
        anfrage["stichworte"] = stichworte;
        anfrage["betrag_texte"] = betraege;
        EXPECT_EQ(
            rufe("gezieltSuchen", anfrage),
            (Json{{"fehler", "Zu dieser Buchung gibt es keine brauchbaren Suchbegriffe."}}))
            << anfrage;
    }
}

TEST_F(BrueckeTest, AMillionSearchTermsAreRefused) {
    auto anfrage = gezielt();
    anfrage["stichworte"] = Json(Json::array_t(1'000'000, "Gärtnerei"));
    EXPECT_EQ(rufe("gezieltSuchen", anfrage), (Json{{"fehler", "Unvollständige Suchanfrage."}}));
}

// --- counting -------------------------------------------------------------------------------------------------------

TEST_F(BrueckeTest, ImagesOfARememberedFolderAreCountedInTheBackground) {
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

TEST_F(BrueckeTest, ImagesOfAnUnknownFolderCannotBeCounted) {
    welt.merke("Fotos");
    beginne("bilderZaehlen", 1, {{"kennung", "0123456789abcdef"}});
    ASSERT_TRUE(wartenAufAntworten(1));
    beginne("bilderZaehlen", 2, {{"kennung", std::string(1'000'000, 'a')}});
    ASSERT_TRUE(wartenAufAntworten(2));
    for (auto const& antwort : antworten())
        EXPECT_EQ(antwort.ergebnis, (Json{{"fehler", "Der Ordner ist nicht mehr freigegeben."}}));
}

TEST_F(BrueckeTest, WithoutFolderNothingIsCountedAndTheReplyComesAtOnce) {
    for (auto const& daten : {Json::object(), Json{{"kennung", ""}}, Json{{"kennung", 5}}})
        EXPECT_EQ(rufe("bilderZaehlen", daten), (Json{{"fehler", "Kein Ordner angegeben."}}));
}

TEST_F(BrueckeTest, BurstOf10000CountsIsAnsweredWithoutCounting10000Times) {
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

TEST_F(BrueckeTest, ACountThatEndsAfterTheBridgeSendsNothing) {
    auto const kennung = welt.merke("Fotos");
    beginne("bilderZaehlen", 1, {{"kennung", kennung}});
    bruecke.reset(); // stops a count that has begun
    schleife.laufen();
    EXPECT_THAT(web->zustellungen, IsEmpty());
}

// --- the rest -------------------------------------------------------------------------------------------------------

TEST_F(BrueckeTest, AProgramInItsPlaceDoesNotMove) {
    for (auto const* const ort : {"programme", "anderswo"}) {
        lage = {.ort = ort, .umzugNoetig = false, .ausfuehren = [] {
                    ADD_FAILURE();
                }};
        EXPECT_EQ(rufe("inProgrammeVerschieben"), (Json{{"ort", ort}}));
        schleife.vor(std::chrono::seconds{5});
    }
}

TEST_F(BrueckeTest, TheMoveStartsFourTenthsOfASecondAfterItsReply) {
    int umzuege = 0;
    lage = {.ort = "downloads", .umzugNoetig = true, .ausfuehren = [&] {
                ++umzuege;
            }};
    EXPECT_EQ(rufe("inProgrammeVerschieben"), (Json{{"neustart", true}}));
    lage.ausfuehren = [] {
        ADD_FAILURE() << "the assessment of then counts";
    };
    schleife.vor(std::chrono::milliseconds{399});
    EXPECT_EQ(umzuege, 0);
    schleife.vor(std::chrono::milliseconds{1});
    EXPECT_EQ(umzuege, 1);
}

TEST_F(BrueckeTest, StateOfTheSearchIsPassedOnAsItIs) {
    EXPECT_EQ(rufe("suchStand"), suche.stand.bericht());
    EXPECT_EQ(rufe("suchStand")["laeuft"], false);
}

TEST_F(BrueckeTest, AnUpdateCheckIsStartedAndAnsweredEmpty) {
    EXPECT_EQ(rufe("nachUpdatesSuchen"), Json::object());
    EXPECT_EQ(aktualisierer.gesucht, 1);
}

TEST_F(BrueckeTest, WithoutUpdaterTheReplyIsEmptyToo) {
    nachsehen = nullptr;
    baueBruecke();
    EXPECT_EQ(rufe("nachUpdatesSuchen"), Json::object());
}

TEST_F(BrueckeTest, AnActionThatBreaksOffIsLoggedAndAnswered) {
    baueBruecke([](bruecke::Portalanfrage const&) -> Json { throw std::bad_alloc{}; });
    auto const zeile = fehlerausgabe([&] {
        EXPECT_EQ(
            rufe("portalOeffnen", portalwunsch),
            (Json{{"fehler", "Die Aktion ist unerwartet abgebrochen."}}));
    });
    EXPECT_THAT(zeile, HasSubstr("Bruecke: Aktion 'portalOeffnen' abgebrochen"));
}
