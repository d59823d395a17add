#include "grundlage/datei.h"
#include "netz/http.h"
#include "werkzeug/http_attrappe.h"
#include "werkzeug/ordner_auf_zeit.h"
#include "werkzeug/warten.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>

using namespace quillmate;
using namespace quillmate::netz;
using werkzeug::HttpAnfrage;
using werkzeug::HttpAntwort;
using werkzeug::HttpAttrappe;
using namespace std::chrono_literals;

namespace {

/// A server that gives the same answer to everything, and a file to send.
struct Sendeprobe {
    explicit Sendeprobe(HttpAntwort antwort)
        : server([antwort](HttpAnfrage const&) { return antwort; }) {}

    [[nodiscard]] Anfrage anfrage(std::string const& inhalt) {
        datei = oeffneDatei(ordner.datei("beleg.pdf", inhalt));
        return {
            .url = server.adresse() + "/hoch",
            .datei =
                Dateikoerper{
                    .vorspann = "davor\r\n",
                    .deskriptor = datei.get(),
                    .groesse = inhalt.size(),
                    .nachspann = "\r\ndanach"},
            .inhaltstyp = "text/probe"};
    }

    werkzeug::OrdnerAufZeit ordner;
    HttpAttrappe server;
    Deskriptor datei;
    Leitungen leitungen;
};

/// Bytes that do not repeat, so that a piece at the wrong place shows.
std::string zaehlbytes(std::size_t anzahl) {
    std::string bytes(anzahl, '\0');
    std::uint32_t stand = 1;
    for (char& byte : bytes) {
        stand = stand * 1664525U + 1013904223U;
        byte = static_cast<char>(stand >> 24U);
    }
    return bytes;
}

} // namespace

TEST(Dateisenden, AFileArrivesBetweenTheTwoTextsByteForByte) {
    for (std::size_t const groesse : {0UL, 1UL, 300UL * 1024 + 7, 3UL * 1024 * 1024}) {
        Sendeprobe p{{.status = 201, .koerper = "angekommen"}};
        auto const inhalt = zaehlbytes(groesse);
        std::string antwort;
        auto const ausgang = p.leitungen.senden(p.anfrage(inhalt), 20s, &antwort);
        EXPECT_EQ(ausgang.status, 201) << ausgang.fehler;
        EXPECT_EQ(antwort, "angekommen");
        ASSERT_EQ(p.server.anfragen().size(), 1U);
        auto const angekommen = p.server.anfragen()[0];
        EXPECT_EQ(angekommen.methode, "POST");
        EXPECT_EQ(angekommen.koepfe.at("content-type"), "text/probe");
        EXPECT_TRUE(angekommen.koerper == "davor\r\n" + inhalt + "\r\ndanach") << groesse;
    }
}

TEST(Dateisenden, TheDescriptorsOffsetDoesNotMatter) {
    Sendeprobe p{{}};
    auto const anfrage = p.anfrage("0123456789");
    ::lseek(p.datei.get(), 5, SEEK_SET);
    EXPECT_EQ(p.leitungen.senden(anfrage, 20s).status, 200);
    EXPECT_EQ(p.leitungen.senden(anfrage, 20s).status, 200); // and any number of times
    for (auto const& angekommen : p.server.anfragen())
        EXPECT_EQ(angekommen.koerper, "davor\r\n0123456789\r\ndanach");
}

TEST(Dateisenden, AFileThatBecameShorterIsATransportError) {
    Sendeprobe p{{}};
    auto anfrage = p.anfrage(zaehlbytes(1000));
    anfrage.datei->groesse = 2000;
    auto const ausgang = p.leitungen.senden(anfrage, 20s);
    EXPECT_FALSE(ausgang.status);
    EXPECT_EQ(ausgang.fehler, "Die Übertragung wurde beendet.");
    EXPECT_TRUE(p.server.anfragen().empty());
}

