// A file that is not readable now: neither judged nor sent, tried once more, and read again by the next scan.
#include "suchwelt.h"
#include "werkzeug/fehlerausgabe.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace quillmate::MacScan {
namespace {

using Namen = std::multiset<std::string>;
constexpr char const* belegtext = "Rechnung Nr. 5 vom Hotel, Summe 12,50 EUR";

class NichtLesbar : public ::testing::Test {
protected:
    /// The closing message of one scan.
    Json laufe() {
        welt.meldungenVergessen();
        log = werkzeug::fehlerausgabe([&] {
            suche.starten({.zugang = welt.zugang()}, welt.melder());
            EXPECT_TRUE(werkzeug::wartenBis([&] { return !suche.laeuft(); }));
        });
        return welt.alleMeldungen().back();
    }
    werkzeug::Suchwelt welt;
    MacScan::Suche suche{welt.umgebung()}; // One for all scans: its end is that of the service's calls.
    std::string log;
};

TEST_F(NichtLesbar, IsTriedOnceMoreAndThenCountedAndNotSent) {
    welt.heim.datei("Desktop/a.pdf", "stoert");
    welt.heim.datei("Desktop/b.pdf", belegtext);
    auto const ende = laufe();
    EXPECT_EQ(welt.service.hochgeladen(), Namen{"b.pdf"});
    EXPECT_EQ(ende["gruende"]["nichtLesbar"], 1);
    EXPECT_EQ(ende["gruende"]["hochladen"], 1);
    EXPECT_EQ(welt.leser.gelesen, 3); // a twice, b once
    EXPECT_FALSE(ende.contains("fehler"));
}

TEST_F(NichtLesbar, AndReadableTheSecondTimeIsJudgedAsUsual) {
    welt.heim.datei("Desktop/a.jpg", "einmal gestoert");
    auto const ende = laufe();
    EXPECT_EQ(ende["gruende"]["nichtLesbar"], 0);
    EXPECT_EQ(ende["gruende"]["keinBelegtext"], 1);
    EXPECT_EQ(welt.leser.gelesen, 2);
}

TEST_F(NichtLesbar, AndWholeAgainIsSentByTheNextScan) {
    welt.heim.datei("Desktop/a.pdf", belegtext);
    welt.leser.immerGestoert = true;
    EXPECT_EQ(laufe()["gruende"]["nichtLesbar"], 1);
    EXPECT_EQ(welt.service.hochgeladen(), Namen{});
    welt.leser.immerGestoert = false;
    auto const ende = laufe();
    EXPECT_EQ(ende["gruende"]["hochgeladen"], 1) << ende << log;
    EXPECT_EQ(welt.service.hochgeladen(), Namen{"a.pdf"});
}

TEST_F(NichtLesbar, AFileOverWhichEveryReaderDiesIsLeftAfterFiveScansUntilItsBytesChange) {
    welt.heim.datei("Desktop/a.pdf", "stoert");
    for (int scan = 1; scan <= 7; ++scan) {
        EXPECT_EQ(laufe()["gruende"]["nichtLesbar"], 1);
        EXPECT_EQ(welt.leser.gelesen, 2 * std::min(scan, 5));
    }
    welt.heim.datei("Desktop/a.pdf", belegtext);
    EXPECT_EQ(laufe()["gruende"]["hochgeladen"], 1);
}

TEST_F(NichtLesbar, IsSaidOncePerCauseInTheLog) {
    for (int i = 0; i < 5; ++i)
        welt.heim.datei("Desktop/" + std::to_string(i) + ".pdf", "stoert");
    (void)laufe();
    auto const erste = log.find("jetzt nicht lesbar");
    EXPECT_NE(erste, std::string::npos) << log;
    EXPECT_EQ(log.find("jetzt nicht lesbar", erste + 1), std::string::npos) << log;
}

TEST_F(NichtLesbar, ABrokenInstallationSaysSoAndSendsNothing) {
    welt.heim.datei("Desktop/a.pdf", "ohne Leser");
    welt.heim.datei("Desktop/b.jpg", "ohne Leser");
    auto const ende = laufe();
    EXPECT_EQ(ende["fehler"], "Niemand liest.");
    EXPECT_EQ(ende["gruende"]["nichtLesbar"], 2);
    EXPECT_EQ(ende["gruende"]["keinBelegtext"], 0);
    EXPECT_EQ(welt.service.hochgeladen(), Namen{});
    EXPECT_NE(log.find("Niemand liest."), std::string::npos) << log;
}

} // namespace
} // namespace quillmate::MacScan
