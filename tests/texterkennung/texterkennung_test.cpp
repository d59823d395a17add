#include "texterkennung/heuristik.h"
#include "texterkennung/texterkennung.h"
#include "werkzeug/ordner_auf_zeit.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

using namespace quillmate;
using namespace quillmate::Texterkennung;

namespace {

/// A reader that answers as told and remembers what it was asked.
struct LeserAttrappe final : Texterkennung::Leser {
    Texterkennung::Lesung lesen(int deskriptor, Texterkennung::Dateiart art) override {
        ++gelesen;
        zuletzt = art;
        std::string inhalt(100, '\0');
        auto const n = ::read(deskriptor, inhalt.data(), inhalt.size());
        inhalt.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
        gesehen = inhalt;
        return antwort;
    }
    Texterkennung::Lesung antwort;
    int gelesen{0};
    Texterkennung::Dateiart zuletzt{};
    std::string gesehen;
};

class Erkennung : public testing::Test {
protected:
    std::size_t eintraege() const {
        std::error_code fehler;
        std::size_t anzahl = 0;
        for (auto const& eintrag :
             std::filesystem::directory_iterator{speicher.zwischenspeicherOrdner(), fehler})
            anzahl += eintrag.is_regular_file() ? 1U : 0U;
        return anzahl;
    }
    werkzeug::OrdnerAufZeit ordner;
    LeserAttrappe leser;
    Texterkennung::Zwischenspeicher speicher{ordner.pfad("texte")};
    Texterkennung::Erkenner erkenner{leser, speicher};
};

} // namespace

TEST_F(Erkennung, ExtensionInAnyCaseChoosesTheRoad) {
    leser.antwort.text = "x";
    EXPECT_EQ(erkenner.text(ordner.datei("scan.PDF", "pdf-bytes")), "x");
    EXPECT_EQ(leser.zuletzt, Texterkennung::Dateiart::pdf);
    EXPECT_EQ(leser.gesehen, "pdf-bytes");
    EXPECT_EQ(erkenner.text(ordner.datei("foto.HeiC", "y")), "x");
    EXPECT_EQ(leser.zuletzt, Texterkennung::Dateiart::bild);
}

TEST_F(Erkennung, AnotherExtensionHasNoTextAndNoCacheEntry) {
    EXPECT_EQ(erkenner.text(ordner.datei("notes.txt", "Rechnung")), std::nullopt);
    EXPECT_EQ(erkenner.text(ordner.datei("ohne", "Rechnung")), std::nullopt);
    EXPECT_EQ(leser.gelesen, 0);
    EXPECT_FALSE(std::filesystem::exists(speicher.zwischenspeicherOrdner()));
}

TEST_F(Erkennung, AFileIsReadOnceForEachVersion) {
    leser.antwort.text = "x";
    auto const pfad = ordner.datei("a.pdf", "1");
    EXPECT_EQ(erkenner.text(pfad), "x");
    EXPECT_EQ(erkenner.text(pfad), "x");
    EXPECT_EQ(leser.gelesen, 1);
    ordner.datei("a.pdf", "22");
    EXPECT_EQ(erkenner.text(pfad), "x");
    EXPECT_EQ(leser.gelesen, 2);
}

TEST_F(Erkennung, TheFindingThatThereIsNoTextIsKeptToo) {
    auto const pfad = ordner.datei("a.pdf", "1");
    EXPECT_EQ(erkenner.text(pfad), std::nullopt);
    EXPECT_EQ(erkenner.text(pfad), std::nullopt);
    EXPECT_EQ(leser.gelesen, 1);
    EXPECT_EQ(eintraege(), 1U);
}

TEST_F(Erkennung, AMissingEngineIsNoFindingAboutTheFile) {
    leser.antwort.art = Texterkennung::Lesung::Art::ohneMotor;
    auto const pfad = ordner.datei("a.jpg", "1");
    EXPECT_FALSE(erkenner.text(pfad));
    EXPECT_EQ(eintraege(), 0U);
    leser.antwort = {.text = "jetzt"};
    EXPECT_EQ(erkenner.text(pfad), "jetzt");
}

TEST_F(Erkennung, WithoutEngineAnUnreliableTextLayerIsNoFindingEither) {
    leser.antwort = {Texterkennung::Lesung::Art::ohneMotor, std::string(100, 'x')};
    auto const pfad = ordner.datei("a.pdf", "1");
    auto const befund = erkenner.text(pfad);
    ASSERT_FALSE(befund);
    EXPECT_TRUE(Texterkennung::installationGestoert(befund.error()));
    EXPECT_EQ(eintraege(), 0U);
    leser.antwort = {Texterkennung::Lesung::Art::gelesen, "erkannt"};
    EXPECT_EQ(erkenner.text(pfad), "erkannt");
}

