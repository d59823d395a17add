#include "aktualisierung/bezug.h"
#include "werkzeug/http_attrappe.h"

#include <gtest/gtest.h>

#include <thread>

using namespace quillmate;
using namespace aktualisierung;
using namespace std::chrono_literals;
using werkzeug::HttpAnfrage;
using werkzeug::HttpAntwort;

namespace {

struct Abholung {
    std::optional<Fehlerart> bezug; ///< Nothing when it succeeded.
    std::string bytes;
};

Abholung hole(
    std::string const& url, std::uint64_t hoechstens = 1000,
    NetzLader::Schema schema = NetzLader::Schema::auchHttp, std::atomic<bool> const* abbruch = nullptr,
    std::chrono::seconds leerlauf = 5s) {
    std::atomic<bool> const nie{false};
    Abholung ergebnis{};
    NetzLader lader{schema};
    auto const geladen = lader.laden(
        {.url = url,
         .hoechstens = hoechstens,
         .ablage =
             [&](char const* bytes, std::size_t anzahl) {
                 ergebnis.bytes.append(bytes, anzahl);
                 return Ergebnis<void>{};
             },
         .leerlaufgrenze = leerlauf},
        abbruch ? *abbruch : nie);
    if (!geladen)
        ergebnis.bezug = geladen.error().art;
    return ergebnis;
}

} // namespace

