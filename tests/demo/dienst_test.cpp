// The service's routes, over real HTTP against the real process.
#include "demo/belegdaten.h"
#include "demo/dienstprozess.h"
#include "demo/hilfsordner.h"
#include "grundlage/datei.h"
#include "grundlage/pruefsumme.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <map>
#include <mutex>
#include <thread>

namespace quillmate::demo::test {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

std::string hash(std::string_view bytes) {
    return hexadezimal(quillmate::sha256(bytes));
}

/// Reads no texts.
class DienstTest : public testing::Test {
protected:
    Hilfsordner ordner;
    Dienstprozess dienst{ordner.pfad("daten")};
    Klient klient;

    Antwort ladeHoch(std::string const& pfad, std::string const& name, std::string const& bytes) {
        return klient.ladeHoch(dienst.url("/clients/1/local-receipts/upload"), pfad, name, bytes);
    }
    json belege() { return liste(dienst.url("/clients/1/belege"), "belege"); }
    /// A list in an answer, by value: a reference into the answer would outlive it.
    json liste(std::string const& url, char const* name) {
        return klient.hole(url).json().value(name, json::array());
    }
};

TEST_F(DienstTest, ReadyLineNamesAddressClientAndARandomToken) {
    EXPECT_EQ(dienst.meldung().at("client"), 1);
    auto const token = dienst.meldung().at("token").get<std::string>();
    EXPECT_GE(token.size(), 32U);
    Hilfsordner const anderer;
    Dienstprozess const zweiter{anderer.pfad()};
    EXPECT_NE(zweiter.meldung().at("token"), token);
}

struct Weg {
    char const* methode;
    char const* pfad; ///< With {} for a number.
    bool mitKunde;
};

constexpr Weg alleWege[]{
    {"GET", "/clients/{}/local-scan-preference", true},
    {"PUT", "/clients/{}/local-scan-preference", true},
    {"GET", "/clients/{}/local-scan/seen-paths", true},
    {"GET", "/clients/{}/local-scan/known-nonreceipt-hashes", true},
    {"GET", "/clients/{}/local-scan/progress", true},
    {"POST", "/clients/{}/local-scan/progress-start", true},
    {"POST", "/clients/{}/local-scan/progress-update", true},
    {"POST", "/clients/{}/local-scan/progress-finish", true},
    {"POST", "/clients/{}/local-scan/stop", true},
    {"POST", "/clients/{}/local-receipts/upload", true},
    {"POST", "/transactions/{}/attach-receipt", false},
    {"GET", "/clients/{}/letzter-bericht", true},
    {"GET", "/clients/{}/belege", true},
    {"GET", "/belege/{}", false},
    {"GET", "/clients/{}/buchungen", true},
    {"POST", "/clients/{}/buchungen", true},
};

class JederWeg : public DienstTest, public testing::WithParamInterface<Weg> {
protected:
    Antwort rufe(std::string const& url) {
        std::string_view const methode = GetParam().methode;
        if (methode == "GET")
            return klient.hole(url);
        return methode == "PUT" ? klient.setze(url, "{}") : klient.sende(url, "{}");
    }
    static std::string pfad(std::string_view nummer) {
        return fmt::format(fmt::runtime(GetParam().pfad), nummer);
    }
};

TEST_P(JederWeg, NeedsTheToken) {
    auto const adresse = dienst.meldung().at("adresse").get<std::string>();
    auto const token = dienst.meldung().at("token").get<std::string>();
    for (std::string const frage : {"", "?token=", "?token=falsch", "?TOKEN=x"}) {
        auto const antwort = rufe(adresse + pfad("1") + frage);
        EXPECT_EQ(antwort.status, 401) << frage;
        EXPECT_THAT(antwort.detail(), Not(IsEmpty()));
    }
    EXPECT_EQ(rufe(adresse + pfad("1") + "?token=" + token.substr(1)).status, 401);
    EXPECT_EQ(rufe(adresse + pfad("1") + "?token=" + token + "x").status, 401);
    EXPECT_NE(rufe(dienst.url(pfad("1"))).status, 401);
}

TEST_P(JederWeg, UnknownNumbersAreNotFound) {
    for (std::string_view const nummer :
         {"987654", "-1", "9223372036854775807", "-9223372036854775808", "9223372036854775808",
          "99999999999999999999"}) {
        auto const antwort = rufe(dienst.url(pfad(nummer)));
        EXPECT_EQ(antwort.status, 404) << nummer;
        EXPECT_THAT(antwort.detail(), Not(IsEmpty()));
    }
    for (std::string_view const nummer : {"", "x", "1x", "0x1", "1.0", "%31%00"})
        EXPECT_EQ(rufe(dienst.url(pfad(nummer))).status, 404) << nummer;
}

INSTANTIATE_TEST_SUITE_P(Dienst, JederWeg, testing::ValuesIn(alleWege), [](auto const& angabe) {
    auto name = std::string{angabe.param.methode} + angabe.param.pfad;
    std::erase_if(name, [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; });
    return name;
});

TEST_F(DienstTest, AnyClientNumberCanBeServed) {
    Hilfsordner const anderer;
    Dienstprozess const grosser{
        anderer.pfad(), {"--ohne-texte", "--client", "-9223372036854775808", "--token", "a+b&c"}};
    auto const adresse = grosser.meldung().at("adresse").get<std::string>();
    EXPECT_EQ(klient.hole(adresse + "/clients/-9223372036854775808/belege?token=a%2Bb%26c").status, 200);
    EXPECT_EQ(klient.hole(adresse + "/clients/1/belege?token=a%2Bb%26c").status, 404);
}

TEST_F(DienstTest, PreferencesAreKeptAndChecked) {
    auto const url = dienst.url("/clients/1/local-scan-preference");
    EXPECT_TRUE(klient.hole(url).json().at("context_keywords").empty());
    json const vorgabe{{"min_file_date", "2024-03-01T00:00:00Z"}, {"context_keywords", {"hotel", "größe"}}};
    EXPECT_EQ(klient.setze(url, vorgabe.dump()).status, 200);
    EXPECT_EQ(klient.hole(url).json(), vorgabe);
    for (std::string const falsch :
         {R"({"min_file_date":5})", R"({"context_keywords":"hotel"})", R"({"context_keywords":[1]})",
          R"({"kontingent":-1})", R"({"kontingent":"viel"})"})
        EXPECT_EQ(klient.setze(url, falsch).status, 422) << falsch;
    for (std::string const falsch : {"", "[]", "{", "\"x\"", "{\"a\":\"\xFF\"}"})
        EXPECT_EQ(klient.setze(url, falsch).status, 400) << falsch;
    EXPECT_EQ(klient.setze(url, "{\"x\":\"" + std::string(1U << 20U, 'x') + "\"}").status, 413);
    EXPECT_EQ(klient.hole(url).json(), vorgabe);
}

TEST_F(DienstTest, DeeplyNestedJsonIsRefusedWithoutHarm) {
    auto const url = dienst.url("/clients/1/local-scan/progress-start");
    EXPECT_EQ(klient.sende(url, std::string(500000, '[')).status, 400);
    auto const tief = "{\"a\":" + std::string(100000, '[') + std::string(100000, ']') + "}";
    EXPECT_EQ(klient.sende(url, tief).status, 422);
    EXPECT_EQ(klient.hole(dienst.url("/clients/1/belege")).status, 200);
}

TEST_F(DienstTest, ProgressFollowsTheReportsAndTheFinalReportIsKept) {
    auto const stand = [&] {
        return klient.hole(dienst.url("/clients/1/local-scan/progress")).json();
    };
    EXPECT_EQ(stand(), (json{{"gestoppt", false}, {"running", false}, {"total", 0}, {"processed", 0}}));
    EXPECT_EQ(klient.hole(dienst.url("/clients/1/letzter-bericht")).status, 404);
    EXPECT_EQ(
        klient.sende(dienst.url("/clients/1/local-scan/progress-start"), R"({"total_candidates":12})").status,
        200);
    EXPECT_EQ(stand(), (json{{"gestoppt", false}, {"running", true}, {"total", 12}, {"processed", 0}}));
    EXPECT_EQ(
        klient.sende(dienst.url("/clients/1/local-scan/progress-update"), R"({"processed":5,"total":12})")
            .status,
        200);
    EXPECT_EQ(stand(), (json{{"gestoppt", false}, {"running", true}, {"total", 12}, {"processed", 5}}));
    json const bericht{{"gestartet", true}, {"gesamt", 12}, {"gruende", {{"hochladen", 3}}}};
    EXPECT_EQ(klient.sende(dienst.url("/clients/1/local-scan/progress-finish"), bericht.dump()).status, 200);
    EXPECT_EQ(stand().at("running"), false);
    EXPECT_EQ(klient.hole(dienst.url("/clients/1/letzter-bericht")).json(), bericht);
}

TEST_F(DienstTest, ProgressReportsWithoutFiguresAreRefused) {
    for (std::string const falsch :
         {"{}", R"({"total_candidates":-1})", R"({"total_candidates":1.5})", R"({"total_candidates":"3"})",
          R"({"total_candidates":18446744073709551615})"})
        EXPECT_EQ(klient.sende(dienst.url("/clients/1/local-scan/progress-start"), falsch).status, 422)
            << falsch;
    EXPECT_EQ(
        klient.sende(dienst.url("/clients/1/local-scan/progress-update"), R"({"processed":5})").status, 422);
    EXPECT_EQ(klient.sende(dienst.url("/clients/1/local-scan/progress-finish"), "[]").status, 400);
}

TEST_F(DienstTest, StopHoldsUntilTheNextStart) {
    auto const gestoppt = [&] {
        return klient.hole(dienst.url("/clients/1/local-scan/progress")).json().at("gestoppt").get<bool>();
    };
    EXPECT_EQ(klient.sende(dienst.url("/clients/1/local-scan/stop"), "").status, 200);
    EXPECT_TRUE(gestoppt());
    EXPECT_EQ(
        klient.sende(dienst.url("/clients/1/local-scan/progress-update"), R"({"processed":1,"total":2})")
            .status,
        200);
    EXPECT_EQ(klient.sende(dienst.url("/clients/1/local-scan/progress-finish"), "{}").status, 200);
    EXPECT_TRUE(gestoppt());
    EXPECT_EQ(
        klient.sende(dienst.url("/clients/1/local-scan/progress-start"), R"({"total_candidates":2})").status,
        200);
    EXPECT_FALSE(gestoppt());
}

TEST_F(DienstTest, StopCanBeLiftedBeforeTheNextStart) {
    auto const stop = dienst.url("/clients/1/local-scan/stop");
    auto const gestoppt = [&] {
        return klient.hole(dienst.url("/clients/1/local-scan/progress")).json().at("gestoppt").get<bool>();
    };
    for (std::string const stoppt : {"", "{}", R"({"gestoppt":true})", R"({"gestoppt":0})", "kein JSON"}) {
        EXPECT_EQ(klient.sende(stop, R"({"gestoppt":false})").json(), (json{{"gestoppt", false}}));
        EXPECT_FALSE(gestoppt());
        EXPECT_EQ(klient.sende(stop, stoppt).json(), (json{{"gestoppt", true}}));
        EXPECT_TRUE(gestoppt()) << stoppt;
    }
}

TEST_F(DienstTest, UploadedFileIsListedAndComesBackByteForByte) {
    std::string bytes = "%PDF-1.7\n";
    for (int i = 0; i < 300; ++i)
        bytes += static_cast<char>(i);
    auto const antwort = ladeHoch("/heim/Rechnung.pdf", "Rechnung.pdf", bytes);
    ASSERT_EQ(antwort.status, 200);
    EXPECT_EQ(antwort.json().at("duplicate"), false);
    auto const liste = belege();
    ASSERT_EQ(liste.size(), 1U);
    EXPECT_EQ(liste[0].at("name"), "Rechnung.pdf");
    EXPECT_EQ(liste[0].at("quellpfad"), "/heim/Rechnung.pdf");
    EXPECT_EQ(liste[0].at("groesse"), bytes.size());
    EXPECT_EQ(liste[0].at("hash"), hash(bytes));
    EXPECT_EQ(liste[0].at("herkunft"), "scan");
    EXPECT_EQ(liste[0].at("zustand"), "ungelesen");
    EXPECT_EQ(liste[0].at("ungelesen"), false);
    auto const datei = klient.hole(dienst.url(fmt::format("/belege/{}", liste[0].at("id").get<int>())));
    EXPECT_EQ(datei.status, 200);
    EXPECT_EQ(datei.koerper, bytes);
    EXPECT_EQ(datei.typ, "application/pdf");
}

TEST_F(DienstTest, SenderCanNoteThatItDidNotReadTheFile) {
    EXPECT_EQ(
        klient
            .ladeHoch(dienst.url("/clients/1/local-receipts/upload", "&ungelesen=1"), "/a.jpg", "a.jpg", "x")
            .status,
        200);
    EXPECT_EQ(belege()[0].at("ungelesen"), true);
}

TEST_F(DienstTest, NamesAndPathsOfAnyKindAreKeptAndNeverBecomePaths) {
    std::vector<std::string> const namen{
        R"(a"b.pdf)",
        "zwei\nZeilen.pdf",
        "../../../etc/passwd",
        "/etc/shadow",
        "Übersicht März.pdf",
        "..",
        "",
        "a\r\nb.pdf",
        "U\xCC\x88.pdf",
        R"(C:\x.pdf)",
        "'; DROP TABLE belege; --.pdf",
        "<script>.pdf"};
    for (std::size_t i = 0; i < namen.size(); ++i)
        ASSERT_EQ(ladeHoch("/heim/" + namen[i], namen[i], fmt::format("Datei {}", i)).status, 200)
            << namen[i];
    auto const liste = belege();
    ASSERT_EQ(liste.size(), namen.size());
    for (std::size_t i = 0; i < namen.size(); ++i) {
        EXPECT_EQ(liste[i].at("name"), namen[i]);
        EXPECT_EQ(liste[i].at("quellpfad"), "/heim/" + namen[i]);
    }
    // Whatever they were called, the folder of data holds the service's own files and nothing else lies
    // beside it.
    for (auto const& eintrag : std::filesystem::recursive_directory_iterator{ordner.pfad()})
        if (eintrag.is_regular_file()) {
            EXPECT_THAT(
                eintrag.path().filename().string(),
                testing::AnyOf("portal.pem", "belege.daten", StartsWith("quillmate-demo.db")));
        }
}

