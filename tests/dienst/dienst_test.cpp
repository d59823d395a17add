#include "dienst/dienst.h"
#include "grundlage/pruefsumme.h"
#include "werkzeug/http_attrappe.h"
#include "werkzeug/ordner_auf_zeit.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <latch>
#include <thread>

using namespace quillmate;
using namespace quillmate::dienst;
using werkzeug::HttpAnfrage;
using werkzeug::HttpAntwort;
using werkzeug::HttpAttrappe;
using namespace std::chrono_literals;

namespace {

using Abfrage = std::vector<std::pair<std::string, std::string>>;
using Texte = std::vector<std::string>;

dienst::Zugang zugangZu(std::string const& server) {
    return {.server = server, .clientId = 42, .token = "geheim+&= ü"};
}

/// A service that gives the same answer to everything.
struct Feste {
    explicit Feste(HttpAntwort antwort)
        : server([antwort](HttpAnfrage const&) { return antwort; })
        , zugang(zugangZu(server.adresse())) {}
    HttpAttrappe server;
    dienst::Zugang zugang;
    dienst::Dienst dienst;
};

/// The body with its random boundary replaced, so that it can be compared byte for byte.
std::string ohneGrenze(HttpAnfrage const& anfrage) {
    auto const typ = anfrage.koepfe.at("content-type");
    auto const grenze = typ.substr(typ.find('=') + 1);
    auto koerper = anfrage.koerper;
    for (auto i = koerper.find(grenze); i != std::string::npos; i = koerper.find(grenze))
        koerper.replace(i, grenze.size(), "G");
    return koerper;
}

} // namespace

// ------------------------------------------------------------------------------------------------ pure parts

TEST(Wiederholbar, NoStatus408429And5xxMayBeTriedAgain) {
    for (auto const status : std::vector<std::optional<int>>{std::nullopt, 408, 429, 500, 503, 599})
        EXPECT_TRUE(dienst::wiederholbar(status));
    for (int const status : {200, 204, 301, 400, 401, 404, 413, 499, 600})
        EXPECT_FALSE(dienst::wiederholbar(status)) << status;
}

namespace {

struct Schleife {
    std::vector<std::optional<int>> antworten;
    std::size_t versuche{0};
    std::vector<double> pausen;

    dienst::Uebertragung laufen() {
        return dienst::uebertragen(
            {}, [this](Anfrage const&) { return antworten.at(versuche++); },
            [this](double sekunden) { pausen.push_back(sekunden); });
    }
};

} // namespace

TEST(Uebertragen, ASecondAttemptThatSucceedsTakesOnePauseOfTwoSeconds) {
    Schleife s{.antworten = {503, 200}};
    EXPECT_EQ(s.laufen(), dienst::Uebertragung::hochgeladen);
    EXPECT_EQ(s.pausen, std::vector{2.0});
}

TEST(Uebertragen, ThreeTransportFailuresEndAfterPausesOfTwoAndSixSeconds) {
    Schleife s{.antworten = {std::nullopt, std::nullopt, std::nullopt}};
    EXPECT_EQ(s.laufen(), dienst::Uebertragung::uebertragungFehlgeschlagen);
    EXPECT_EQ(s.pausen, (std::vector{2.0, 6.0}));
    EXPECT_EQ(s.versuche, 3U);
}

TEST(Uebertragen, TooLargeIsKnownAfterOneAttempt) {
    Schleife s{.antworten = {413}};
    EXPECT_EQ(s.laufen(), dienst::Uebertragung::zuGross);
    EXPECT_TRUE(s.pausen.empty());
}

TEST(Uebertragen, OtherRefusalsAreFinal) {
    for (int const status : {400, 401, 404, 302, 600}) {
        Schleife s{.antworten = {status}};
        EXPECT_EQ(s.laufen(), dienst::Uebertragung::uebertragungFehlgeschlagen) << status;
        EXPECT_TRUE(s.pausen.empty());
    }
}

