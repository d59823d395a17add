#include "netz/http.h"
#include "netz/vermittler.h"
#include "werkzeug/http_attrappe.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <mutex>
#include <string>
#include <thread>

// What lies between a request and its answer: redirects, proxies, answers of any size.
using namespace quillmate;
using namespace quillmate::netz;
using werkzeug::HttpAnfrage;
using werkzeug::HttpAntwort;
using werkzeug::HttpAttrappe;
using namespace std::chrono_literals;

namespace {

using Texte = std::vector<std::string>;

HttpAntwort weiter(int status, std::string const& wohin) {
    return {.status = status, .weitererKopf = "Location: " + wohin + "\r\n"};
}

Anfrage hoch(std::string const& url) {
    return {.url = url, .koerper = "beleg", .inhaltstyp = "x/y"};
}

} // namespace

// ---------------------------------------------------------------------------------------------- sizes

TEST(Antwort, IsOneWhateverItsSizeUpToTheLimit) {
    HttpAttrappe const server{[](HttpAnfrage const&) {
        return HttpAntwort{.koerper = std::string(15U << 20U, 'x')};
    }};
    Leitungen leitungen;
    auto const ausgang = leitungen.senden(hoch(server.adresse()), 60s);
    EXPECT_EQ(ausgang.status, 200);
    EXPECT_TRUE(ausgang.angenommen());
    EXPECT_FALSE(ausgang.gekuerzt);
}

TEST(Antwort, OfALargerOneTheBeginningIsReadAndItStillCounts) {
    HttpAttrappe const server{[](HttpAnfrage const&) {
        return HttpAntwort{.koerper = std::string(5'000'000, 'x')};
    }};
    Leitungen leitungen;
    auto anfrage = hoch(server.adresse());
    anfrage.hoechstAntwort = 4096;
    std::string antwort;
    auto const ausgang = leitungen.senden(anfrage, 60s, &antwort);
    EXPECT_EQ(ausgang.status, 200);
    EXPECT_TRUE(ausgang.gekuerzt);
    EXPECT_TRUE(ausgang.angenommen());
    EXPECT_EQ(antwort.size(), 4096U);
    EXPECT_EQ(server.anfragen().size(), 1U);
}

TEST(Antwort, AWebPageInItsPlaceIsNoAcceptance) {
    for (auto const* const typ : {"text/html", "TEXT/HTML; charset=utf-8"}) {
        HttpAttrappe const server{[typ](HttpAnfrage const&) {
            return HttpAntwort{.koerper = "<html>Anmelden", .inhaltstyp = typ};
        }};
        Leitungen leitungen;
        auto const ausgang = leitungen.senden(hoch(server.adresse()), 20s);
        EXPECT_EQ(ausgang.status, 200);
        EXPECT_FALSE(ausgang.angenommen()) << typ;
    }
}

// ---------------------------------------------------------------------------------------------- redirects

TEST(Weiterleitung, OfAnUploadIsFollowedWithinTheOriginWithTheSameBody) {
    for (int const status : {307, 308}) {
        HttpAttrappe const server{[status](HttpAnfrage const& anfrage) {
            return anfrage.pfad == "/ziel" ? HttpAntwort{} : weiter(status, "/ziel?token=t");
        }};
        Leitungen leitungen;
        EXPECT_EQ(leitungen.senden(hoch(server.adresse() + "/hoch"), 20s).status, 200);
        auto const anfragen = server.anfragenAn("/ziel");
        ASSERT_EQ(anfragen.size(), 1U);
        EXPECT_EQ(anfragen[0].methode, "POST");
        EXPECT_EQ(anfragen[0].koerper, "beleg");
        EXPECT_EQ(anfragen[0].koepfe.at("content-type"), "x/y");
    }
}

TEST(Weiterleitung, OfAnUploadToAnotherServerGetsNothing) {
    HttpAttrappe const fremd{[](HttpAnfrage const&) {
        return HttpAntwort{};
    }};
    auto const anschluss = fremd.adresse().substr(std::string{"http://127.0.0.1"}.size());
    for (auto const& wohin :
         {fremd.adresse() + "/x", "http://localhost" + anschluss + "/x",
          "https://127.0.0.1" + anschluss + "/x", "//127.0.0.1" + anschluss + "/x",
          std::string{"ftp://127.0.0.1/"}}) {
        HttpAttrappe const server{[&](HttpAnfrage const&) {
            return weiter(307, wohin);
        }};
        Leitungen leitungen;
        auto const ausgang = leitungen.senden(hoch(server.adresse()), 20s);
        EXPECT_EQ(ausgang.status, 307);
        ASSERT_TRUE(ausgang.grund) << wohin;
        EXPECT_EQ(ausgang.grund->satz, "Der Server leitet zu einem anderen weiter, der nichts bekommt");
        EXPECT_EQ(ausgang.grund->art, Fehlerart::abgelehnt);
    }
    EXPECT_TRUE(fremd.anfragen().empty());
}