TEST_F(DienstTest, BrokenUtf8InNamesIsRepaired) {
    ASSERT_EQ(ladeHoch("/heim/\xFF\xFE.pdf", "\xE4.pdf", "x").status, 200);
    EXPECT_EQ(belege()[0].at("name"), "\xEF\xBF\xBD.pdf");
    EXPECT_EQ(belege()[0].at("quellpfad"), "/heim/\xEF\xBF\xBD\xEF\xBF\xBD.pdf");
    EXPECT_EQ(
        klient.hole(dienst.url("/clients/1/local-scan/seen-paths")).json().at("paths")[0],
        "/heim/\xEF\xBF\xBD\xEF\xBF\xBD.pdf");
}

TEST_F(DienstTest, SeenPathsCarryTheHashOfTheBytesThatWereUploadedLast) {
    auto const gesehen = [&] {
        return klient.hole(dienst.url("/clients/1/local-scan/seen-paths")).json();
    };
    EXPECT_EQ(gesehen(), (json{{"paths", json::array()}, {"path_hashes", json::object()}}));
    ladeHoch("/heim/a.pdf", "a.pdf", "eins");
    ladeHoch("/heim/b.pdf", "b.pdf", "eins");
    ladeHoch("/heim/a.pdf", "a.pdf", "zwei");
    EXPECT_EQ(gesehen().at("paths"), (json{"/heim/a.pdf", "/heim/b.pdf"}));
    EXPECT_EQ(
        gesehen().at("path_hashes"), (json{{"/heim/a.pdf", hash("zwei")}, {"/heim/b.pdf", hash("eins")}}));
    EXPECT_EQ(belege().size(), 2U);
}