TEST(NetzLader, FetchesBytesInOrderAndTellsProgress) {
    werkzeug::HttpAttrappe server{[](HttpAnfrage const&) {
        return HttpAntwort{.koerper = std::string(200'000, 'x')};
    }};
    std::atomic<bool> const nie{false};
    std::uint64_t zuletzt = 0;
    std::string bytes;
    EXPECT_EQ(
        NetzLader{NetzLader::Schema::auchHttp}.laden(
            {.url = server.adresse() + "/a",
             .hoechstens = 200'000,
             .ablage =
                 [&](char const* stueck, std::size_t anzahl) {
                     bytes.append(stueck, anzahl);
                     return Ergebnis<void>{};
                 },
             .fortschritt =
                 [&](std::uint64_t geladen) {
                     EXPECT_GT(geladen, zuletzt);
                     zuletzt = geladen;
                 }},
            nie),
        Ergebnis<void>{});
    EXPECT_EQ(bytes.size(), 200'000U);
    EXPECT_EQ(zuletzt, 200'000U);
}

TEST(NetzLader, AsksNothingWithoutTransportSecurity) {
    werkzeug::HttpAttrappe server{[](HttpAnfrage const&) {
        return HttpAntwort{.koerper = "x"};
    }};
    EXPECT_EQ(hole(server.adresse() + "/a", 1000, NetzLader::Schema::nurHttps).bezug, Fehlerart::abgelehnt);
    EXPECT_EQ(hole("file:///etc/hostname").bezug, Fehlerart::abgelehnt);
    EXPECT_TRUE(server.anfragen().empty());
}

TEST(NetzLader, FollowsRedirectsButNotToOtherSchemesNorForEver) {
    std::string adresse;
    werkzeug::HttpAttrappe server{[&](HttpAnfrage const& anfrage) -> HttpAntwort {
        if (anfrage.pfad == "/weiter")
            return {.status = 302, .weitererKopf = "Location: /ziel\r\n"};
        if (anfrage.pfad == "/datei")
            return {.status = 302, .weitererKopf = "Location: file:///etc/hostname\r\n"};
        if (anfrage.pfad == "/kreis")
            return {.status = 302, .weitererKopf = "Location: /kreis\r\n"};
        return {.koerper = "da"};
    }};
    adresse = server.adresse();
    auto const weiter = hole(adresse + "/weiter");
    EXPECT_EQ(weiter.bezug, std::nullopt);
    EXPECT_EQ(weiter.bytes, "da");
    EXPECT_EQ(hole(adresse + "/datei").bezug, Fehlerart::abgelehnt);
    EXPECT_EQ(hole(adresse + "/kreis").bezug, Fehlerart::abgelehnt);
    EXPECT_EQ(server.anfragenAn("/kreis").size(), 6U);
}

TEST(NetzLader, TakesNoErrorPageForTheFile) {
    werkzeug::HttpAttrappe server{[](HttpAnfrage const&) {
        return HttpAntwort{.status = 404, .koerper = "nicht da"};
    }};
    auto const ergebnis = hole(server.adresse() + "/a");
    EXPECT_EQ(ergebnis.bezug, Fehlerart::nichtGefunden);
    EXPECT_EQ(ergebnis.bytes, "");
}

TEST(NetzLader, ReadsNoMoreThanItMay) {
    werkzeug::HttpAttrappe server{[](HttpAnfrage const& anfrage) -> HttpAntwort {
        if (anfrage.pfad == "/ehrlich")
            return {.koerper = std::string(100'000, 'x')};
        // Without a length, until the connection closes.
        return {.roh = "HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + std::string(100'000, 'x')};
    }};
    for (auto const* pfad : {"/ehrlich", "/endlos"}) {
        auto const ergebnis = hole(server.adresse() + pfad, 99'999);
        EXPECT_EQ(ergebnis.bezug, Fehlerart::zuGross) << pfad;
        EXPECT_LE(ergebnis.bytes.size(), 99'999U) << pfad;
        EXPECT_EQ(hole(server.adresse() + pfad, 100'000).bezug, std::nullopt) << pfad;
    }
}

TEST(NetzLader, IsOfflineWhereNobodyAnswersAndSaysWhenAnAnswerBreaksOff) {
    EXPECT_EQ(hole(werkzeug::toteAdresse() + "/a").bezug, Fehlerart::keineVerbindung);
    werkzeug::HttpAttrappe server{[](HttpAnfrage const& anfrage) -> HttpAntwort {
        if (anfrage.pfad == "/stumm")
            return {.ohneAntwort = true};
        return {.koerper = std::string(10'000, 'x'), .abschneiden = 5'000};
    }};
    EXPECT_EQ(hole(server.adresse() + "/stumm").bezug, Fehlerart::keineVerbindung);
    EXPECT_EQ(hole(server.adresse() + "/halb", 10'000).bezug, Fehlerart::gestoert);
}

TEST(NetzLader, GivesUpOnAServerThatSaysNothing) {
    werkzeug::HttpAttrappe server{[](HttpAnfrage const&) {
        return HttpAntwort{.haengen = true};
    }};
    EXPECT_EQ(
        hole(server.adresse() + "/a", 1000, NetzLader::Schema::auchHttp, nullptr, 1s).bezug,
        Fehlerart::zeitAbgelaufen);
}

TEST(NetzLader, EndsWhenItIsTold) {
    std::atomic<bool> abbruch{false};
    werkzeug::HttpAttrappe server{[&](HttpAnfrage const&) {
        abbruch = true;
        return HttpAntwort{.haengen = true};
    }};
    EXPECT_EQ(
        hole(server.adresse() + "/a", 1000, NetzLader::Schema::auchHttp, &abbruch, 30s).bezug,
        Fehlerart::gestoppt);
}

TEST(NetzLader, StopsWhenTheDiskTakesNoMore) {
    werkzeug::HttpAttrappe server{[](HttpAnfrage const&) {
        return HttpAntwort{.koerper = "x"};
    }};
    std::atomic<bool> const nie{false};
    EXPECT_EQ(
        NetzLader{NetzLader::Schema::auchHttp}.laden(
            {.url = server.adresse() + "/a",
             .hoechstens = 10,
             .ablage =
                 [](char const*, std::size_t) {
                     return Ergebnis<void>{errnoFehler("/voll", "Nicht abzulegen", ENOSPC)};
                 }},
            nie),
        Ergebnis<void>{errnoFehler("/voll", "Nicht abzulegen", ENOSPC)});
}