TEST(Weiterleitung, OfAnUploadHappensFiveTimesAtMost) {
    HttpAttrappe const server{[](HttpAnfrage const& anfrage) {
        return anfrage.pfad == "/5"
                   ? HttpAntwort{}
                   : weiter(308, "/" + std::to_string(std::stoi(anfrage.pfad.substr(1)) + 1));
    }};
    Leitungen leitungen;
    EXPECT_EQ(leitungen.senden(hoch(server.adresse() + "/0"), 20s).status, 200);
    HttpAttrappe const kreis{[](HttpAnfrage const&) {
        return weiter(307, "/");
    }};
    auto const ausgang = leitungen.senden(hoch(kreis.adresse()), 20s);
    EXPECT_EQ(ausgang.status, 307);
    EXPECT_EQ(kreis.anfragen().size(), 6U);
    EXPECT_EQ(ausgang.grund->satz, "Der Server leitet zu oft weiter");
}

TEST(Weiterleitung, ThatWouldMakeAGetOfAnUploadIsNotFollowedAndSaysWhy) {
    for (int const status : {301, 302, 303}) {
        HttpAttrappe const server{[status](HttpAnfrage const& anfrage) {
            return anfrage.pfad == "/ziel" ? HttpAntwort{} : weiter(status, "/ziel");
        }};
        Leitungen leitungen;
        auto const ausgang = leitungen.senden(hoch(server.adresse() + "/hoch"), 20s);
        EXPECT_EQ(ausgang.status, status);
        ASSERT_TRUE(ausgang.grund);
        EXPECT_TRUE(ausgang.grund->satz.contains("er hat den Inhalt vielleicht")) << ausgang.grund->satz;
        EXPECT_EQ(server.anfragen().size(), 1U);
    }
}

// ---------------------------------------------------------------------------------------------- only once

TEST(NurEinmal, AnUploadIsNotRepeatedWhenAKeptConnectionTurnsOutToBeDead) {
    // Every connection serves one request and closes at the second one without a byte, as if it had stored it and died.
    std::atomic<int> nummer{0};
    HttpAttrappe const server{[&](HttpAnfrage const&) {
        return ++nummer == 2 ? HttpAntwort{.ohneAntwort = true} : HttpAntwort{};
    }};
    Leitungen leitungen;
    EXPECT_EQ(leitungen.senden(hoch(server.adresse()), 20s).status, 200);
    auto anfrage = hoch(server.adresse());
    anfrage.nurEinmal = true;
    EXPECT_FALSE(leitungen.senden(anfrage, 20s).status);
    EXPECT_EQ(server.anfragen().size(), 2U);
}

// ---------------------------------------------------------------------------------------------- addresses

TEST(Adresse, WhatIsNoneIsNotSentTo) {
    Leitungen leitungen;
    for (auto const* const url :
         {"", "h/a", "file:///etc/passwd", "ftp://127.0.0.1/", "http://", "http:/127.0.0.1/",
          "http:///127.0.0.1/", "http://a@127.0.0.1/", "http://127.1/", "127.0.0.1"}) {
        auto const ausgang = leitungen.senden({.url = url}, 5s);
        EXPECT_FALSE(ausgang.status) << url;
        EXPECT_EQ(ausgang.fehler, "Die Adresse des Servers ist ungültig.") << url;
        EXPECT_EQ(ausgang.grund->art, Fehlerart::falscheForm) << url;
    }
}

TEST(Grund, NamesTheServerAndNeverTheToken) {
    Leitungen leitungen;
    auto const ausgang = leitungen.senden({.url = werkzeug::toteAdresse() + "/x?token=geheim"}, 5s);
    ASSERT_TRUE(ausgang.grund);
    EXPECT_EQ(ausgang.grund->art, Fehlerart::keineVerbindung);
    EXPECT_EQ(ausgang.grund->wo, werkzeug::toteAdresse().substr(0, 17) + ausgang.grund->wo.substr(17));
    EXPECT_FALSE(ausgang.grund->text().contains("geheim"));
    EXPECT_FALSE(ausgang.grund->sagtEtwasUeberDieSache());
}

// ---------------------------------------------------------------------------------------------- proxies

