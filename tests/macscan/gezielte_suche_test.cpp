#include "macscan/datum.h"
#include "macscan/gezielte_suche.h"
#include "suchwelt.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <memory>
#include <thread>

using namespace quillmate;
using namespace quillmate::MacScan;
using werkzeug::wartenBis;
using namespace std::chrono_literals;

namespace {

using Texte = std::vector<std::string>;

class GezielteSuche : public testing::Test {
protected:
    Json suche(MacScan::Suchanfrage anfrage) {
        MacScan::Suche s{welt.umgebung()};
        anfrage.zugang = welt.zugang();
        anfrage.transactionId = 77;
        s.gezieltSuchen(anfrage, welt.melder());
        EXPECT_TRUE(wartenBis([&] { return !s.laeuft(); }));
        EXPECT_EQ(welt.alleMeldungen().size(), 1U);
        return welt.alleMeldungen().empty() ? Json{} : welt.alleMeldungen().back();
    }
    std::string belege(std::string const& name, std::string const& text, int tag = 0) {
        auto const pfad = welt.heim.datei("Documents/" + name, text);
        if (tag > 0) {
            // The year is far ahead, so that the birth time (now) is not the more recent one.
            auto const zeit = std::chrono::duration_cast<std::chrono::seconds>(
                MacScan::datumAus("2037-01-" + std::string{tag < 10 ? "0" : ""} + std::to_string(tag))
                    ->time_since_epoch());
            std::array<timespec, 2> const zeiten{{{zeit.count(), 0}, {zeit.count(), 0}}};
            EXPECT_EQ(::utimensat(AT_FDCWD, pfad.c_str(), zeiten.data(), 0), 0);
        }
        return pfad;
    }
    werkzeug::Suchwelt welt;
};

} // namespace

TEST(Suchbegriffe, ShortWordsAreDroppedAndOthersPutInLowerCase) {
    auto const begriffe = MacScan::suchbegriffe(
        {.stichworte = {"Bahn", "DB", "Kfz", "ÄRZTE"}, .betragTexte = {"1.234,56", ""}});
    EXPECT_EQ(begriffe.worte, (Texte{"bahn", "ärzte"}));
    EXPECT_EQ(begriffe.betraege, Texte{"1234,56"});
}

TEST(Suchbegriffe, EachKindOfTermThatWasGivenNeedsAHit) {
    auto const beides = MacScan::suchbegriffe({.stichworte = {"Bahn"}, .betragTexte = {"49,90", "49.90"}});
    EXPECT_TRUE(beides.passt("BAHN 49.90"));
    EXPECT_FALSE(beides.passt("Bahn 50,00"));
    EXPECT_FALSE(beides.passt("Bus 49,90"));
    EXPECT_TRUE(MacScan::suchbegriffe({.betragTexte = {"1234,56"}}).passt("Summe: 1 234,56 €"));
    EXPECT_TRUE(MacScan::suchbegriffe({.stichworte = {"Bahn"}}).passt("Eisenbahn"));
}

TEST_F(GezielteSuche, WithoutUsableTermsItRefusesAndTheNextSearchMayRun) {
    MacScan::Suche s{welt.umgebung()};
    s.gezieltSuchen({.stichworte = {"DB", ""}, .betragTexte = {""}}, welt.melder());
    EXPECT_EQ(
        welt.alleMeldungen().at(0).dump(),
        R"({"fehler":"Zu dieser Buchung gibt es keine brauchbaren Suchbegriffe."})");
    EXPECT_FALSE(s.laeuft());
}

TEST_F(GezielteSuche, FilesThatFitAreAttachedToTheBooking) {
    belege("a.pdf", "Fahrkarte der Bahn, 49,90 EUR");
    belege("b.pdf", "Fahrkarte der Bahn, 12,00 EUR");
    auto const meldung = suche({.stichworte = {"Bahn"}, .betragTexte = {"49,90"}});
    EXPECT_EQ(meldung.dump(), R"({"durchsucht":2,"gelesen":2,"abgebrochen":false,"treffer":["a.pdf"]})");
    EXPECT_EQ(
        welt.service.hochgeladen("/transactions/77/attach-receipt"), std::multiset<std::string>{"a.pdf"});
}