TEST_F(DienstTest, SameBytesAgainAreADuplicate) {
    auto const erste = ladeHoch("/a.pdf", "a.pdf", "gleich").json();
    auto const zweite = ladeHoch("/b.pdf", "b.pdf", "gleich").json();
    EXPECT_EQ(zweite.at("duplicate"), true);
    EXPECT_EQ(zweite.at("id"), erste.at("id"));
}

TEST_F(DienstTest, MalformedUploadsAreRefused) {
    auto const url = dienst.url("/clients/1/local-receipts/upload");
    std::string const formular =
        "--g\r\nContent-Disposition: form-data; name=\"file\"; filename=\"a\"\r\n\r\nx\r\n--g--\r\n";
    EXPECT_EQ(klient.sende(url, formular, "multipart/form-data; boundary=g").status, 200);
    EXPECT_EQ(klient.sende(url, formular, "multipart/form-data; boundary=anders").status, 400);
    EXPECT_EQ(klient.sende(url, formular, "multipart/form-data").status, 400);
    EXPECT_EQ(klient.sende(url, formular, "application/pdf").status, 400);
    EXPECT_EQ(klient.sende(url, formular, "application/x-www-form-urlencoded").status, 400);
    EXPECT_EQ(klient.sende(url, formular.substr(0, 70), "multipart/form-data; boundary=g").status, 400);
    EXPECT_EQ(klient.sende(url, "", "multipart/form-data; boundary=g").status, 400);
    EXPECT_EQ(klient.ladeTeilHoch(url, "files", "a.pdf", "x").status, 400);
    auto const antwort =
        klient.ladeTeilHoch(dienst.url("/transactions/1/attach-receipt"), "file", "a.pdf", "x");
    EXPECT_EQ(antwort.status, 400);
    EXPECT_THAT(antwort.detail(), HasSubstr("files"));
    EXPECT_EQ(belege().size(), 1U);
}