TEST_F(Erkennung, FaultsAreNoFindingsAndSayWhatTheyAre) {
    auto const pfad = ordner.datei("a.pdf", "1");
    auto const art = [&](Texterkennung::Lesung::Art wie) {
        leser.antwort = {.art = wie};
        auto const befund = erkenner.text(pfad);
        return befund ? std::optional<Fehlerart>{} : befund.error().art;
    };
    EXPECT_EQ(art(Texterkennung::Lesung::Art::ohneMittel), Fehlerart::keineMittel);
    EXPECT_EQ(art(Texterkennung::Lesung::Art::gestoert), Fehlerart::gestoert);
    EXPECT_EQ(art(Texterkennung::Lesung::Art::gestoppt), Fehlerart::gestoppt);
    EXPECT_EQ(art(Texterkennung::Lesung::Art::ohneLeser), Fehlerart::helferGestorben);
    EXPECT_EQ(eintraege(), 0U);
    EXPECT_EQ(art(Texterkennung::Lesung::Art::gelesen), std::nullopt);
    EXPECT_EQ(eintraege(), 1U);
}

TEST_F(Erkennung, AFileIsLeftAloneAfterFiveLastAttemptsThatKilledTheirReader) {
    leser.antwort = {.art = Texterkennung::Lesung::Art::gestoert, .leserGestorben = true};
    auto const pfad = ordner.datei("a.pdf", "1");
    for (int scan = 0; scan < 5; ++scan) {
        EXPECT_EQ(erkenner.text(pfad).error().art, Fehlerart::gestoert); // Does not count.
        auto datei = Belegdatei::oeffnen(pfad).value();
        EXPECT_EQ(erkenner.letzterVersuch(datei).error().art, Fehlerart::gestoert);
    }
    EXPECT_EQ(erkenner.text(pfad).error().art, Fehlerart::abgelehnt);
    EXPECT_EQ(leser.gelesen, 10);
    Texterkennung::Erkenner naechsterStart{leser, speicher};
    EXPECT_EQ(naechsterStart.text(pfad).error().art, Fehlerart::abgelehnt);
    ordner.datei("a.pdf", "22");
    leser.antwort = {.text = "jetzt"};
    EXPECT_EQ(erkenner.text(pfad), "jetzt");
}

TEST_F(Erkennung, AnOpenFileIsFoundByItsPathAlsoWithoutTheTextsByContent) {
    leser.antwort = {.text = "erkannt"};
    auto const pfad = ordner.datei("a.pdf", "1");
    EXPECT_EQ(erkenner.text(pfad), "erkannt");
    std::filesystem::remove_all(speicher.zwischenspeicherOrdner() + "/inhalt");
    auto datei = Belegdatei::oeffnen(pfad).value();
    EXPECT_EQ(erkenner.text(datei), "erkannt");
    EXPECT_EQ(leser.gelesen, 1);
}

TEST_F(Erkennung, AFileThatIsReadAtLastBeginsToCountAnew) {
    auto const pfad = ordner.datei("a.pdf", "1");
    Texterkennung::Fehlversuche versuche{ordner.pfad("liste")};
    for (int runde = 0; runde < 2; ++runde) {
        for (unsigned scan = 1; scan < Texterkennung::Fehlversuche::genug; ++scan)
            versuche.zaehle(Texterkennung::zwischenspeicherSchluessel(pfad));
        EXPECT_FALSE(versuche.aufgegeben(Texterkennung::zwischenspeicherSchluessel(pfad)));
        versuche.vergiss(Texterkennung::zwischenspeicherSchluessel(pfad));
    }
}

TEST_F(Erkennung, TheListOfFailedAttemptsIsBounded) {
    Texterkennung::Fehlversuche versuche{ordner.pfad("liste")};
    auto const schluessel = [](std::size_t i) {
        auto text = std::to_string(i);
        return std::string(64 - text.size(), '0') + text;
    };
    for (unsigned scan = 0; scan < Texterkennung::Fehlversuche::genug; ++scan)
        versuche.zaehle(schluessel(0));
    EXPECT_TRUE(versuche.aufgegeben(schluessel(0)));
    for (std::size_t i = 1; i <= Texterkennung::Fehlversuche::hoechstensEintraege; ++i)
        versuche.zaehle(schluessel(i));
    EXPECT_FALSE(versuche.aufgegeben(schluessel(0))); // The oldest.
    EXPECT_LE(
        std::filesystem::file_size(ordner.pfad("liste")),
        70U * Texterkennung::Fehlversuche::hoechstensEintraege);
}

TEST_F(Erkennung, WantOfMemoryIsNoFindingAboutTheFile) {
    leser.antwort = {Texterkennung::Lesung::Art::ohneMittel, std::nullopt};
    auto const pfad = ordner.datei("a.pdf", "1");
    EXPECT_FALSE(erkenner.text(pfad));
    EXPECT_EQ(eintraege(), 0U);
    leser.antwort = {Texterkennung::Lesung::Art::gelesen, "jetzt"};
    EXPECT_EQ(erkenner.text(pfad), "jetzt");
}

