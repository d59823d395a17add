#include "grundlage/belegdatei.h"
#include "grundlage/pruefsumme.h"
#include "werkzeug/ordner_auf_zeit.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

using namespace quillmate;

namespace {

struct Belegdateien : testing::Test {
    Belegdatei datei(std::string const& inhalt) {
        return *Belegdatei::oeffnen(ordner.datei("x.pdf", inhalt));
    }
    werkzeug::OrdnerAufZeit ordner;
};

} // namespace

TEST_F(Belegdateien, WhatIsReadIsTheFileThatWasOpenedWhateverTakesItsPlace) {
    auto x = datei("alt");
    std::filesystem::remove(x.pfad());
    ordner.datei("x.pdf", "neu");
    EXPECT_EQ(x.inhalt(100, "<", ">"), "<alt>");
    EXPECT_EQ(x.pruefsumme(100), hexadezimal(sha256("alt")));
    EXPECT_EQ(x.unveraendert(), false);
}

TEST_F(Belegdateien, ReadingLeavesTheOffsetThatReadersShareAtTheBeginning) {
    auto x = datei("abc");
    (void)x.pruefsumme(100);
    (void)x.inhalt(100);
    EXPECT_EQ(::lseek(x.deskriptor(), 0, SEEK_CUR), 0);
    char c = 0;
    ASSERT_EQ(::read(x.deskriptor(), &c, 1), 1);
    EXPECT_EQ(::lseek(x.deskriptor(), 0, SEEK_CUR), 0);
}

TEST_F(Belegdateien, AChangeOfContentIsSeenAlsoWhenSizeAndTimeArePutBack) {
    auto const pfad = ordner.datei("x.pdf", "abc");
    struct stat vorher {};
    ASSERT_EQ(::stat(pfad.c_str(), &vorher), 0);
    auto x = *Belegdatei::oeffnen(pfad);
    EXPECT_EQ(x.unveraendert(), true);
    timespec const zeiten[2]{vorher.st_atim, vorher.st_mtim};
    // The clock of a file system may tick only every few milliseconds.
    for (int i = 0; i < 1000 && *x.unveraendert(); ++i) {
        std::ofstream{pfad} << "xyz";
        ASSERT_EQ(::utimensat(AT_FDCWD, pfad.c_str(), zeiten, 0), 0);
        ::usleep(1000);
    }
    EXPECT_EQ(x.unveraendert(), false);
    ASSERT_TRUE(x.standErneuern());
    EXPECT_EQ(x.unveraendert(), true);
    EXPECT_EQ(x.inhalt(100), "xyz");
}

TEST_F(Belegdateien, TheDigestIsComputedOnceForEachState) {
    auto x = datei("abc");
    x.pruefsummeBekannt(x.stand(), "vorab");
    EXPECT_EQ(x.pruefsumme(100), "vorab");
    ASSERT_TRUE(x.standErneuern());
    EXPECT_EQ(x.pruefsumme(100), hexadezimal(sha256("abc")));
    auto anderer = x.stand();
    ++anderer.zustand;
    x.pruefsummeBekannt(anderer, "eines anderen Standes");
    EXPECT_EQ(x.pruefsumme(100), hexadezimal(sha256("abc")));
}

TEST_F(Belegdateien, ReadingEndsWhenItIsToldTo) {
    auto x = datei(std::string(1'000'000, 'x'));
    int gefragt = 0;
    auto const summe = x.pruefsumme(10'000'000, [&] { return ++gefragt == 3; });
    ASSERT_FALSE(summe);
    EXPECT_EQ(summe.error().art, Fehlerart::gestoppt);
    EXPECT_FALSE(summe.error().sagtEtwasUeberDieSache());
    EXPECT_EQ(gefragt, 3);
    EXPECT_EQ(x.inhalt(10'000'000, {}, {}, [] { return true; }).error().art, Fehlerart::gestoppt);
}

TEST_F(Belegdateien, TooLargeFilesAreNotRead) {
    auto x = datei("abcd");
    EXPECT_EQ(x.pruefsumme(3).error().art, Fehlerart::zuGross);
    EXPECT_EQ(x.inhalt(3).error().art, Fehlerart::zuGross);
    EXPECT_TRUE(x.inhalt(4));
    std::ofstream{x.pfad(), std::ios::app} << "e"; // grows while it is open
    EXPECT_EQ(x.inhalt(4).error().art, Fehlerart::zuGross);
}

TEST_F(Belegdateien, AClosedFileIsOpenedAgainOnlyInTheStateThatItWasIn) {
    auto x = datei("abc");
    auto const summe = x.pruefsumme(100);
    x.schliessen();
    EXPECT_EQ(x.deskriptor(), -1);
    ASSERT_TRUE(x.wiederOeffnen());
    EXPECT_EQ(x.inhalt(100), "abc");
    EXPECT_EQ(x.pruefsumme(100), summe);
    x.schliessen();
    std::filesystem::remove(x.pfad());
    EXPECT_EQ(x.wiederOeffnen().error().art, Fehlerart::nichtGefunden);
    ordner.datei("anderswo", "halten"); // takes the free inode
    ordner.datei("x.pdf", "abc");
    auto const andere = x.wiederOeffnen();
    ASSERT_FALSE(andere);
    EXPECT_EQ(andere.error().art, Fehlerart::gestoert);
}

TEST_F(Belegdateien, WantOfDescriptorsSaysNothingAboutTheFile) {
    auto const pfad = ordner.datei("x.pdf", "abc");
    rlimit vorher{};
    ::getrlimit(RLIMIT_NOFILE, &vorher);
    rlimit const keine{.rlim_cur = 0, .rlim_max = vorher.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &keine);
    auto const ohne = Belegdatei::oeffnen(pfad);
    ::setrlimit(RLIMIT_NOFILE, &vorher);
    ASSERT_FALSE(ohne);
    EXPECT_EQ(ohne.error().art, Fehlerart::keineMittel);
    EXPECT_FALSE(ohne.error().sagtEtwasUeberDieSache());
    EXPECT_TRUE(Belegdatei::oeffnen(pfad));
}

TEST_F(Belegdateien, ACopyInMemoryIsTheStateThatWasOpenedWhateverComesAfter) {
    auto const pfad = ordner.datei("a.pdf", "vorher");
    auto datei = Belegdatei::oeffnen(pfad).value();
    EXPECT_EQ(datei.abbilden(100), true);
    std::ofstream{pfad} << "nachher";
    EXPECT_EQ(datei.unveraendert(), true);
    EXPECT_EQ(datei.inhalt(100), "vorher");
    EXPECT_EQ(datei.pruefsumme(100), hexadezimal(sha256("vorher")));
    datei.schliessen();
    EXPECT_FALSE(datei.wiederOeffnen()) << "it is another state now";
    EXPECT_EQ(Belegdatei::oeffnen(pfad).value().abbilden(3).error().art, Fehlerart::zuGross);
}

TEST_F(Belegdateien, OnlyRegularFilesAreOpened) {
    ASSERT_EQ(::mkfifo(ordner.pfad("rohr.pdf").c_str(), 0600), 0);
    EXPECT_EQ(Belegdatei::oeffnen(ordner.pfad("rohr.pdf")).error().art, Fehlerart::falscheForm);
    EXPECT_EQ(Belegdatei::oeffnen(ordner.pfad()).error().art, Fehlerart::falscheForm);
    EXPECT_EQ(Belegdatei::oeffnen(ordner.pfad("fehlt")).error().art, Fehlerart::nichtGefunden);
}