TEST(Uebertragen, TimeoutAndTooManyRequestsAreTriedAgain) {
    for (int const status : {408, 429}) {
        Schleife s{.antworten = {status, status, 204}};
        EXPECT_EQ(s.laufen(), dienst::Uebertragung::hochgeladen);
        EXPECT_EQ(s.versuche, 3U);
    }
}

TEST(Uebertragen, TheLastStatusDecides) {
    Schleife s{.antworten = {500, 413}};
    EXPECT_EQ(s.laufen(), dienst::Uebertragung::zuGross);
}

TEST(GesehenePfade, APathListOfAnotherTypeIsEmptyWhileHashesAreStillRead) {
    auto const gesehen = dienst::gesehenePfadeAus(R"({"paths":"x","path_hashes":{"/a":"1"}})");
    EXPECT_TRUE(gesehen.pfade.empty());
    EXPECT_EQ(gesehen.hashes.at("/a"), "1");
}

TEST(GesehenePfade, AMixedListOrTableIsEmpty) {
    EXPECT_TRUE(dienst::gesehenePfadeAus(R"({"paths":["/a",1]})").pfade.empty());
    EXPECT_TRUE(dienst::gesehenePfadeAus(R"({"path_hashes":{"/a":"1","/b":null}})").hashes.empty());
}

TEST(GesehenePfade, NoAnswerOfAnyFormIsAnError) {
    for (auto const* const antwort :
         {"", "[]", "null", "3", "{", "<html>", "\"x\"", "{\"paths\":[\"\xFF\"]}"})
        EXPECT_TRUE(dienst::gesehenePfadeAus(antwort).pfade.empty()) << antwort;
    EXPECT_EQ(dienst::gesehenePfadeAus(R"({"paths":["/a","/a","/ü"]})").pfade.size(), 2U);
}

TEST(GesehenePfade, NestedValuesAreValuesOfAnotherType) {
    EXPECT_TRUE(dienst::gesehenePfadeAus(R"({"paths":["/a",["/b"]]})").pfade.empty());
    EXPECT_TRUE(dienst::gesehenePfadeAus(R"({"paths":["/a",{"x":"/b"}]})").pfade.empty());
    EXPECT_TRUE(dienst::gesehenePfadeAus(R"({"path_hashes":{"/a":"1","/b":{"/c":"2"}}})").hashes.empty());
    EXPECT_TRUE(dienst::gesehenePfadeAus(R"({"x":{"paths":["/a"],"path_hashes":{"/a":"1"}}})").pfade.empty());
    EXPECT_TRUE(dienst::gesehenePfadeAus(R"([{"paths":["/a"]}])").pfade.empty());
}

TEST(GesehenePfade, OtherKeysAreReadOver) {
    auto const gesehen = dienst::gesehenePfadeAus(
        R"({"a":[1,[2,{"b":null}]],"paths":["/a"],"c":{"paths":["/x"]},"path_hashes":{"/a":"1"},"d":1.5})");
    EXPECT_EQ(gesehen.pfade, (dienst::Textmenge{"/a"}));
    EXPECT_EQ(gesehen.hashes.at("/a"), "1");
}

TEST(GesehenePfade, OfAKeyThatComesTwiceTheLastCounts) {
    EXPECT_EQ(
        dienst::gesehenePfadeAus(R"({"paths":["/a"],"paths":["/b"]})").pfade, (dienst::Textmenge{"/b"}));
    EXPECT_EQ(dienst::gesehenePfadeAus(R"({"paths":[1],"paths":["/b"]})").pfade, (dienst::Textmenge{"/b"}));
}

TEST(GesehenePfade, AListBeyondBeliefIsEmpty) {
    std::string antwort = R"({"paths":["")";
    for (std::size_t i = 0; i < dienst::hoechstensEintraege; ++i)
        antwort += ",\"\"";
    EXPECT_TRUE(dienst::gesehenePfadeAus(antwort + "]}").pfade.empty());
}

TEST(GesehenePfade, DeepNestingOfTenMegabytesIsRefused) {
    EXPECT_TRUE(dienst::gesehenePfadeAus("{\"paths\":" + std::string(10'000'000, '[')).pfade.empty());
    EXPECT_TRUE(dienst::gesehenePfadeAus(
                    "{\"paths\":" + std::string(1'000'000, '[') + std::string(1'000'000, ']') + "}")
                    .pfade.empty());
}