namespace {

class FesteVermittler final : public Vermittlersuche {
public:
    explicit FesteVermittler(Texte genannt)
        : genannt_(std::move(genannt)) {}
    [[nodiscard]] Texte fuer(Ursprung const& ziel) override {
        std::lock_guard const schutz{sperre_};
        gefragt.push_back(ziel.text());
        return genannt_;
    }
    Texte gefragt;

private:
    std::mutex sperre_;
    Texte const genannt_;
};

bool ganz(int fd, void* ziel, std::size_t anzahl) {
    auto* stelle = static_cast<char*>(ziel);
    while (anzahl > 0) {
        auto const n = ::recv(fd, stelle, anzahl, 0);
        if (n <= 0)
            return false;
        stelle += n;
        anzahl -= static_cast<std::size_t>(n);
    }
    return true;
}

/// A SOCKS5 proxy for one connection: takes user and password when asked to, notes the name it is to connect to, and
/// connects to `ziel` whatever that is.
class Socks5 {
public:
    Socks5(int ziel, bool mitPasswort)
        : horcher_(::socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in adresse{
            .sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
        ::bind(horcher_, reinterpret_cast<sockaddr*>(&adresse), sizeof adresse);
        ::listen(horcher_, 1);
        socklen_t laenge = sizeof adresse;
        ::getsockname(horcher_, reinterpret_cast<sockaddr*>(&adresse), &laenge);
        anschluss_ = ntohs(adresse.sin_port);
        faden_ = std::jthread{[this, ziel, mitPasswort] {
            bedienen(ziel, mitPasswort);
        }};
    }
    ~Socks5() {
        ::shutdown(horcher_, SHUT_RDWR);
        faden_.join();
        ::close(horcher_);
    }
    Socks5(Socks5 const&) = delete;
    Socks5& operator=(Socks5 const&) = delete;

    [[nodiscard]] std::string adresse(std::string const& schema, std::string const& wer = {}) const {
        return schema + "://" + wer + "127.0.0.1:" + std::to_string(anschluss_);
    }
    /// To be asked once the request has ended.
    std::string name;
    std::string anmeldung;

private:
    void bedienen(int ziel, bool mitPasswort) {
        int const fd = ::accept(horcher_, nullptr, nullptr);
        if (fd < 0)
            return;
        std::array<unsigned char, 512> puffer{};
        auto const lies = [&](std::size_t n) {
            return ganz(fd, puffer.data(), n);
        };
        auto const laengentext = [&] {
            if (!lies(1) || !lies(puffer[0]))
                return std::string{};
            return std::string{reinterpret_cast<char*>(puffer.data())};
        };
        if (lies(2) && lies(puffer[1])) {
            std::array<unsigned char, 2> const wahl{5, static_cast<unsigned char>(mitPasswort ? 2 : 0)};
            ::send(fd, wahl.data(), wahl.size(), MSG_NOSIGNAL);
            if (mitPasswort && lies(1)) {
                puffer.fill(0);
                anmeldung = laengentext();
                puffer.fill(0);
                anmeldung += ':' + laengentext();
                std::array<unsigned char, 2> const gut{1, 0};
                ::send(fd, gut.data(), gut.size(), MSG_NOSIGNAL);
            }
            if (lies(4)) {
                puffer.fill(0);
                name = laengentext();
                lies(2);
                std::array<unsigned char, 10> const gut{5, 0, 0, 1, 0, 0, 0, 0, 0, 0};
                ::send(fd, gut.data(), gut.size(), MSG_NOSIGNAL);
                weiterreichen(fd, ziel);
            }
        }
        ::close(fd);
    }
    static void weiterreichen(int fd, int ziel) {
        int const dort = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in adresse{
            .sin_family = AF_INET,
            .sin_port = htons(static_cast<std::uint16_t>(ziel)),
            .sin_addr = {htonl(INADDR_LOOPBACK)},
            .sin_zero = {}};
        ::connect(dort, reinterpret_cast<sockaddr*>(&adresse), sizeof adresse);
        auto const kopieren = [](int von, int nach) {
            std::array<char, 4096> puffer{};
            for (ssize_t n = 0; (n = ::recv(von, puffer.data(), puffer.size(), 0)) > 0;)
                if (::send(nach, puffer.data(), static_cast<std::size_t>(n), MSG_NOSIGNAL) != n)
                    break;
            ::shutdown(nach, SHUT_RDWR);
            ::shutdown(von, SHUT_RDWR);
        };
        {
            std::jthread const hin{kopieren, fd, dort};
            kopieren(dort, fd);
        }
        ::close(dort);
    }

    int horcher_;
    int anschluss_{0};
    std::jthread faden_;
};

int anschlussVon(HttpAttrappe const& server) {
    auto const adresse = server.adresse();
    return std::stoi(adresse.substr(adresse.rfind(':') + 1));
}

} // namespace

TEST(Vermittler, PlainHttpGoesThroughAnHttpProxyWithUserAndPassword) {
    HttpAttrappe const proxy{[](HttpAnfrage const&) {
        return HttpAntwort{.koerper = "da"};
    }};
    auto adresse = proxy.adresse();
    FesteVermittler suche{{adresse.replace(0, 7, "http://ich:wort@")}};
    Leitungen leitungen{&suche};
    std::string antwort;
    auto const ausgang = leitungen.senden(hoch("http://dienst.invalid/x?token=geheim"), 20s, &antwort);
    EXPECT_EQ(ausgang.status, 200) << ausgang.fehler;
    EXPECT_EQ(antwort, "da");
    ASSERT_EQ(proxy.anfragen().size(), 1U);
    EXPECT_EQ(proxy.anfragen()[0].koepfe.at("host"), "dienst.invalid");
    EXPECT_EQ(proxy.anfragen()[0].koepfe.at("proxy-authorization"), "Basic aWNoOndvcnQ=");
    EXPECT_EQ(proxy.anfragen()[0].koerper, "beleg");
    EXPECT_EQ(suche.gefragt, Texte{"http://dienst.invalid"}); // a configuration script sees no token
}

TEST(Vermittler, HttpsAsksAnHttpProxyForATunnelAndShowsItNothingElse) {
    HttpAttrappe const proxy{[](HttpAnfrage const&) {
        return HttpAntwort{.status = 403};
    }};
    FesteVermittler suche{{proxy.adresse()}};
    Leitungen leitungen{&suche};
    auto const ausgang = leitungen.senden(hoch("https://dienst.invalid/x?token=geheim"), 20s);
    EXPECT_FALSE(ausgang.status); // the proxy refuses: nothing counts as sent
    ASSERT_EQ(proxy.anfragen().size(), 1U);
    EXPECT_EQ(proxy.anfragen()[0].methode, "CONNECT");
    EXPECT_EQ(proxy.anfragen()[0].koepfe.at("host"), "dienst.invalid:443");
    EXPECT_TRUE(proxy.anfragen()[0].koerper.empty());
}

TEST(Vermittler, ASocksProxyResolvesTheNameAndTakesUserAndPassword) {
    for (auto const* const schema : {"socks5", "socks"}) {
        HttpAttrappe const server{[](HttpAnfrage const&) {
            return HttpAntwort{.koerper = "da"};
        }};
        Socks5 const proxy{anschlussVon(server), true};
        FesteVermittler suche{{proxy.adresse(schema, "ich:wort@")}};
        Leitungen leitungen{&suche};
        auto const ausgang = leitungen.senden(hoch("http://dienst.invalid/x"), 20s);
        EXPECT_EQ(ausgang.status, 200) << ausgang.fehler;
        EXPECT_EQ(proxy.name, "dienst.invalid");
        EXPECT_EQ(proxy.anmeldung, "ich:wort");
        EXPECT_EQ(server.anfragenAn("/x").size(), 1U);
    }
}

TEST(Vermittler, IsNeverAskedForThisMachine) {
    HttpAttrappe const server{[](HttpAnfrage const&) {
        return HttpAntwort{};
    }};
    FesteVermittler suche{{werkzeug::toteAdresse()}};
    Leitungen leitungen{&suche};
    EXPECT_EQ(leitungen.senden(hoch(server.adresse()), 20s).status, 200);
    EXPECT_TRUE(suche.gefragt.empty());
}

TEST(Vermittler, TheNextOneIsTriedWhenTheFirstIsNotReached) {
    HttpAttrappe const proxy{[](HttpAnfrage const&) {
        return HttpAntwort{};
    }};
    FesteVermittler suche{{werkzeug::toteAdresse(), proxy.adresse()}};
    Leitungen leitungen{&suche};
    EXPECT_EQ(leitungen.senden(hoch("http://dienst.invalid/x"), 20s).status, 200);
}

TEST(Vermittler, OnesOfUnknownKindsAreLeftOutAndNoneMeansStraight) {
    EXPECT_EQ(curlVermittler({}), Texte{""});
    EXPECT_EQ(curlVermittler({"direct://"}), Texte{""});
    EXPECT_EQ(curlVermittler({"quic://a", "kein", ""}), Texte{""});
    EXPECT_EQ(
        curlVermittler({"socks://a:1", "SOCKS5://b:2", "socks4://c", "https://d", "direct://"}),
        (Texte{"socks5h://a:1", "socks5h://b:2", "socks4a://c", "https://d", ""}));
}