TEST_F(DienstTest, FilesOfFiftyMebibytesAreTakenAndOneByteMoreIsTooLarge) {
    std::string bytes(52'428'800, 'x');
    auto const genau = ladeHoch("/heim/" + std::string(4000, 'p') + ".pdf", "genau.pdf", bytes);
    EXPECT_EQ(genau.status, 200);
    bytes += 'x';
    auto const einsMehr = ladeHoch("/heim/zuviel.pdf", "zuviel.pdf", bytes);
    EXPECT_EQ(einsMehr.status, 413);
    EXPECT_THAT(einsMehr.detail(), Not(IsEmpty()));
    EXPECT_EQ(
        klient.ladeTeilHoch(dienst.url("/transactions/1/attach-receipt"), "files", "zuviel.pdf", bytes)
            .status,
        413);
    bytes.resize(bytes.size() + (std::size_t{1} << 20U));
    EXPECT_EQ(ladeHoch("/heim/zuviel.pdf", "zuviel.pdf", bytes).status, 413);
    EXPECT_EQ(belege().size(), 1U);
}

TEST_F(DienstTest, BookingsAreSeededListedAndAdded) {
    auto const url = dienst.url("/clients/1/buchungen");
    auto const vorher = klient.hole(url).json().at("buchungen");
    EXPECT_EQ(vorher.size(), beispielbuchungen().size());
    auto const antwort = klient.sende(
        url, R"({"datum":"2026-05-06","betrag_cent":-123456,"gegenpartei":"Händler","zweck":"Rechnung 7"})");
    ASSERT_EQ(antwort.status, 201);
    auto const nachher = klient.hole(url).json().at("buchungen");
    ASSERT_EQ(nachher.size(), vorher.size() + 1);
    EXPECT_EQ(nachher.back().at("id"), antwort.json().at("id"));
    EXPECT_EQ(nachher.back().at("betrag"), "-1.234,56 €");
    EXPECT_EQ(nachher.back().at("datum"), "2026-05-06");
    EXPECT_EQ(nachher.back().at("gegenpartei"), "Händler");
    EXPECT_EQ(nachher.back().at("belege"), json::array());
    for (std::string const falsch :
         {"{}", R"({"datum":"2026-02-30","betrag_cent":1})", R"({"datum":"2026-02-03","betrag_cent":1.5})",
          R"({"datum":"2026-02-03","betrag_cent":18446744073709551615})",
          R"({"datum":"2026-02-03","betrag_cent":-9223372036854775808})"})
        EXPECT_EQ(klient.sende(url, falsch).status, 422) << falsch;
}