// ------------------------------------------------------------------------------------------------ GET calls

TEST(DienstHolen, RequestIsAPlainGetWithTheTokenInTheQuery) {
    Feste f{{.koerper = R"({"min_file_date":"2024-01-01"})"}};
    EXPECT_EQ(f.dienst.holeVorgabe(f.zugang).dump(), R"({"min_file_date":"2024-01-01"})");
    auto const anfragen = f.server.anfragen();
    ASSERT_EQ(anfragen.size(), 1U);
    EXPECT_EQ(anfragen[0].methode, "GET");
    EXPECT_EQ(anfragen[0].pfad, "/clients/42/local-scan-preference");
    EXPECT_EQ(anfragen[0].abfrage, (Abfrage{{"token", "geheim+&= ü"}}));
    EXPECT_FALSE(anfragen[0].koepfe.contains("authorization"));
    EXPECT_TRUE(anfragen[0].koerper.empty());
}

TEST(DienstHolen, EveryGetHasItsPath) {
    Feste f{{.koerper = R"({"hashes":["a","b"],"gestoppt":true,"paths":["/x"],"path_hashes":{}})"}};
    EXPECT_EQ(f.dienst.holeListe(f.zugang, "known-nonreceipt-hashes"), (Texte{"a", "b"}));
    EXPECT_EQ(f.dienst.holeFortschritt(f.zugang)["gestoppt"], true);
    EXPECT_TRUE(f.dienst.holeGesehenePfade(f.zugang).pfade.contains("/x"));
    auto const anfragen = f.server.anfragen();
    EXPECT_EQ(anfragen.at(0).pfad, "/clients/42/local-scan/known-nonreceipt-hashes");
    EXPECT_EQ(anfragen.at(1).pfad, "/clients/42/local-scan/progress");
    EXPECT_EQ(anfragen.at(2).pfad, "/clients/42/local-scan/seen-paths");
}

TEST(DienstHolen, AnswersThatAreNoObjectAreEmpty) {
    for (auto const* const koerper : {"", "[1]", "null", "<html><body>Fehler</body></html>", "{\"a\":"}) {
        Feste f{{.koerper = koerper}};
        EXPECT_EQ(f.dienst.holeVorgabe(f.zugang).dump(), "{}") << koerper;
        EXPECT_TRUE(f.dienst.holeListe(f.zugang, "l").empty());
    }
}

TEST(DienstHolen, A204WithoutBodyIsAnEmptyObjectButASuccessfulPost) {
    Feste f{{.status = 204}};
    EXPECT_EQ(f.dienst.holeVorgabe(f.zugang).dump(), "{}");
    EXPECT_TRUE(f.dienst.postJson(f.zugang, "progress-start", {{"total_candidates", 1}}));
}

TEST(DienstHolen, WrongTypesInEveryKeyAreEmpty) {
    Feste f{{.koerper = R"({"hashes":{"a":1},"paths":{"x":1},"path_hashes":["y"]})"}};
    EXPECT_TRUE(f.dienst.holeListe(f.zugang, "l").empty());
    auto const gesehen = f.dienst.holeGesehenePfade(f.zugang);
    EXPECT_TRUE(gesehen.pfade.empty());
    EXPECT_TRUE(gesehen.hashes.empty());
}

TEST(DienstHolen, StatusesOutside2xxAreEmpty) {
    for (int const status : {199, 400, 401, 404, 500, 503}) {
        Feste f{{.status = status, .koerper = R"({"hashes":["a"]})"}};
        EXPECT_TRUE(f.dienst.holeListe(f.zugang, "l").empty()) << status;
    }
}

TEST(DienstHolen, ABodyThatIsCutShortIsNoAnswer) {
    Feste f{{.koerper = R"({"hashes":["a"]})", .abschneiden = 70}};
    EXPECT_TRUE(f.dienst.holeListe(f.zugang, "l").empty());
}

