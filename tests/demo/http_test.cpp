// What strangers may do to the service's connections.
#include "demo/dienstprozess.h"
#include "demo/hilfsordner.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <memory>
#include <thread>

namespace quillmate::demo::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::StartsWith;

// A sanitizer keeps several bytes of its own for each of the service's.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr long speichermass = 6;
#else
constexpr long speichermass = 1;
#endif

class HttpTest : public testing::Test {
protected:
    Hilfsordner ordner;
    Dienstprozess dienst{ordner.pfad(), {"--ohne-texte", "--token", "t"}};
    Klient klient;

    bool antwortetNoch() { return klient.hole(dienst.url("/clients/1/local-scan/progress")).status == 200; }

    /// Highest amount of memory the service ever held, in kB.
    [[nodiscard]] long spitze() const {
        std::ifstream lage{fmt::format("/proc/{}/status", dienst.pid())};
        for (std::string wort; lage >> wort;)
            if (wort == "VmHWM:") {
                long wert = 0;
                lage >> wert;
                return wert;
            }
        return 0;
    }
};

TEST_F(HttpTest, ServiceListensOnLoopbackOnly) {
    EXPECT_THAT(dienst.meldung().at("adresse").get<std::string>(), StartsWith("http://127.0.0.1:"));
    std::ifstream tabelle{fmt::format("/proc/{}/net/tcp", dienst.pid())};
    auto const hexPort = fmt::format(":{:04X}", dienst.port());
    bool gefunden = false;
    for (std::string zeile; std::getline(tabelle, zeile);)
        if (zeile.find(hexPort + " 00000000:0000 0A") != std::string::npos) {
            gefunden = true;
            EXPECT_THAT(zeile, HasSubstr("0100007F" + hexPort));
        }
    EXPECT_TRUE(gefunden);
}

TEST_F(HttpTest, BodyAnnouncedTooLargeIsRefusedBeforeItIsSent) {
    Leitung leitung{dienst.port()};
    ASSERT_TRUE(
        leitung.sende("POST /clients/1/local-receipts/upload?token=t HTTP/1.1\r\nHost: x\r\n"
                      "Content-Type: multipart/form-data; boundary=g\r\nContent-Length: 9000000000\r\n\r\n"));
    auto const antwort = leitung.empfange();
    EXPECT_THAT(antwort, StartsWith("HTTP/1.1 413"));
    EXPECT_THAT(antwort, HasSubstr("detail"));
    EXPECT_THAT(antwort, HasSubstr("Connection: close"));
}

TEST_F(HttpTest, SenderThatAsksForLeaveFirstHearsTheRefusal) {
    Leitung leitung{dienst.port()};
    ASSERT_TRUE(leitung.sende("POST /clients/1/local-receipts/upload?token=t HTTP/1.1\r\nHost: x\r\n"
                              "Expect: 100-continue\r\nContent-Length: 9000000000\r\n\r\n"));
    EXPECT_THAT(leitung.empfange(), StartsWith("HTTP/1.1 413"));
}

TEST_F(HttpTest, EndlessChunkedBodyIsRefusedWhenItGrowsTooLarge) {
    Leitung leitung{dienst.port()};
    ASSERT_TRUE(
        leitung.sende("POST /clients/1/local-receipts/upload?token=t HTTP/1.1\r\nHost: x\r\n"
                      "Content-Type: multipart/form-data; boundary=g\r\nTransfer-Encoding: chunked\r\n\r\n"));
    auto const stueck = "100000\r\n" + std::string(0x100000, 'x') + "\r\n";
    for (int i = 0; i < 500 && leitung.sende(stueck); ++i) {
    }
    // The rest may be taken and thrown away for a moment, so that the answer is not lost; it must not be
    // kept.
    EXPECT_THAT(leitung.empfange("detail"), StartsWith("HTTP/1.1 413"));
    EXPECT_LT(spitze(), speichermass * 200 * 1024);
    EXPECT_TRUE(antwortetNoch());
}

TEST_F(HttpTest, ChunkedUploadIsTaken) {
    std::string const koerper =
        "--g\r\nContent-Disposition: form-data; name=\"file\"; filename=\"a.pdf\"\r\n\r\nx\r\n--g--\r\n";
    Leitung leitung{dienst.port()};
    ASSERT_TRUE(leitung.sende(fmt::format(
        "POST /clients/1/local-receipts/upload?token=t HTTP/1.1\r\nHost: x\r\n"
        "Content-Type: multipart/form-data; boundary=g\r\nTransfer-Encoding: "
        "chunked\r\n\r\n{:x}\r\n{}\r\n0\r\n\r\n",
        koerper.size(), koerper)));
    EXPECT_THAT(leitung.empfange("}"), StartsWith("HTTP/1.1 200"));
}