TEST_F(DienstTest, WithoutTextsAttachedFilesAreSuggestionsAndPortalFilesNeitherReceiptNorNot) {
    auto const angehaengt = klient.ladeTeilHoch(
        dienst.url("/transactions/1/attach-receipt", "&merge=false&gezielt=true"), "files", "a.pdf", "x");
    ASSERT_EQ(angehaengt.status, 200);
    EXPECT_EQ(angehaengt.json().at("status"), "suggested");
    auto const portal = klient.ladeTeilHoch(
        dienst.url("/clients/1/local-receipts/upload", "&source_path=portal://p/h/y.pdf"), "file", "y.pdf",
        "y");
    ASSERT_EQ(portal.status, 200);
    EXPECT_FALSE(portal.json().contains("is_receipt"));
    EXPECT_EQ(belege()[0].at("herkunft"), "gezielt");
    EXPECT_EQ(belege()[1].at("herkunft"), "portal");
    EXPECT_EQ(belege()[1].at("quellpfad"), "portal://p/h/y.pdf");
}

TEST_F(DienstTest, QuotaRefusesInTheWayOfEachRoad) {
    ASSERT_EQ(
        klient.setze(dienst.url("/clients/1/local-scan-preference"), R"({"kontingent":1})").status, 200);
    EXPECT_EQ(ladeHoch("/a.pdf", "a.pdf", "eins").status, 200);
    EXPECT_EQ(ladeHoch("/a.pdf", "a.pdf", "zwei").status, 402);
    auto const portal = klient.ladeTeilHoch(
        dienst.url("/clients/1/local-receipts/upload", "&source_path=portal://p/h/y.pdf"), "file", "y.pdf",
        "y");
    EXPECT_EQ(portal.status, 200);
    EXPECT_EQ(portal.json().at("cost_capped"), true);
    EXPECT_THAT(portal.json().at("reasoning").get<std::string>(), Not(IsEmpty()));
    auto const angehaengt = klient.ladeTeilHoch(
        dienst.url("/transactions/1/attach-receipt", "&merge=false&portal=p"), "files", "z.pdf", "z");
    EXPECT_EQ(angehaengt.status, 402);
    EXPECT_THAT(angehaengt.detail(), Not(IsEmpty()));
    EXPECT_EQ(belege().size(), 1U);
}