TEST_F(GezielteSuche, AFileWhoseNameFitsIsAttachedUnread) {
    belege("Bahn 49,90.pdf", "");
    auto const meldung = suche({.stichworte = {"Bahn"}, .betragTexte = {"49,90"}});
    EXPECT_EQ(meldung["treffer"], Json::array({"Bahn 49,90.pdf"}));
    EXPECT_EQ(meldung["gelesen"], 0);
    EXPECT_EQ(welt.leser.gelesen, 0);
}

TEST_F(GezielteSuche, ASixthFittingFileIsNeitherReadNorAttached) {
    for (int i = 0; i < 8; ++i)
        belege(std::to_string(i) + ".pdf", "49,90");
    auto const meldung = suche({.betragTexte = {"49,90"}});
    EXPECT_EQ(meldung["treffer"].size(), 5U);
    EXPECT_EQ(meldung["gelesen"], 5);
    EXPECT_EQ(meldung["durchsucht"], 8);
}

TEST_F(GezielteSuche, FilesDatedNearTheBookingComeFirst) {
    belege("1.pdf", "49,90", 1);
    belege("10.pdf", "49,90", 10);
    belege("12.pdf", "49,90", 12);
    belege("20.pdf", "49,90", 20);
    belege("28.pdf", "49,90", 28);
    belege("30.pdf", "49,90", 30);
    auto const meldung = suche({.betragTexte = {"49,90"}, .datum = MacScan::datumAus("2037-01-13")});
    EXPECT_EQ(meldung["treffer"], Json::array({"12.pdf", "10.pdf", "20.pdf", "1.pdf", "28.pdf"}));
}

TEST_F(GezielteSuche, WithoutADateTheOrderIsThatOfTheFileSearch) {
    belege("alt.pdf", "49,90", 1);
    belege("neu.pdf", "49,90", 5);
    EXPECT_EQ(suche({.betragTexte = {"49,90"}})["treffer"], Json::array({"neu.pdf", "alt.pdf"}));
}

TEST_F(GezielteSuche, ReadingEndsAfterNinetySecondsAndHitsUntilThenCount) {
    belege("1.pdf", "49,90", 9);
    belege("2.pdf", "nichts", 8);
    belege("3.pdf", "49,90", 7);
    welt.leser.vorher = [&] {
        welt.uhr.vor(45.5s);
    };
    auto const meldung = suche({.betragTexte = {"49,90"}});
    EXPECT_EQ(meldung.dump(), R"({"durchsucht":3,"gelesen":2,"abgebrochen":true,"treffer":["1.pdf"]})");
}

TEST_F(GezielteSuche, AFailedAttachmentIsMissingAndTheNextOneIsTried) {
    belege("1.pdf", "49,90", 2);
    belege("2.pdf", "49,90 und mehr", 1);
    welt.leser.vorher = [&, n = 0]() mutable {
        if (++n == 2) {
            EXPECT_EQ(::unlink(welt.heim.pfad("Documents/1.pdf").c_str()), 0);
        }
    };
    EXPECT_EQ(suche({.betragTexte = {"49,90"}})["treffer"], Json::array({"2.pdf"}));
}

TEST_F(GezielteSuche, RefusedAttachmentsAreNotTriedAgain) {
    belege("1.pdf", "49,90");
    welt.service.antworte("/attach-receipt", werkzeug::HttpAntwort{.status = 503});
    EXPECT_EQ(suche({.betragTexte = {"49,90"}})["treffer"], Json::array());
    EXPECT_EQ(welt.service.hochgeladen("/attach-receipt").size(), 1U);
}

TEST_F(GezielteSuche, RememberedFoldersAreSearchedTooAndClosedAgain) {
    welt.merke("Belege");
    welt.heim.datei("Belege/a.pdf", "49,90");
    EXPECT_EQ(suche({.betragTexte = {"49,90"}})["treffer"], Json::array({"a.pdf"}));
    EXPECT_TRUE(welt.lesezeichen.offen.empty());
}

TEST_F(GezielteSuche, AFileInOverlappingPlacesIsAttachedOnce) {
    welt.merke("Documents/Belege");
    welt.heim.datei("Documents/Belege/a.pdf", "49,90");
    auto const meldung = suche({.betragTexte = {"49,90"}});
    EXPECT_EQ(meldung["treffer"], Json::array({"a.pdf"}));
    EXPECT_EQ(meldung["durchsucht"], 1);
}

