#include "grundlage/pruefsumme.h"
#include "texterkennung/zwischenspeicher.h"
#include "werkzeug/ordner_auf_zeit.h"
#include "werkzeug/warten.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <thread>

using namespace quillmate;
using namespace quillmate::Texterkennung;
using werkzeug::OrdnerAufZeit;

namespace {

void setzeZeit(std::string const& pfad, std::time_t sekunden, long nanosekunden) {
    std::array<timespec, 2> const zeiten{{{sekunden, nanosekunden}, {sekunden, nanosekunden}}};
    ASSERT_EQ(::utimensat(AT_FDCWD, pfad.c_str(), zeiten.data(), 0), 0);
}

std::string schluesselAus(std::string const& felder) {
    return hexadezimal(sha256(felder));
}

} // namespace

TEST(Schluessel, IsTheDigestOfPathSizeTimeAndTag) {
    OrdnerAufZeit const ordner;
    auto const pfad = ordner.datei("a.pdf", "12345");
    setzeZeit(pfad, 1'700'000'000, 0);
    EXPECT_EQ(
        Texterkennung::zwischenspeicherSchluessel(pfad), schluesselAus(pfad + "|5|1700000000.0|lesart2"));
    setzeZeit(pfad, 1'700'000'000, 250'000'000);
    EXPECT_EQ(
        Texterkennung::zwischenspeicherSchluessel(pfad), schluesselAus(pfad + "|5|1700000000.25|lesart2"));
    EXPECT_EQ(Texterkennung::zwischenspeicherSchluessel(pfad).size(), 64U);
}

TEST(Schluessel, TimesThatNoDoubleHoldsExactlyAreWrittenInTheShortestForm) {
    OrdnerAufZeit const ordner;
    auto const pfad = ordner.datei("a.pdf", "1");
    setzeZeit(pfad, 1'700'000'000, 100'000'000);
    EXPECT_EQ(
        Texterkennung::zwischenspeicherSchluessel(pfad), schluesselAus(pfad + "|1|1700000000.1|lesart2"));
    setzeZeit(pfad, -5, 0);
    EXPECT_EQ(Texterkennung::zwischenspeicherSchluessel(pfad), schluesselAus(pfad + "|1|-5.0|lesart2"));
}

TEST(Schluessel, AFileWithoutAttributesIsKeyedByItsPath) {
    EXPECT_EQ(
        Texterkennung::zwischenspeicherSchluessel("/gibt/es/nicht.pdf"),
        schluesselAus("/gibt/es/nicht.pdf|-1|-1.0|lesart2"));
}

TEST(Schluessel, SpellingsOfOnePathGiveOneKey) {
    OrdnerAufZeit const ordner;
    auto const pfad = ordner.datei("a.pdf", "x");
    EXPECT_EQ(
        Texterkennung::zwischenspeicherSchluessel(ordner.pfad() + "/./a.pdf"),
        Texterkennung::zwischenspeicherSchluessel(pfad));
}

TEST(Schluessel, TouchingChangesIt) {
    OrdnerAufZeit const ordner;
    auto const pfad = ordner.datei("a.pdf", "x");
    setzeZeit(pfad, 1'700'000'000, 0);
    auto const vorher = Texterkennung::zwischenspeicherSchluessel(pfad);
    EXPECT_EQ(Texterkennung::zwischenspeicherSchluessel(pfad), vorher);
    setzeZeit(pfad, 1'700'000'001, 0);
    EXPECT_NE(Texterkennung::zwischenspeicherSchluessel(pfad), vorher);
}

TEST(Zwischenspeicher, KeepsTextsAndTheFindingThatThereIsNone) {
    OrdnerAufZeit const ordner;
    Texterkennung::Zwischenspeicher const speicher{ordner.pfad("tief/texte")};
    EXPECT_FALSE(speicher.ausZwischenspeicher("k"));
    speicher.inZwischenspeicher("k", "Grüße\n");
    speicher.inZwischenspeicher("leer", std::nullopt);
    EXPECT_EQ(speicher.ausZwischenspeicher("k")->text, "Grüße\n");
    ASSERT_TRUE(speicher.ausZwischenspeicher("leer"));
    EXPECT_FALSE(speicher.ausZwischenspeicher("leer")->text);
    EXPECT_EQ(werkzeug::inhaltVon(ordner.pfad("tief/texte/k.txt")), "Grüße\n");
}

TEST(Zwischenspeicher, BrokenUtf8InAnEntryIsRepaired) {
    OrdnerAufZeit const ordner;
    ordner.datei("k.txt", "a\xFF");
    EXPECT_EQ(Texterkennung::Zwischenspeicher{ordner.pfad()}.ausZwischenspeicher("k")->text, "a\xEF\xBF\xBD");
}

TEST(Zwischenspeicher, AnUnwritableFolderCostsOnlyTheCache) {
    OrdnerAufZeit const ordner;
    Texterkennung::Zwischenspeicher const speicher{ordner.datei("datei") + "/texte"};
    speicher.inZwischenspeicher("k", "x");
    EXPECT_FALSE(speicher.ausZwischenspeicher("k"));
}

TEST(Zwischenspeicher, ConcurrentWritersAndReadersSeeWholeEntriesOnly) {
    OrdnerAufZeit const ordner;
    Texterkennung::Zwischenspeicher const speicher{ordner.pfad("texte")};
    std::vector<std::jthread> faeden;
    for (char c = 'a'; c < 'd'; ++c)
        faeden.emplace_back([&speicher, c] {
            for (int i = 0; i < 50; ++i)
                speicher.inZwischenspeicher("k", std::string(20'000, c));
        });
    for (int i = 0; i < 500; ++i)
        if (auto const eintrag = speicher.ausZwischenspeicher("k"); eintrag && eintrag->text) {
            EXPECT_EQ(*eintrag->text, std::string(20'000, eintrag->text->front()));
        }
}

TEST(Inhaltsspeicher, TextsAreFoundByContentKindAndMethod) {
    werkzeug::OrdnerAufZeit const ordner;
    Texterkennung::Zwischenspeicher const speicher{ordner.pfad("texte"), "motor 5"};
    auto const schluessel = speicher.inhaltsschluessel("abc", "pdf");
    EXPECT_FALSE(speicher.nachInhalt(schluessel));
    speicher.inhaltMerken(schluessel, "Grüße\n");
    EXPECT_EQ(speicher.nachInhalt(schluessel)->text, "Grüße\n");
    EXPECT_NE(speicher.inhaltsschluessel("abc", "bild"), schluessel);
    Texterkennung::Zwischenspeicher const anderer{ordner.pfad("texte"), "motor 6"};
    EXPECT_NE(anderer.inhaltsschluessel("abc", "pdf"), schluessel);
    auto const leer = speicher.inhaltsschluessel("leer", "pdf");
    speicher.inhaltMerken(leer, std::nullopt);
    ASSERT_TRUE(speicher.nachInhalt(leer));
    EXPECT_FALSE(speicher.nachInhalt(leer)->text);
    auto const leererText = speicher.inhaltsschluessel("leerer text", "pdf");
    speicher.inhaltMerken(leererText, "");
    EXPECT_EQ(speicher.nachInhalt(leererText)->text, "");
}

TEST(Lesemethode, ChangesWithTheReaderAndTheLanguageData) {
    OrdnerAufZeit const ordner;
    auto const leser = ordner.datei("quillmate-leser", "eins");
    auto const daten = ordner.datei("deu.traineddata", "eins");
    ::setenv("TESSDATA_PREFIX", ordner.pfad().c_str(), 1);
    auto const vorher = Texterkennung::lesemethode(leser);
    EXPECT_EQ(Texterkennung::lesemethode(leser), vorher);
    ordner.datei("deu.traineddata", "andere");
    auto const mitAnderenDaten = Texterkennung::lesemethode(leser);
    EXPECT_NE(mitAnderenDaten, vorher);
    ordner.datei("quillmate-leser", "anderer");
    EXPECT_NE(Texterkennung::lesemethode(leser), mitAnderenDaten);
    auto const zuletzt = Texterkennung::lesemethode(leser);
    ordner.ordner("woanders");
    std::filesystem::rename(leser, ordner.pfad("woanders/quillmate-leser"));
    EXPECT_EQ(Texterkennung::lesemethode(ordner.pfad("woanders/quillmate-leser")), zuletzt)
        << "the program was only moved";
    ::unsetenv("TESSDATA_PREFIX");
}

TEST(Inhaltsspeicher, ADamagedEntryIsAMiss) {
    werkzeug::OrdnerAufZeit const ordner;
    Texterkennung::Zwischenspeicher const speicher{ordner.pfad("texte")};
    auto const schluessel = speicher.inhaltsschluessel("abc", "pdf");
    speicher.inhaltMerken(schluessel, "Rechnung");
    auto const pfad = ordner.pfad("texte/inhalt/" + schluessel);
    auto const ganz = werkzeug::inhaltVon(pfad);
    for (std::size_t n = 0; n < ganz.size(); ++n) {
        ordner.datei("texte/inhalt/" + schluessel, ganz.substr(0, n)); // cut off
        EXPECT_FALSE(speicher.nachInhalt(schluessel)) << n;
        auto verdorben = ganz;
        verdorben[n] = static_cast<char>(verdorben[n] ^ 1);
        ordner.datei("texte/inhalt/" + schluessel, verdorben);
        EXPECT_FALSE(speicher.nachInhalt(schluessel)) << n;
    }
    ordner.datei("texte/inhalt/" + schluessel, ganz);
    EXPECT_TRUE(speicher.nachInhalt(schluessel));
}

TEST(Inhaltsspeicher, FoldersAndEntriesAreTheUsersAlone) {
    werkzeug::OrdnerAufZeit const ordner;
    Texterkennung::Zwischenspeicher const speicher{ordner.pfad("texte")};
    auto const schluessel = speicher.inhaltsschluessel("abc", "pdf");
    speicher.inhaltMerken(schluessel, "x");
    struct stat lage {};
    ASSERT_EQ(::stat(ordner.pfad("texte/inhalt").c_str(), &lage), 0);
    EXPECT_EQ(lage.st_mode & 0777U, 0700U);
    ASSERT_EQ(::stat(ordner.pfad("texte/inhalt/" + schluessel).c_str(), &lage), 0);
    EXPECT_EQ(lage.st_mode & 0777U, 0600U);
}

TEST(Aufraeumen, RemovesTheOldestUsedDownToNineTenthsOnBothLevels) {
    werkzeug::OrdnerAufZeit const ordner;
    Texterkennung::Zwischenspeicher const speicher{ordner.pfad("texte"), {}, {.hoechstensEintraege = 20}};
    for (auto const* stufe : {"texte/", "texte/inhalt/"})
        for (int i = 0; i < 30; ++i) {
            auto const pfad = ordner.datei(stufe + std::to_string(100 + i) + ".txt", "x");
            timespec const zeiten[2]{{1'000'000 + i, 0}, {1'000'000 + i, 0}};
            ASSERT_EQ(::utimensat(AT_FDCWD, pfad.c_str(), zeiten, 0), 0);
        }
    ordner.datei("texte/alt.1-1.neu", "rest");
    timespec const alt[2]{{1, 0}, {1, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, ordner.pfad("texte/alt.1-1.neu").c_str(), alt, 0), 0);
    ordner.datei("texte/jung.1-1.neu", "wird geschrieben");
    // Reading marks as used.
    EXPECT_TRUE(speicher.ausZwischenspeicher("100"));
    speicher.aufraeumen();
    EXPECT_TRUE(std::filesystem::exists(ordner.pfad("texte/100.txt")));
    EXPECT_FALSE(std::filesystem::exists(ordner.pfad("texte/101.txt")));
    EXPECT_TRUE(std::filesystem::exists(ordner.pfad("texte/129.txt")));
    EXPECT_FALSE(std::filesystem::exists(ordner.pfad("texte/inhalt/100.txt")));
    EXPECT_TRUE(std::filesystem::exists(ordner.pfad("texte/inhalt/129.txt")));
    EXPECT_FALSE(std::filesystem::exists(ordner.pfad("texte/alt.1-1.neu")));
    EXPECT_TRUE(std::filesystem::exists(ordner.pfad("texte/jung.1-1.neu")));
    auto const anzahl = [](std::string const& pfad) {
        return std::distance(
            std::filesystem::directory_iterator{pfad}, std::filesystem::directory_iterator{});
    };
    EXPECT_EQ(anzahl(ordner.pfad("texte/inhalt")), 18);
    EXPECT_EQ(anzahl(ordner.pfad("texte")), 18 + 1); // and the folder of the other level
}

TEST(Aufraeumen, RunsInTheBackgroundAfterAnEntry) {
    werkzeug::OrdnerAufZeit const ordner;
    for (int i = 0; i < 30; ++i)
        ordner.datei("texte/" + std::to_string(i) + ".txt", "x");
    Texterkennung::Zwischenspeicher const speicher{ordner.pfad("texte"), {}, {.hoechstensEintraege = 20}};
    speicher.inZwischenspeicher("neu", "x");
    EXPECT_TRUE(werkzeug::wartenBis([&] {
        return std::distance(
                   std::filesystem::directory_iterator{ordner.pfad("texte")},
                   std::filesystem::directory_iterator{}) <= 18;
    }));
}