TEST(DienstHolen, GarbageAndSilenceAreNoAnswer) {
    Feste garbage{{.roh = "SSH-2.0-OpenSSH_9.2\r\n"}};
    EXPECT_EQ(garbage.dienst.holeVorgabe(garbage.zugang).dump(), "{}");
    Feste stumm{{.ohneAntwort = true}};
    EXPECT_EQ(stumm.dienst.holeVorgabe(stumm.zugang).dump(), "{}");
    dienst::Dienst dienst;
    EXPECT_EQ(dienst.holeVorgabe(zugangZu(werkzeug::toteAdresse())).dump(), "{}");
    EXPECT_EQ(dienst.holeVorgabe(zugangZu("kein server")).dump(), "{}");
}

TEST(DienstHolen, TenMegabytesOfJsonAreReadAndManyKeysDoNotHang) {
    std::string gross = R"({"paths":[)";
    for (int i = 0; i < 100'000; ++i)
        gross += (i > 0 ? ",\"/ein/ziemlich/langer/pfad/zu/einem/beleg/rechnung-" : "\"/r-") +
                 std::to_string(i) + ".pdf\"";
    gross += R"(],"path_hashes":{)";
    for (int i = 0; i < 60'000; ++i)
        gross += (i > 0 ? ",\"/r-" : "\"/r-") + std::to_string(i) + "\":\"" + std::string(64, 'a') + "\"";
    gross += "}}";
    ASSERT_GT(gross.size(), 10'000'000U);
    Feste f{{.koerper = gross}};
    auto const gesehen = f.dienst.holeGesehenePfade(f.zugang);
    EXPECT_EQ(gesehen.pfade.size(), 100'000U);
    EXPECT_EQ(gesehen.hashes.size(), 60'000U);
}

TEST(DienstHolen, AnEndlessAnswerIsCutOff) {
    // 65 MB of blanks, as an answer without length.
    Feste f{{.roh = "HTTP/1.1 200 OK\r\n\r\n" + std::string(std::size_t{65} << 20U, ' ') + "{}"}};
    EXPECT_TRUE(f.dienst.holeListe(f.zugang, "l").empty());
    EXPECT_FALSE(f.dienst.holen({.url = f.server.adresse(), .hoechstAntwort = std::size_t{64} << 20U}));
}

TEST(DienstHolen, SettingsOfMegabytesAreNone) {
    std::string gross = R"({"gestoppt":true,"x":[0)";
    for (int i = 0; i < 400'000; ++i)
        gross += ",{}"; // each of them would be a tree's node
    Feste f{{.koerper = gross + "]}"}};
    EXPECT_EQ(f.dienst.holeFortschritt(f.zugang).dump(), "{}");
}

TEST(DienstGrenzen, AreThoseOfTheService) {
    EXPECT_EQ(dienst::wartegrenzeHolen, 40s);
    EXPECT_EQ(dienst::wartegrenzeSenden, 130s);
    EXPECT_EQ(wiederholungNach, (std::array{2.0, 6.0}));
}

TEST(DienstHolen, IdleConnectionsEndAtTheIdleLimit) {
    Feste f{{.haengen = true}};
    auto const beginn = std::chrono::steady_clock::now();
    EXPECT_FALSE(f.dienst.holen({.url = f.server.adresse(), .leerlaufgrenze = 1s}));
    EXPECT_LT(std::chrono::steady_clock::now() - beginn, 20s);
}

TEST(DienstHolen, ConnectionsAreReusedAcrossCalls) {
    Feste f{{.koerper = "{}"}};
    for (int i = 0; i < 20; ++i) {
        (void)f.dienst.holeVorgabe(f.zugang);
        EXPECT_TRUE(f.dienst.postJson(f.zugang, "progress-update", {{"processed", i}}));
    }
    EXPECT_EQ(f.server.verbindungen(), 1);
}

TEST(DienstHolen, AReusedConnectionThatHasDiedIsReplacedWithoutAFailedCall) {
    HttpAttrappe server{[](HttpAnfrage const&) {
        return HttpAntwort{.koerper = "{\"a\":1}", .weitererKopf = {}};
    }};
    dienst::Dienst dienst;
    {
        HttpAttrappe kurz{[](HttpAnfrage const&) {
            return HttpAntwort{.roh = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}"};
        }};
        // This server closes after each answer although it did not say so.
        for (int i = 0; i < 5; ++i)
            EXPECT_EQ(dienst.holen({.url = kurz.adresse()}), "{}");
    }
    EXPECT_EQ(dienst.holeVorgabe(zugangZu(server.adresse()))["a"], 1);
}

TEST(DienstHolen, RedirectsAreFollowedButNotInCircles) {
    HttpAttrappe server{[](HttpAnfrage const& anfrage) {
        if (anfrage.pfad == "/ziel")
            return HttpAntwort{.koerper = "{\"da\":1}"};
        return HttpAntwort{
            .status = 302,
            .weitererKopf = anfrage.pfad == "/kreis" ? "Location: /kreis\r\n" : "Location: /ziel\r\n"};
    }};
    dienst::Dienst dienst;
    EXPECT_EQ(dienst.holen({.url = server.adresse() + "/weg"}), "{\"da\":1}");
    EXPECT_FALSE(dienst.holen({.url = server.adresse() + "/kreis"}));
}

TEST(DienstHolen, ManyThreadsShareOneClient) {
    Feste f{{.koerper = R"({"hashes":["a"]})"}};
    {
        std::vector<std::jthread> faeden;
        for (int k = 0; k < 4; ++k)
            faeden.emplace_back([&] {
                for (int i = 0; i < 25; ++i)
                    EXPECT_EQ(f.dienst.holeListe(f.zugang, "l"), Texte{"a"});
            });
    }
    EXPECT_EQ(f.server.anfragen().size(), 100U);
    EXPECT_LE(f.server.verbindungen(), 4);
}

TEST(DienstAbbrechen, EndsACallThatHangsAndEachLaterOne) {
    std::latch angekommen{1};
    HttpAttrappe server{[&](HttpAnfrage const&) {
        angekommen.count_down();
        return HttpAntwort{.haengen = true};
    }};
    dienst::Dienst dienst;
    auto const beginn = std::chrono::steady_clock::now();
    std::jthread anrufer{[&] {
        EXPECT_EQ(dienst.sendenMitStatus({.url = server.adresse(), .leerlaufgrenze = 100s}), std::nullopt);
    }};
    angekommen.wait();
    dienst.abbrechen();
    anrufer.join();
    dienst.warten(100);
    EXPECT_FALSE(dienst.holen({.url = server.adresse(), .leerlaufgrenze = 100s}));
    EXPECT_LT(std::chrono::steady_clock::now() - beginn, 20s);
}

// ------------------------------------------------------------------------------------------------ POST calls

TEST(DienstPost, BodyIsCompactJsonInTheOrderGiven) {
    Feste f{{.koerper = "egal"}};
    EXPECT_TRUE(f.dienst.postJson(f.zugang, "progress-update", {{"processed", 3}, {"total", 10}}));
    auto const anfrage = f.server.anfragen().at(0);
    EXPECT_EQ(anfrage.methode, "POST");
    EXPECT_EQ(anfrage.pfad, "/clients/42/local-scan/progress-update");
    EXPECT_EQ(anfrage.abfrage, (Abfrage{{"token", "geheim+&= ü"}}));
    EXPECT_EQ(anfrage.koepfe.at("content-type"), "application/json");
    EXPECT_EQ(anfrage.koerper, R"({"processed":3,"total":10})");
}

TEST(DienstPost, IsNeverTriedAgain) {
    Feste f{{.status = 503}};
    EXPECT_FALSE(f.dienst.postJson(f.zugang, "progress-start", {}));
    EXPECT_EQ(f.server.anfragen().size(), 1U);
}

TEST(DienstPost, ABodyThatIsNoUtf8IsNotSent) {
    Feste f{{}};
    EXPECT_FALSE(f.dienst.postJson(f.zugang, "progress-finish", {{"orte", "\xFF"}}));
    EXPECT_TRUE(f.server.anfragen().empty());
}

// ------------------------------------------------------------------------------------------------ uploads

TEST(DienstHochladen, BodyIsByteForByteAsTheServiceExpects) {
    werkzeug::OrdnerAufZeit const ordner;
    std::string const inhalt{"%PDF-1.7\r\n\0binaer", 18};
    auto const pfad = ordner.datei("Täglich/Scan \"1\".PDF", inhalt);
    Feste f{{.koerper = "{}"}};
    EXPECT_EQ(f.dienst.hochladen(f.zugang, pfad, {}, false), dienst::Uebertragung::hochgeladen);
    auto const anfrage = f.server.anfragen().at(0);
    EXPECT_EQ(anfrage.methode, "POST");
    EXPECT_EQ(anfrage.pfad, "/clients/42/local-receipts/upload");
    EXPECT_EQ(anfrage.abfrage, (Abfrage{{"token", "geheim+&= ü"}}));
    EXPECT_TRUE(anfrage.koepfe.at("content-type").starts_with("multipart/form-data; boundary=grenze-"));
    EXPECT_EQ(
        ohneGrenze(anfrage),
        "--G\r\nContent-Disposition: form-data; name=\"quellpfad\"\r\n\r\n" + pfad +
            "\r\n--G\r\nContent-Disposition: form-data; name=\"file\"; filename=\"Scan \"1\".PDF\"\r\n"
            "Content-Type: application/pdf\r\n\r\n" +
            inhalt + "\r\n--G--\r\n");
}

TEST(DienstHochladen, UnreadFilesAreMarkedBehindTheToken) {
    werkzeug::OrdnerAufZeit const ordner;
    Feste f{{}};
    (void)f.dienst.hochladen(f.zugang, ordner.datei("notiz.txt", "x"), {}, true);
    auto const anfrage = f.server.anfragen().at(0);
    EXPECT_EQ(anfrage.abfrage, (Abfrage{{"token", "geheim+&= ü"}, {"ungelesen", "1"}}));
    EXPECT_NE(anfrage.koerper.find("Content-Type: application/octet-stream\r\n"), std::string::npos);
}

TEST(DienstHochladen, AKnownNonReceiptIsNotSentButWithAnEmptySetItIs) {
    werkzeug::OrdnerAufZeit const ordner;
    auto const pfad = ordner.datei("a.pdf", "abc");
    Feste f{{}};
    EXPECT_EQ(
        f.dienst.hochladen(f.zugang, pfad, {hexadezimal(sha256("abc"))}, false),
        dienst::Uebertragung::bekannt);
    EXPECT_TRUE(f.server.anfragen().empty());
    EXPECT_EQ(
        f.dienst.hochladen(f.zugang, pfad, {hexadezimal(sha256("anders"))}, false),
        dienst::Uebertragung::hochgeladen);
    EXPECT_EQ(f.dienst.hochladen(f.zugang, pfad, {}, false), dienst::Uebertragung::hochgeladen);
}

TEST(DienstHochladen, AVanishedFileIsUnreadableAndAnEmptyOneIsSent) {
    werkzeug::OrdnerAufZeit const ordner;
    Feste f{{}};
    EXPECT_EQ(
        f.dienst.hochladen(f.zugang, ordner.pfad("fehlt.pdf"), {}, false), dienst::Uebertragung::nichtLesbar);
    EXPECT_TRUE(f.server.anfragen().empty());
    EXPECT_EQ(
        f.dienst.hochladen(f.zugang, ordner.datei("leer.pdf"), {}, false), dienst::Uebertragung::hochgeladen);
}

TEST(DienstHochladen, AFileOfFiveGigabytesIsUnreadableAndCostsNothing) {
    werkzeug::OrdnerAufZeit const ordner;
    auto const pfad = ordner.datei("riesig.pdf");
    ASSERT_EQ(::truncate(pfad.c_str(), off_t{5} << 30), 0);
    Feste f{{}};
    EXPECT_EQ(f.dienst.hochladen(f.zugang, pfad, {}, false), dienst::Uebertragung::nichtLesbar);
    EXPECT_TRUE(f.server.anfragen().empty());
}

TEST(DienstHochladen, ARefusalForSizeIsOneAttempt) {
    werkzeug::OrdnerAufZeit const ordner;
    Feste f{{.status = 413}};
    EXPECT_EQ(
        f.dienst.hochladen(f.zugang, ordner.datei("a.pdf", "x"), {}, false), dienst::Uebertragung::zuGross);
    EXPECT_EQ(f.server.anfragen().size(), 1U);
}

TEST(DienstHochladen, AServiceThatRecoversGetsTheWholeBodyAgain) {
    werkzeug::OrdnerAufZeit const ordner;
    std::atomic<int> versuch{0};
    HttpAttrappe server{[&](HttpAnfrage const&) {
        return HttpAntwort{.status = versuch++ == 0 ? 503 : 200};
    }};
    dienst::Dienst dienst;
    auto const pfad = ordner.datei("a.pdf", std::string(3 << 20, 'x'));
    EXPECT_EQ(
        dienst.hochladen(zugangZu(server.adresse()), pfad, {}, false), dienst::Uebertragung::hochgeladen);
    auto const anfragen = server.anfragen();
    ASSERT_EQ(anfragen.size(), 2U);
    EXPECT_EQ(anfragen[0].koerper, anfragen[1].koerper);
}

TEST(DienstHochladen, AnAddressThatIsNoneFailsWithoutAttempts) {
    werkzeug::OrdnerAufZeit const ordner;
    dienst::Dienst dienst;
    auto const beginn = std::chrono::steady_clock::now();
    EXPECT_EQ(
        dienst.hochladen(zugangZu("kein server"), ordner.datei("a.pdf", "x"), {}, false),
        dienst::Uebertragung::uebertragungFehlgeschlagen);
    EXPECT_LT(std::chrono::steady_clock::now() - beginn, 2s); // no pauses either
}

TEST(DienstHochladen, ARedirectIsNoSuccess) {
    werkzeug::OrdnerAufZeit const ordner;
    HttpAttrappe server{[](HttpAnfrage const& anfrage) {
        if (anfrage.pfad == "/anmelden")
            return HttpAntwort{}; // a page that says 200 to everything
        return HttpAntwort{.status = 302, .weitererKopf = "Location: /anmelden\r\n"};
    }};
    dienst::Dienst dienst;
    EXPECT_EQ(
        dienst.hochladen(zugangZu(server.adresse()), ordner.datei("a.pdf", "x"), {}, false),
        dienst::Uebertragung::uebertragungFehlgeschlagen);
    EXPECT_EQ(server.anfragen().size(), 1U);
}

TEST(DienstAnhaengen, BookingAloneNamesTheTarget) {
    werkzeug::OrdnerAufZeit const ordner;
    Feste f{{}};
    EXPECT_TRUE(f.dienst.hochladenAnBuchung(f.zugang, -7, ordner.datei("a.png", "bild")));
    auto const anfrage = f.server.anfragen().at(0);
    EXPECT_EQ(anfrage.pfad, "/transactions/-7/attach-receipt");
    EXPECT_EQ(anfrage.abfrage, (Abfrage{{"token", "geheim+&= ü"}, {"merge", "false"}, {"gezielt", "true"}}));
    EXPECT_EQ(
        ohneGrenze(anfrage), "--G\r\nContent-Disposition: form-data; name=\"files\"; "
                             "filename=\"a.png\"\r\nContent-Type: image/png\r\n\r\n"
                             "bild\r\n--G--\r\n");
}

TEST(DienstAnhaengen, IsOneAttempt) {
    werkzeug::OrdnerAufZeit const ordner;
    Feste f{{.status = 503}};
    EXPECT_FALSE(f.dienst.hochladenAnBuchung(f.zugang, 7, ordner.datei("a.png", "bild")));
    EXPECT_FALSE(f.dienst.hochladenAnBuchung(f.zugang, 7, ordner.pfad("fehlt.png")));
    EXPECT_EQ(f.server.anfragen().size(), 1U);
}