TEST_F(GezielteSuche, WhileAnythingRunsAnotherSearchIsRefused) {
    belege("1.pdf", "49,90");
    std::atomic<bool> weiter{false};
    welt.leser.vorher = [&] {
        EXPECT_TRUE(wartenBis([&] { return weiter.load(); }));
    };
    MacScan::Suche s{welt.umgebung()};
    s.gezieltSuchen({.zugang = welt.zugang(), .betragTexte = {"49,90"}}, welt.melder());
    werkzeug::Suchwelt andere;
    s.gezieltSuchen({.betragTexte = {"1,00"}}, andere.melder());
    s.starten({.zugang = welt.zugang()}, andere.melder());
    ASSERT_EQ(andere.alleMeldungen().size(), 2U);
    EXPECT_EQ(
        andere.alleMeldungen()[0].dump(), R"({"fehler":"Es läuft bereits ein Scan - bitte kurz warten."})");
    EXPECT_EQ(andere.alleMeldungen()[1].dump(), R"({"fehler":"Es läuft bereits ein Scan."})");
    weiter = true;
    EXPECT_TRUE(wartenBis([&] { return !s.laeuft(); }));
    EXPECT_EQ(welt.alleMeldungen().size(), 1U);
}

TEST_F(GezielteSuche, ImagesOfARememberedFolderAreCounted) {
    auto const kennung = welt.merke("Fotos");
    welt.heim.datei("Fotos/a.jpg", std::string(8000, 'x'));
    welt.heim.datei("Fotos/tief/b.HEIC", std::string(9000, 'x'));
    welt.heim.datei("Fotos/klein.png", std::string(7999, 'x'));
    welt.heim.datei("Fotos/c.pdf", std::string(9000, 'x'));
    MacScan::Suche s{welt.umgebung()};
    EXPECT_EQ(s.bilderZaehlen(kennung), 2);
    EXPECT_EQ(s.bilderZaehlen("0000000000000000"), std::nullopt); // unknown is not zero
    welt.lesezeichen.verschlossen.insert(welt.heim.pfad("Fotos"));
    EXPECT_EQ(s.bilderZaehlen(kennung), std::nullopt);
    EXPECT_TRUE(welt.lesezeichen.offen.empty());
}

TEST_F(GezielteSuche, ACountThatIsToldToStopReadsNoFurtherFolder) {
    auto const kennung = welt.merke("Fotos");
    welt.heim.datei("Fotos/tief/a.jpg", std::string(8000, 'x'));
    MacScan::Suche s{welt.umgebung()};
    std::stop_source ende;
    EXPECT_EQ(s.bilderZaehlen(kennung, ende.get_token()), 1);
    ende.request_stop();
    EXPECT_FALSE(s.bilderZaehlen(kennung, ende.get_token()));
    EXPECT_TRUE(welt.lesezeichen.offen.empty());
}

TEST_F(GezielteSuche, AFileWhoseReadingBreaksOffCostsOnlyItself) {
    welt.merke("Belege");
    belege("1.pdf", "wirft", 2);
    belege("2.pdf", "49,90", 1);
    auto const meldung = suche({.betragTexte = {"49,90"}});
    EXPECT_EQ(meldung.dump(), R"({"durchsucht":2,"gelesen":2,"abgebrochen":false,"treffer":["2.pdf"]})");
    EXPECT_TRUE(welt.lesezeichen.offen.empty());
}

TEST_F(GezielteSuche, DestroyingTheSearchEndsItBetweenFiles) {
    for (int i = 0; i < 50; ++i)
        belege(std::to_string(i) + ".pdf", "nichts");
    std::atomic<bool> zerstoert{false};
    welt.leser.vorher = [&] {
        EXPECT_TRUE(wartenBis([&] { return zerstoert.load(); }));
    };
    auto s = std::make_unique<MacScan::Suche>(welt.umgebung());
    s->gezieltSuchen({.zugang = welt.zugang(), .betragTexte = {"49,90"}}, welt.melder());
    ASSERT_TRUE(wartenBis([&] { return s->laeuft(); }));
    std::jthread zerstoerer{[&] {
        s.reset();
    }};
    // The destructor raises the stop before it waits for the thread; a call that fails at once shows that it
    // has.
    ASSERT_TRUE(wartenBis([&] { return !welt.dienst.holen({.url = welt.service.server().adresse()}); }));
    zerstoert = true;
    zerstoerer.join();
    EXPECT_LE(welt.leser.gelesen, 2);
}