TEST(Dateisenden, AConnectionThatDiedMeanwhileCostsNothing) {
    // The first answer promises to keep the connection and closes it; the second request finds that out only
    // when it has begun to send.
    std::atomic<int> nummer{0};
    HttpAttrappe server{[&](HttpAnfrage const&) {
        return ++nummer == 1
                   ? HttpAntwort{.roh = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok", .abschneiden = 40}
                   : HttpAntwort{};
    }};
    werkzeug::OrdnerAufZeit const ordner;
    auto const inhalt = zaehlbytes(200'000);
    auto const datei = oeffneDatei(ordner.datei("a", inhalt));
    Leitungen leitungen;
    Anfrage const anfrage{
        .url = server.adresse() + "/hoch",
        .datei =
            Dateikoerper{
                .vorspann = "v", .deskriptor = datei.get(), .groesse = inhalt.size(), .nachspann = "n"},
        .inhaltstyp = "x/y"};
    EXPECT_EQ(leitungen.senden(anfrage, 20s).status, 200);
    EXPECT_EQ(leitungen.senden(anfrage, 20s).status, 200);
    EXPECT_TRUE(server.anfragen().back().koerper == 'v' + inhalt + 'n');
}

TEST(Senden, TheBodyOfARefusalIsHandedOverToo) {
    Sendeprobe p{{.status = 402, .koerper = R"({"detail":"x"})"}};
    std::string antwort;
    EXPECT_EQ(p.leitungen.senden(p.anfrage("x"), 20s, &antwort).status, 402);
    EXPECT_EQ(antwort, R"({"detail":"x"})");
}

TEST(Senden, EachTransportErrorHasAGermanSentence) {
    struct Fall {
        char const* was;
        HttpAntwort antwort;
        char const* satz;
    };
    std::vector<Fall> const faelle{
        {"closed without a byte", {.ohneAntwort = true}, "Die Verbindung zum Server ist abgebrochen."},
        {"cut off in the body",
         {.koerper = std::string(1000, 'x'), .abschneiden = 500},
         "Die Verbindung zum Server ist abgebrochen."},
        {"no HTTP", {.roh = "SSH-2.0-nichts\r\n"}, "Die Antwort des Servers ist nicht lesbar."},
    };
    for (auto const& fall : faelle) {
        Sendeprobe p{fall.antwort};
        auto anfrage = p.anfrage("x");
        anfrage.hoechstAntwort = 4096;
        std::string antwort;
        auto const ausgang = p.leitungen.senden(anfrage, 20s, &antwort);
        EXPECT_FALSE(ausgang.status) << fall.was;
        EXPECT_EQ(ausgang.fehler, fall.satz) << fall.was;
    }
    Leitungen leitungen;
    EXPECT_EQ(
        leitungen.senden({.url = werkzeug::toteAdresse() + "/"}, 20s).fehler,
        "Es kam keine Verbindung zum Server zustande.");
}

TEST(Senden, AServerThatSaysNothingEndsTheRequestAtTheLimit) {
    Sendeprobe p{{.haengen = true}};
    EXPECT_EQ(p.leitungen.senden(p.anfrage("x"), 1s).fehler, "Der Server hat nicht rechtzeitig geantwortet.");
}

TEST(Senden, CancellingEndsWhatIsUnderWayAndWhatComesLater) {
    Sendeprobe p{{.haengen = true}};
    auto anfrage = p.anfrage("x");
    auto laufend = std::async(std::launch::async, [&] { return p.leitungen.senden(anfrage, 60s); });
    ASSERT_TRUE(werkzeug::wartenBis([&] { return !p.server.anfragen().empty(); }));
    p.leitungen.abbrechen();
    EXPECT_EQ(laufend.get().fehler, "Die Übertragung wurde beendet.");
    EXPECT_FALSE(p.leitungen.senden(anfrage, 60s).status);
}

TEST(Senden, AFileIsNotSentAgainWhenAConnectionThatServedBeforeClosesWithoutAnAnswer) {
    std::atomic<int> sendungen{0};
    HttpAttrappe server{[&](HttpAnfrage const& anfrage) {
        if (anfrage.methode == "GET")
            return HttpAntwort{.koerper = "da"};
        ++sendungen;
        return HttpAntwort{.ohneAntwort = true};
    }};
    Leitungen leitungen;
    EXPECT_EQ(leitungen.senden({.url = server.adresse() + "/da"}, 10s).status, 200);
    Sendeprobe probe{{}};
    auto anfrage = probe.anfrage("Beleg");
    anfrage.url = server.adresse() + "/hoch";
    EXPECT_FALSE(leitungen.senden(anfrage, 10s).status);
    EXPECT_EQ(sendungen, 1);
}