TEST_F(Erkennung, WantOfDescriptorsIsNoFindingAboutTheFile) {
    leser.antwort.text = "jetzt";
    auto const pfad = ordner.datei("a.pdf", "1");
    rlimit alt{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &alt), 0);
    rlimit const keine{0, alt.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &keine), 0); // From here on every open() fails.
    auto const ohne = erkenner.text(pfad);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &alt), 0);
    EXPECT_FALSE(ohne);
    EXPECT_EQ(leser.gelesen, 0);
    EXPECT_EQ(erkenner.text(pfad), "jetzt");
}

TEST_F(Erkennung, ATextOf6001CharactersIsCutTo6000) {
    std::string lang;
    for (int i = 0; i < 6001; ++i)
        lang += "ä";
    leser.antwort.text = lang;
    EXPECT_EQ(erkenner.text(ordner.datei("a.pdf", "1")).value()->size(), 12'000U);
    leser.antwort.text = std::string(6000, 'x');
    EXPECT_EQ(erkenner.text(ordner.datei("b.pdf", "2")).value()->size(), 6000U);
}

TEST_F(Erkennung, UnreadableFilesHaveNoTextAndAreNotHandedToTheEngines) {
    leser.antwort.text = "x";
    EXPECT_EQ(erkenner.text(ordner.pfad("fehlt.pdf")).error().art, Fehlerart::nichtGefunden);
    EXPECT_EQ(erkenner.text(ordner.ordner("ordner.pdf")), std::nullopt);
    auto const rohr = ordner.pfad("rohr.pdf");
    ASSERT_EQ(::mkfifo(rohr.c_str(), 0600), 0);
    EXPECT_EQ(erkenner.text(rohr), std::nullopt);
    EXPECT_EQ(leser.gelesen, 0);
}

TEST_F(Erkennung, AFullCacheDiskCostsOnlyTheCache) {
    leser.antwort.text = "x";
    Texterkennung::Zwischenspeicher const kaputt{ordner.datei("datei") + "/texte"};
    Texterkennung::Erkenner ohneSpeicher{leser, kaputt};
    EXPECT_EQ(ohneSpeicher.text(ordner.datei("a.pdf", "1")), "x");
}

TEST_F(Erkennung, WhatWasMovedCopiedOrTouchedIsNotReadAgain) {
    leser.antwort.text = "x";
    auto const pfad = ordner.datei("a/b.pdf", "dieselben Bytes");
    EXPECT_EQ(erkenner.text(pfad), "x");
    std::filesystem::rename(ordner.pfad("a"), ordner.pfad("neu"));
    EXPECT_EQ(erkenner.text(ordner.pfad("neu/b.pdf")), "x");
    EXPECT_EQ(erkenner.text(ordner.datei("kopie.pdf", "dieselben Bytes")), "x");
    EXPECT_EQ(leser.gelesen, 1);
    // The same bytes as a picture are read as one.
    EXPECT_EQ(erkenner.text(ordner.datei("bild.jpg", "dieselben Bytes")), "x");
    EXPECT_EQ(leser.gelesen, 2);
    // The level above has it now, so the folder of the contents can go.
    std::filesystem::remove_all(ordner.pfad("texte/inhalt"));
    EXPECT_EQ(erkenner.text(ordner.pfad("neu/b.pdf")), "x");
    EXPECT_EQ(leser.gelesen, 2);
}

TEST_F(Erkennung, NothingIsKeptOfAFileThatChangesWhileItIsRead) {
    struct Aenderer final : Texterkennung::Leser {
        Texterkennung::Lesung lesen(int, Texterkennung::Dateiart) override {
            std::ofstream{pfad, std::ios::app} << "mehr";
            return {.text = "halb"};
        }
        std::string pfad;
    } aenderer;
    aenderer.pfad = ordner.datei("a.pdf", "x");
    Texterkennung::Erkenner anderer{aenderer, speicher};
    EXPECT_EQ(anderer.text(aenderer.pfad), "halb");
    EXPECT_EQ(eintraege(), 0U);
    EXPECT_FALSE(std::filesystem::exists(ordner.pfad("texte/inhalt")));
}

TEST_F(Erkennung, AnOpenFileIsReadWhateverTookItsPlace) {
    leser.antwort.text = "x";
    auto const pfad = ordner.datei("a.pdf", "alt");
    auto datei = Belegdatei::oeffnen(pfad).value();
    std::filesystem::remove(pfad);
    ordner.datei("a.pdf", "neu");
    (void)erkenner.text(datei);
    EXPECT_EQ(leser.gesehen, "alt");
}