TEST_F(HttpTest, BodyThatEndsEarlyIsRefusedAndNothingIsStored) {
    Leitung leitung{dienst.port()};
    ASSERT_TRUE(leitung.sende(
        "POST /clients/1/local-receipts/upload?token=t HTTP/1.1\r\nHost: x\r\n"
        "Content-Type: multipart/form-data; boundary=g\r\nContent-Length: 1000\r\n\r\n--g\r\n"));
    leitung.schliesseHin();
    EXPECT_THAT(leitung.empfange(), StartsWith("HTTP/1.1 400"));
    EXPECT_EQ(klient.hole(dienst.url("/clients/1/belege")).json().at("belege").size(), 0U);
}

TEST_F(HttpTest, ContradictoryLengthsAreRefused) {
    for (std::string_view const laengen :
         {"Content-Length: 5\r\nContent-Length: 6\r\n", "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n",
          "Content-Length: -1\r\n", "Content-Length: 5x\r\n"}) {
        Leitung leitung{dienst.port()};
        ASSERT_TRUE(leitung.sende(fmt::format(
            "POST /clients/1/local-scan/stop?token=t HTTP/1.1\r\nHost: x\r\n{}\r\nhallo", laengen)));
        EXPECT_THAT(leitung.empfange(), StartsWith("HTTP/1.1 400")) << laengen;
    }
}

TEST_F(HttpTest, BodyOfARequestThatNeedsNoneIsNotTakenForTheNextRequest) {
    std::string const versteckt =
        "POST /clients/1/local-scan/stop?token=t HTTP/1.1\r\nHost: x\r\nContent-Length: 0\r\n\r\n";
    Leitung leitung{dienst.port()};
    ASSERT_TRUE(leitung.sende(fmt::format(
        "GET /clients/1/local-scan/progress?token=t HTTP/1.1\r\nHost: x\r\nContent-Length: {}\r\n\r\n{}",
        versteckt.size(), versteckt)));
    EXPECT_THAT(leitung.empfange(), HasSubstr("\"gestoppt\":false"));
    EXPECT_EQ(klient.hole(dienst.url("/clients/1/local-scan/progress")).json().at("gestoppt"), false);
}

TEST_F(HttpTest, RequestsOnOneConnectionAreAnsweredInOrder) {
    Leitung leitung{dienst.port()};
    std::string anfragen;
    for (int i = 0; i < 20; ++i)
        anfragen +=
            "POST /clients/1/local-scan/stop?token=t HTTP/1.1\r\nHost: x\r\nContent-Length: 2\r\n\r\n{}";
    ASSERT_TRUE(
        leitung.sende(anfragen + "GET /nichts?token=t HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"));
    auto const antworten = leitung.empfange();
    std::size_t anzahl = 0;
    for (auto stelle = antworten.find("HTTP/1.1 200"); stelle != std::string::npos;
         stelle = antworten.find("HTTP/1.1 200", stelle + 1))
        ++anzahl;
    EXPECT_EQ(anzahl, 20U);
    EXPECT_THAT(antworten, HasSubstr("HTTP/1.1 404"));
}

TEST_F(HttpTest, EndlessHeaderLinesEndTheConnection) {
    Leitung leitung{dienst.port()};
    ASSERT_TRUE(leitung.sende("GET / HTTP/1.1\r\n"));
    std::string zeilen;
    for (int i = 0; i < 1000; ++i)
        zeilen += fmt::format("X-{}: {}\r\n", i, std::string(100, 'y'));
    for (int i = 0; i < 1000 && leitung.sende(zeilen); ++i) {
    }
    auto const beginn = std::chrono::steady_clock::now();
    (void)leitung.empfange();
    EXPECT_LT(std::chrono::steady_clock::now() - beginn, 10s);
    EXPECT_LT(spitze(), speichermass * 100 * 1024);
    EXPECT_TRUE(antwortetNoch());
}

