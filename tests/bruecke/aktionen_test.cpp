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

class Aktionen : public Brueckenprobe {};

} // namespace

// --- portals --------------------------------------------------------------------------------------------------------

TEST_F(Aktionen, WithoutPortalsThePageIsToldSo) {
    EXPECT_EQ(
        rufe("portalOeffnen", portalwunsch),
        (Json{{"fehler", "Portalmodus ist in dieser App-Fassung nicht verfügbar."}}));
}

TEST_F(Aktionen, APortalRequestIsPassedOnAndItsReplyBack) {
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

TEST_F(Aktionen, AnIncompletePortalRequestIsRefused) {
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

TEST_F(Aktionen, TheBridgeMayEndWhileAPortalIsAskedFor) {
    baueBruecke([&](bruecke::Portalanfrage const&) {
        bruecke.reset();
        return Json{{"abgebrochen", true}};
    });
    beginne("portalOeffnen", 1, portalwunsch);
    EXPECT_THAT(antworten(), IsEmpty());
}

// --- scans ----------------------------------------------------------------------------------------------------------

TEST_F(Aktionen, AScanRunsAndItsSummaryIsTheReply) {
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

TEST_F(Aktionen, AnIncompleteScanRequestIsRefusedAndStartsNothing) {
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

TEST_F(Aktionen, AServerThatIsNotTheServiceGetsNoFilesAndNoToken) {
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

TEST_F(Aktionen, OnTheServicesOwnPageALoopbackServerIsNotTheService) {
    start = "https://quillmate.example/uebersicht";
    baueBruecke();
    EXPECT_EQ(rufe("macScannen", scan()), (Json{{"fehler", "Unvollständige Scan-Anfrage."}}));
    EXPECT_EQ(rufe("gezieltSuchen", gezielt()), (Json{{"fehler", "Unvollständige Suchanfrage."}}));
    EXPECT_THAT(welt.service.server().anfragen(), IsEmpty());
}

TEST_F(Aktionen, AScanNeedsNoTokenOfAnyLength) {
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

class Bildgrenze : public Aktionen, public testing::WithParamInterface<Bildfall> {};

} // namespace

TEST_P(Bildgrenze, LimitOfImagesIsClampedTo1To500) {
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
    Bruecke, Bildgrenze,
    testing::Values(
        Bildfall{"0", 1}, Bildfall{"-7", 1}, Bildfall{"1", 1}, Bildfall{"2", 2}, Bildfall{"499", 499},
        Bildfall{"500", 500}, Bildfall{"10000", 500}, Bildfall{"9223372036854775807", 500},
        Bildfall{"null", 500}, Bildfall{"\"3\"", 500}, Bildfall{"2.5", 500}));

TEST_F(Aktionen, ASecondScanIsRefusedWhileOneRuns) {
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

TEST_F(Aktionen, BurstOf10000ScansStartsOneAndAnswersAll) {
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

TEST_F(Aktionen, ATargetedSearchRunsAndItsOutcomeIsTheReply) {
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

TEST_F(Aktionen, ATargetedSearchNeedsABooking) {
    for (auto const& wert : {Json(0), Json(-1), Json(nullptr), Json("9"), Json(1.5)}) {
        auto anfrage = gezielt();
        anfrage["transaction_id"] = wert;
        EXPECT_EQ(rufe("gezieltSuchen", anfrage), (Json{{"fehler", "Unvollständige Suchanfrage."}})) << wert;
    }
}

TEST_F(Aktionen, ATargetedSearchWithoutTermsSaysSo) {
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

TEST_F(Aktionen, AMillionSearchTermsAreRefused) {
    auto anfrage = gezielt();
    anfrage["stichworte"] = Json(Json::array_t(1'000'000, "Gärtnerei"));
    EXPECT_EQ(rufe("gezieltSuchen", anfrage), (Json{{"fehler", "Unvollständige Suchanfrage."}}));
}

// --- the rest -------------------------------------------------------------------------------------------------------

TEST_F(Aktionen, AProgramInItsPlaceDoesNotMove) {
    for (auto const* const ort : {"programme", "anderswo"}) {
        lage = {.ort = ort, .umzugNoetig = false, .ausfuehren = [] {
                    ADD_FAILURE();
                }};
        EXPECT_EQ(rufe("inProgrammeVerschieben"), (Json{{"ort", ort}}));
        schleife.vor(std::chrono::seconds{5});
    }
}

TEST_F(Aktionen, TheMoveStartsFourTenthsOfASecondAfterItsReply) {
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

TEST_F(Aktionen, StateOfTheSearchIsPassedOnAsItIs) {
    EXPECT_EQ(rufe("suchStand"), suche.stand.bericht());
    EXPECT_EQ(rufe("suchStand")["laeuft"], false);
}

TEST_F(Aktionen, AnUpdateCheckIsStartedAndAnsweredEmpty) {
    EXPECT_EQ(rufe("nachUpdatesSuchen"), Json::object());
    EXPECT_EQ(aktualisierer.gesucht, 1);
}

TEST_F(Aktionen, WithoutUpdaterTheReplyIsEmptyToo) {
    nachsehen = nullptr;
    baueBruecke();
    EXPECT_EQ(rufe("nachUpdatesSuchen"), Json::object());
}

TEST_F(Aktionen, AnActionThatBreaksOffIsLoggedAndAnswered) {
    baueBruecke([](bruecke::Portalanfrage const&) -> Json { throw std::bad_alloc{}; });
    auto const zeile = fehlerausgabe([&] {
        EXPECT_EQ(
            rufe("portalOeffnen", portalwunsch),
            (Json{{"fehler", "Die Aktion ist unerwartet abgebrochen."}}));
    });
    EXPECT_THAT(zeile, HasSubstr("Bruecke: Aktion 'portalOeffnen' abgebrochen"));
}
