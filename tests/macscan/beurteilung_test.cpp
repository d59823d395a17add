#include "grundlage/pruefsumme.h"
#include "macscan/beurteilung.h"
#include "suchwelt.h"

#include <gtest/gtest.h>

using namespace quillmate;
using namespace quillmate::MacScan;

namespace {

constexpr char const* belegtext = "Rechnung Nr. 5 vom Hotel, Summe 12,50 EUR";
constexpr char const* brief = "Lieber Onkel Hans, uns geht es allen gut";

class Beurteilung : public testing::Test {
protected:
    MacScan::Entscheidung entscheide(
        std::string const& name, std::string const& inhalt, std::vector<std::string> const& worte = {},
        bool bilderImmer = false) {
        auto datei = Belegdatei::oeffnen(welt.heim.datei(name, inhalt)).value();
        return MacScan::entscheiden(datei, worte, bilderImmer, welt.erkenner).value();
    }
    werkzeug::Suchwelt welt;
};

} // namespace

TEST_F(Beurteilung, AnImageIsSentUnreadWhenImagesAlwaysAre) {
    EXPECT_EQ(entscheide("a.png", brief, {}, true), MacScan::Entscheidung::hochladen);
    EXPECT_EQ(entscheide("a.HEIC", brief, {}, true), MacScan::Entscheidung::hochladen);
    EXPECT_EQ(welt.leser.gelesen, 0);
    EXPECT_EQ(entscheide("a.pdf", brief, {}, true), MacScan::Entscheidung::keinBeleg); // a PDF is no image
}

TEST_F(Beurteilung, ADocumentWithoutTextIsLeftToTheService) {
    EXPECT_EQ(entscheide("a.pdf", ""), MacScan::Entscheidung::hochladen);
}

TEST_F(Beurteilung, AnImageWithoutReceiptTextIsRefused) {
    EXPECT_EQ(entscheide("a.jpg", brief), MacScan::Entscheidung::keinBelegtext);
    EXPECT_EQ(entscheide("b.jpg", ""), MacScan::Entscheidung::keinBelegtext);
}

TEST_F(Beurteilung, ADocumentWithReliableTextThatIsNoReceiptIsRefused) {
    EXPECT_EQ(entscheide("a.pdf", brief), MacScan::Entscheidung::keinBeleg);
}

TEST_F(Beurteilung, UnreliableTextIsNeverGroundsForRefusal) {
    EXPECT_EQ(entscheide("a.pdf", "kurz"), MacScan::Entscheidung::hochladen);
    EXPECT_EQ(entscheide("b.pdf", "kurz", {"hotel"}), MacScan::Entscheidung::hochladen);
    EXPECT_EQ(entscheide("a.jpg", "Quittung"), MacScan::Entscheidung::hochladen);
    EXPECT_EQ(entscheide("c.pdf", std::string(100, '\x01') + brief), MacScan::Entscheidung::hochladen);
}

TEST_F(Beurteilung, KeywordsMatchTheNameOrTheText) {
    EXPECT_EQ(entscheide("a.pdf", belegtext, {"hotel"}), MacScan::Entscheidung::hochladen);
    EXPECT_EQ(
        entscheide("Mein HOTEL.pdf", "Rechnung ueber 12,50 EUR und mehr", {"bahn", "hotel"}),
        MacScan::Entscheidung::hochladen);
    EXPECT_EQ(entscheide("b.pdf", belegtext, {"bahn"}), MacScan::Entscheidung::nichtZumThema);
    EXPECT_EQ(entscheide("c.jpg", belegtext, {"bahn"}), MacScan::Entscheidung::nichtZumThema);
}

TEST_F(Beurteilung, WithoutKeywordsThereIsNoTopicTest) {
    EXPECT_EQ(entscheide("a.pdf", belegtext), MacScan::Entscheidung::hochladen);
}

TEST_F(Beurteilung, KeywordsAreTakenAsTheyAreAndOnlyTheFolderNameDoesNotCount) {
    EXPECT_FALSE(
        MacScan::passtZumThema("/x/a.pdf", "Hotel", {"Hotel"})); // the text is compared in lower case
    EXPECT_FALSE(MacScan::passtZumThema("/hotel/a.pdf", "", {"hotel"}));
    EXPECT_TRUE(
        MacScan::passtZumThema("/x/Mu\xCC\x88ller.pdf", "", {"müller"})); // a name from a Mac is decomposed
}

TEST_F(Beurteilung, OnlyAFileWithTheSeenContentIsSkipped) {
    auto const pfad = welt.heim.datei("ä.pdf", "abc");
    auto const summe = hexadezimal(sha256("abc"));
    EXPECT_TRUE(MacScan::darfWegenPfadUebersprungen(pfad, {.pfade = {pfad}, .hashes = {{pfad, summe}}}));
    EXPECT_FALSE(MacScan::darfWegenPfadUebersprungen(pfad, {.pfade = {}, .hashes = {{pfad, summe}}}));
    EXPECT_FALSE(MacScan::darfWegenPfadUebersprungen(pfad, {.pfade = {pfad}, .hashes = {}}));
    EXPECT_FALSE(MacScan::darfWegenPfadUebersprungen(pfad, {.pfade = {pfad}, .hashes = {{"/x", summe}}}));
    EXPECT_FALSE(MacScan::darfWegenPfadUebersprungen(
        pfad, {.pfade = {pfad}, .hashes = {{pfad, std::string(64, '0')}}}));
    auto const fehlt = welt.heim.pfad("fehlt.pdf");
    EXPECT_FALSE(MacScan::darfWegenPfadUebersprungen(fehlt, {.pfade = {fehlt}, .hashes = {{fehlt, summe}}}));
}

TEST(Rohwerte, AreTheTextsOfReportsAndLogs) {
    std::vector<std::string_view> texte;
    for (auto const art : MacScan::alleEntscheidungen)
        texte.push_back(MacScan::rohwert(art));
    for (auto const art : MacScan::alleUebertragungen)
        texte.push_back(MacScan::rohwert(art));
    EXPECT_EQ(
        texte, (std::vector<std::string_view>{
                   "hochladen", "keinBelegtext", "keinBeleg", "nichtZumThema", "hochgeladen", "bekannt",
                   "nichtLesbar", "zuGross", "uebertragungFehlgeschlagen"}));
}