TEST_F(HttpTest, HeaderOfSlowlyComingBytesEndsTheConnectionAsAWhole) {
    Leitung leitung{dienst.port()};
    ASSERT_TRUE(leitung.sende("GET /clients/1/belege?token=t HTTP/1.1\r\n"));
    auto const beginn = std::chrono::steady_clock::now();
    // Each byte would begin a new wait if only the pause between two of them were bounded.
    while (std::chrono::steady_clock::now() - beginn < 25s && leitung.sende("X"))
        std::this_thread::sleep_for(200ms);
    EXPECT_LT(std::chrono::steady_clock::now() - beginn, 20s);
}

TEST_F(HttpTest, PackedBodyIsRefused) {
    Leitung leitung{dienst.port()};
    ASSERT_TRUE(leitung.sende("POST /clients/1/local-scan/stop?token=t HTTP/1.1\r\nHost: x\r\n"
                              "Content-Encoding: gzip\r\nContent-Length: 2\r\n\r\n{}"));
    EXPECT_THAT(leitung.empfange(), StartsWith("HTTP/1.1 415"));
}

TEST_F(HttpTest, HeadGetsTheHeaderOfGetAndNoBody) {
    Leitung leitung{dienst.port()};
    ASSERT_TRUE(
        leitung.sende("HEAD /clients/1/belege?token=t HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"));
    auto const antwort = leitung.empfange();
    EXPECT_THAT(antwort, StartsWith("HTTP/1.1 200"));
    EXPECT_TRUE(antwort.ends_with("\r\n\r\n")) << antwort;
}

TEST_F(HttpTest, RubbishAndLongAddressesAreRefused) {
    for (std::string const& anfrage :
         {std::string{"\r\n\r\n"}, std::string{"HALLO\r\n\r\n"}, std::string{"\0\xFF\x01\r\n\r\n", 7},
          "GET /" + std::string(3000, 'a') + " HTTP/1.1\r\nHost: x\r\n\r\n",
          "GET /" + std::string(100000, 'a') + " HTTP/1.1\r\n\r\n",
          "GET /clients/" + std::string(900, '1') + "/belege?token=t HTTP/1.1\r\nHost: x\r\n\r\n",
          std::string{"BREW /clients/1/belege?token=t HTTP/1.1\r\nHost: x\r\n\r\n"},
          std::string{"DELETE /clients/1/belege?token=t HTTP/1.1\r\nHost: x\r\n\r\n"}}) {
        Leitung leitung{dienst.port()};
        (void)leitung.sende(anfrage);
        leitung.schliesseHin();
        auto const antwort = leitung.empfange();
        EXPECT_TRUE(antwort.empty() || antwort.starts_with("HTTP/1.1 4")) << anfrage.substr(0, 40) << "\n"
                                                                          << antwort;
    }
    EXPECT_TRUE(antwortetNoch());
}

TEST_F(HttpTest, ManyIdleConnectionsDoNotKeepOthersOut) {
    std::vector<std::unique_ptr<Leitung>> untaetige;
    for (int i = 0; i < 60; ++i)
        untaetige.push_back(std::make_unique<Leitung>(dienst.port()));
    EXPECT_TRUE(antwortetNoch());
}

TEST_F(HttpTest, SignalEndsTheServiceWithinASecondAlsoWithOpenConnections) {
    for (auto const signal : {SIGTERM, SIGINT}) {
        Hilfsordner const eigener;
        Dienstprozess eigenerDienst{eigener.pfad()};
        Klient offener;
        ASSERT_EQ(offener.hole(eigenerDienst.url("/clients/1/belege")).status, 200);
        Leitung const stumme{eigenerDienst.port()};
        Leitung halbe{eigenerDienst.port()};
        ASSERT_TRUE(halbe.sende("POST /clients/1/local-scan/stop?token=t HTTP/1.1\r\nContent-Length: 5\r\n"));
        auto const beginn = std::chrono::steady_clock::now();
        auto const ende = eigenerDienst.beende(signal);
        ASSERT_TRUE(ende.has_value());
        EXPECT_LT(std::chrono::steady_clock::now() - beginn, 1s);
        EXPECT_EQ(ende->status, 0);
    }
}

TEST_F(HttpTest, SignalRightAfterTheStartEndsTheService) {
    for (int i = 0; i < 20; ++i) {
        Hilfsordner const eigener;
        Dienstprozess eigenerDienst{eigener.pfad()};
        auto const ende = eigenerDienst.beende(SIGTERM);
        ASSERT_TRUE(ende.has_value());
        EXPECT_EQ(ende->status, 0);
    }
}

} // namespace
} // namespace quillmate::demo::test
