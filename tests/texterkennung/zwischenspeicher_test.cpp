#include "grundlage/pruefsumme.h"
#include "texterkennung/zwischenspeicher.h"
#include "werkzeug/ordner_auf_zeit.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

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