TEST_F(DienstTest, ParallelUploadsAllArrive) {
    constexpr int faeden = 8;
    constexpr int jeFaden = 25;
    std::atomic<int> gut{0};
    std::vector<std::thread> laufende;
    for (int f = 0; f < faeden; ++f)
        laufende.emplace_back([&, f] {
            Klient eigener;
            for (int i = 0; i < jeFaden; ++i)
                gut += eigener
                           .ladeHoch(
                               dienst.url("/clients/1/local-receipts/upload"), fmt::format("/{}/{}", f, i),
                               "a.pdf",
                               fmt::format("{}-{}", f, i) + std::string(50'000, static_cast<char>('a' + f)))
                           .status == 200;
        });
    for (auto& faden : laufende)
        faden.join();
    EXPECT_EQ(gut, faeden * jeFaden);
    auto const liste = belege();
    ASSERT_EQ(liste.size(), static_cast<std::size_t>(faeden * jeFaden));
    for (auto const& beleg : liste)
        ASSERT_EQ(
            hash(klient.hole(dienst.url(fmt::format("/belege/{}", beleg.at("id").get<int>()))).koerper),
            beleg.at("hash").get<std::string>());
}

TEST_F(DienstTest, WhatWasAnsweredWithSuccessSurvivesAKillAtAnyMoment) {
    std::mutex sperre;
    std::map<std::string, std::string> bestaetigt; // path, bytes
    std::atomic<bool> tot{false};
    std::vector<std::thread> laufende;
    for (int f = 0; f < 4; ++f)
        laufende.emplace_back([&, f] {
            Klient eigener;
            for (int i = 0; !tot; ++i) {
                auto const pfad = fmt::format("/{}/{}", f, i);
                auto const bytes = pfad + std::string(20'000, 'x');
                if (eigener.ladeHoch(dienst.url("/clients/1/local-receipts/upload"), pfad, "a.pdf", bytes)
                        .status != 200)
                    return;
                std::scoped_lock const besitz{sperre};
                bestaetigt.emplace(pfad, bytes);
            }
        });
    ASSERT_TRUE(warteBis([&] {
        std::scoped_lock const besitz{sperre};
        return bestaetigt.size() > 60;
    }));
    auto const ende = dienst.beende(SIGKILL);
    tot = true;
    for (auto& faden : laufende)
        faden.join();
    ASSERT_TRUE(ende.has_value());
    EXPECT_EQ(ende->signal, SIGKILL);

    Dienstprozess const neuer{ordner.pfad("daten")};
    std::map<std::string, std::int64_t> gefunden;
    for (auto const& beleg : liste(neuer.url("/clients/1/belege"), "belege"))
        gefunden.emplace(beleg.at("quellpfad"), beleg.at("id"));
    for (auto const& [pfad, bytes] : bestaetigt) {
        ASSERT_TRUE(gefunden.contains(pfad)) << pfad;
        ASSERT_EQ(klient.hole(neuer.url(fmt::format("/belege/{}", gefunden[pfad]))).koerper, bytes) << pfad;
    }
}

TEST_F(DienstTest, DataAndPreferencesAreThereAgainAfterARestart) {
    ladeHoch("/a.pdf", "a.pdf", "eins");
    ASSERT_EQ(
        klient.setze(dienst.url("/clients/1/local-scan-preference"), R"({"min_file_date":"2026-01-01"})")
            .status,
        200);
    ASSERT_EQ(dienst.beende(SIGTERM)->status, 0);
    Dienstprozess const neuer{ordner.pfad("daten")};
    EXPECT_EQ(klient.hole(neuer.url("/clients/1/belege")).json().at("belege").size(), 1U);
    EXPECT_EQ(
        klient.hole(neuer.url("/clients/1/local-scan-preference")).json(),
        (json{{"min_file_date", "2026-01-01"}}));
    EXPECT_EQ(
        klient.hole(neuer.url("/clients/1/buchungen")).json().at("buchungen").size(),
        beispielbuchungen().size());
}

TEST_F(DienstTest, SecondServiceOnTheSameDataAndTakenPortsEndWithAReason) {
    auto const selbeDaten = fuehreAus({QUILLMATE_DEMODIENST, "--daten", ordner.pfad("daten")}, 20s);
    ASSERT_TRUE(selbeDaten.has_value());
    EXPECT_EQ(selbeDaten->status, 1);
    EXPECT_THAT(selbeDaten->ausgabe, HasSubstr("schon von einem anderen Dienst"));
    auto const selberPort = fuehreAus(
        {QUILLMATE_DEMODIENST, "--daten", ordner.pfad("andere"), "--ohne-texte", "--port",
         std::to_string(dienst.port())},
        20s);
    ASSERT_TRUE(selberPort.has_value());
    EXPECT_EQ(selberPort->status, 1);
    EXPECT_THAT(selberPort->ausgabe, HasSubstr("nicht frei"));
}

TEST(Demodienst, BadArgumentsEndWithTwoAndAGermanSentence) {
    for (std::vector<std::string> const& argumente :
         {std::vector<std::string>{}, {"--port", "x", "--daten", "d"}, {"--quatsch"}, {"--daten"}}) {
        std::vector<std::string> befehl{QUILLMATE_DEMODIENST};
        befehl.insert(befehl.end(), argumente.begin(), argumente.end());
        auto const ende = fuehreAus(befehl, 20s);
        ASSERT_TRUE(ende.has_value());
        EXPECT_EQ(ende->status, 2);
        EXPECT_THAT(ende->ausgabe, HasSubstr("„quillmate-demodienst --help“ zeigt, was es gibt."));
    }
}

/// Reads texts, with the sample documents.
class LesenderDienst : public testing::Test {
protected:
    void SetUp() override {
        auto const liste = leseDatei(beispiele + "/beispiele.json", 1U << 26U);
        ASSERT_TRUE(liste.has_value());
        dateien = json::parse(*liste).at("dateien");
    }
    /// The first sample of a kind; `bedingung` narrows it.
    template<class Bedingung>
    json beispiel(std::string_view art, Bedingung const& bedingung) {
        for (auto const& datei : dateien)
            if (datei.at("art") == art && bedingung(datei))
                return datei;
        ADD_FAILURE() << "no sample: " << art;
        return json::object();
    }
    /// A list in an answer, by value: a reference into the answer would outlive it.
    json liste(std::string const& url, char const* name) {
        return klient.hole(url).json().value(name, json::array());
    }
    static bool gebucht(json const& datei) { return datei.at("gebucht").get<bool>(); }
    std::string bytes(json const& datei) {
        return leseDatei(beispiele + "/" + datei.at("pfad").get<std::string>(), 1U << 26U).value_or("");
    }
    std::int64_t buchungMit(std::int64_t betrag) {
        for (auto const& buchung : liste(dienst.url("/clients/1/buchungen"), "buchungen"))
            if (buchung.at("betrag_cent") == betrag)
                return buchung.at("id").get<std::int64_t>();
        ADD_FAILURE() << "no booking of " << betrag;
        return 0;
    }
    Antwort ausPortal(json const& datei) {
        return klient.ladeTeilHoch(
            dienst.url("/clients/1/local-receipts/upload", "&source_path=portal%3A%2F%2Fwolke%2Fh%2Fa.pdf"),
            "file", "a.pdf", bytes(datei));
    }
    Antwort anBuchung(std::int64_t buchung, json const& datei) {
        return klient.ladeTeilHoch(
            dienst.url(fmt::format("/transactions/{}/attach-receipt", buchung), "&merge=false&portal=wolke"),
            "files", "a.pdf", bytes(datei));
    }
    /// The receipt as it is once it has been read.
    json gelesen(std::int64_t id) {
        json ergebnis;
        EXPECT_TRUE(warteBis([&] {
            for (auto const& beleg : liste(dienst.url("/clients/1/belege"), "belege"))
                if (beleg.at("id") == id && beleg.at("zustand") != "ungelesen")
                    ergebnis = beleg;
            return !ergebnis.is_null();
        }));
        return ergebnis;
    }

    std::string const beispiele = QUILLMATE_BEISPIELE;
    Hilfsordner ordner;
    Dienstprozess dienst{ordner.pfad("daten"), {}};
    Klient klient;
    json dateien;
};

TEST_F(LesenderDienst, ScannedInvoiceIsMatchedWithItsBookingByAmountAndDate) {
    auto const rechnung = beispiel("rechnung", gebucht);
    auto const antwort = klient.ladeHoch(
        dienst.url("/clients/1/local-receipts/upload"), "/heim/r.pdf", "r.pdf", bytes(rechnung));
    ASSERT_EQ(antwort.status, 200);
    auto const beleg = gelesen(antwort.json().at("id").get<std::int64_t>());
    EXPECT_EQ(beleg.at("zustand"), "beleg");
    EXPECT_EQ(
        beleg.at("buchungen"),
        (json::array(
            {{{"id", buchungMit(-rechnung.at("betrag_cent").get<std::int64_t>())}, {"art", "zugeordnet"}}})));
}

TEST_F(LesenderDienst, InvoiceWithoutABookingStaysUnmatched) {
    auto const rechnung = beispiel("rechnung", [](json const& d) { return !gebucht(d); });
    auto const antwort = ausPortal(rechnung).json();
    EXPECT_EQ(antwort.at("is_receipt"), true);
    EXPECT_FALSE(antwort.contains("transaction_id"));
}

TEST_F(LesenderDienst, ScanThatIsNoReceiptEntersTheListOfKnownNonReceipts) {
    auto const brief = bytes(beispiel("brief", [](json const&) { return true; }));
    auto const antwort =
        klient.ladeHoch(dienst.url("/clients/1/local-receipts/upload"), "/heim/b.pdf", "b.pdf", brief);
    ASSERT_EQ(antwort.status, 200);
    EXPECT_EQ(gelesen(antwort.json().at("id").get<std::int64_t>()).at("zustand"), "kein_beleg");
    EXPECT_EQ(
        klient.hole(dienst.url("/clients/1/local-scan/known-nonreceipt-hashes")).json(),
        (json{{"hashes", {hash(brief)}}}));
}

TEST_F(LesenderDienst, PhotoOfAReceiptIsReadAndMatched) {
    auto const foto = beispiel("foto", gebucht);
    auto const antwort =
        klient.ladeHoch(dienst.url("/clients/1/local-receipts/upload"), "/heim/f.jpg", "f.jpg", bytes(foto));
    ASSERT_EQ(antwort.status, 200);
    auto const beleg = gelesen(antwort.json().at("id").get<std::int64_t>());
    ASSERT_EQ(beleg.at("buchungen").size(), 1U);
    EXPECT_EQ(beleg.at("buchungen")[0].at("id"), buchungMit(-foto.at("betrag_cent").get<std::int64_t>()));
}

TEST_F(LesenderDienst, PortalUploadTellsReceiptDuplicateAndNonReceiptInItsAnswer) {
    auto const rechnung = beispiel("rechnung", gebucht);
    auto const erste = ausPortal(rechnung).json();
    EXPECT_EQ(erste.at("is_receipt"), true);
    EXPECT_EQ(erste.at("duplicate"), false);
    EXPECT_EQ(erste.at("cost_capped"), false);
    EXPECT_EQ(erste.at("transaction_id"), buchungMit(-rechnung.at("betrag_cent").get<std::int64_t>()));
    auto const zweite = ausPortal(rechnung).json();
    EXPECT_EQ(zweite.at("is_receipt"), true);
    EXPECT_EQ(zweite.at("duplicate"), true);
    auto const brief = ausPortal(beispiel("brief", [](json const&) { return true; })).json();
    EXPECT_EQ(brief.at("is_receipt"), false);
    EXPECT_THAT(brief.at("reasoning").get<std::string>(), Not(IsEmpty()));
    auto const kaputt = ausPortal(beispiel("kaputt", [](json const&) { return true; })).json();
    EXPECT_EQ(kaputt.at("is_receipt"), false);
}

TEST_F(LesenderDienst, AttachedReceiptIsMatchedWhenItsAmountFitsElseASuggestion) {
    auto const rechnung = beispiel("rechnung", gebucht);
    auto const buchung = buchungMit(-rechnung.at("betrag_cent").get<std::int64_t>());
    EXPECT_EQ(anBuchung(buchung, rechnung).json().at("status"), "matched");
    auto const andere = beispiel("rechnung", [&](json const& d) { return d != rechnung && !gebucht(d); });
    EXPECT_EQ(anBuchung(buchung, andere).json().at("status"), "suggested");
    for (auto const& eintrag : liste(dienst.url("/clients/1/buchungen"), "buchungen"))
        if (eintrag.at("id") == buchung) {
            ASSERT_EQ(eintrag.at("belege").size(), 2U);
            EXPECT_EQ(eintrag.at("belege")[0].at("art"), "zugeordnet");
            EXPECT_EQ(eintrag.at("belege")[1].at("art"), "vorschlag");
        }
    EXPECT_EQ(anBuchung(999999, rechnung).status, 404);
}

TEST_F(LesenderDienst, UnreadFilesOfAKilledRunAreReadByTheNext) {
    auto const rechnung = beispiel("rechnung", gebucht);
    ASSERT_EQ(dienst.beende(SIGTERM)->status, 0);
    {
        Dienstprozess ohneTexte{ordner.pfad("daten")};
        ASSERT_EQ(
            klient
                .ladeHoch(
                    ohneTexte.url("/clients/1/local-receipts/upload"), "/r.pdf", "r.pdf", bytes(rechnung))
                .status,
            200);
        (void)ohneTexte.beende(SIGKILL);
    }
    Dienstprozess const neuer{ordner.pfad("daten"), {}};
    EXPECT_TRUE(warteBis([&] {
        auto const belege = liste(neuer.url("/clients/1/belege"), "belege");
        return belege.size() == 1 && belege[0].at("zustand") == "beleg" &&
               belege[0].at("buchungen").size() == 1;
    }));
}

TEST_F(LesenderDienst, SignalEndsTheServiceSoonAlsoWhileItReads) {
    for (int i = 0; i < 5; ++i) {
        auto const foto = beispiel("foto", [](json const&) { return true; });
        // Other bytes each time, the same picture.
        ASSERT_EQ(
            klient
                .ladeHoch(
                    dienst.url("/clients/1/local-receipts/upload"), fmt::format("/{}", i), "f.jpg",
                    bytes(foto) + std::to_string(i))
                .status,
            200);
    }
    auto const beginn = std::chrono::steady_clock::now();
    auto const ende = dienst.beende(SIGTERM);
    ASSERT_TRUE(ende.has_value());
    EXPECT_EQ(ende->status, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - beginn, 2s);
}

TEST_F(LesenderDienst, ShowingPrintsTheMatchedReceiptsBesideTheRunningService) {
    auto const rechnung = beispiel("rechnung", gebucht);
    (void)ausPortal(rechnung);
    auto const tabelle = fuehreAus({QUILLMATE_DEMODIENST, "--zeige", "--daten", ordner.pfad("daten")}, 20s);
    ASSERT_TRUE(tabelle.has_value());
    EXPECT_EQ(tabelle->status, 0);
    EXPECT_THAT(tabelle->ausgabe, HasSubstr(rechnung.at("haendler").get<std::string>().substr(0, 20)));
    EXPECT_THAT(tabelle->ausgabe, HasSubstr("-" + rechnung.at("betrag").get<std::string>() + " €"));
    auto const nichts = fuehreAus({QUILLMATE_DEMODIENST, "--zeige", "--daten", ordner.pfad("leer")}, 20s);
    ASSERT_TRUE(nichts.has_value());
    EXPECT_EQ(nichts->status, 1);
}

} // namespace
} // namespace quillmate::demo::test
