#include "hilfen.h"
#include "ordner/paketendungen.h"
#include "speicherhaken.h"
#include "systemhaken.h"
#include "werkzeug/ohne_aufruf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <cerrno>
#include <filesystem>

using namespace quillmate;
using test::alle;
using test::gefunden;
using testing::ElementsAre;
using testing::IsEmpty;
using werkzeug::OrdnerAufZeit;
namespace fs = std::filesystem;

namespace {

Ordner::Fund einziger(std::string const& ordner) {
    auto const funde = Ordner::durchsuchen(ordner, {.hoechstens = alle});
    EXPECT_EQ(funde.size(), 1U);
    return funde.empty() ? Ordner::Fund{} : funde.front();
}

} // namespace

TEST(Verweise, LinkInsideTheSearchedFolderIsAFindWithTheValuesOfItsTarget) {
    OrdnerAufZeit const ordner;
    auto const ziel = ordner.datei("tief/daten.bin", "123");
    test::aendern(ziel, 4000);
    fs::create_symlink(ziel, ordner.pfad("beleg.pdf")); // absolute, and all the same inside
    auto const fund = einziger(ordner.pfad());
    EXPECT_EQ(fund.pfad, ordner.pfad("beleg.pdf"));
    EXPECT_EQ(fund.groesse, 3);
    EXPECT_EQ(fund.geaendert, Ordner::Zeit{std::chrono::seconds{4000}});
    EXPECT_TRUE(fund.ueberVerweis);
    struct stat lage {};
    ASSERT_EQ(::stat(ziel.c_str(), &lage), 0);
    EXPECT_EQ(fund.inode, lage.st_ino);
    EXPECT_EQ(fund.geraet, lage.st_dev);
}

TEST(Verweise, LinkOutOfTheSearchedFolderIsNoFind) {
    OrdnerAufZeit const heim;
    heim.datei(".ssh/id_rsa", "geheim");
    heim.datei("Nachbar/x.pdf");
    heim.ordner("Belege/tief");
    fs::create_symlink("../.ssh/id_rsa", heim.pfad("Belege/rechnung.pdf"));
    fs::create_symlink("../../.ssh/id_rsa", heim.pfad("Belege/tief/rechnung.pdf"));
    fs::create_symlink(heim.pfad("Nachbar/x.pdf"), heim.pfad("Belege/nachbar.pdf"));
    // Over two links, and over one to a folder.
    fs::create_directory_symlink(heim.pfad("Nachbar"), heim.pfad("Belege/ordner"));
    fs::create_symlink("ordner/x.pdf", heim.pfad("Belege/umweg.pdf"));
    // A folder whose name begins like the place's.
    heim.datei("Belege2/y.pdf");
    fs::create_symlink("../Belege2/y.pdf", heim.pfad("Belege/y.pdf"));
    Ordner::Suchbilanz bilanz;
    EXPECT_THAT(gefunden(heim.pfad("Belege"), {.bilanz = &bilanz}), IsEmpty());
    EXPECT_EQ(bilanz.verweiseHinaus, 5);
    EXPECT_EQ(Ordner::zaehlen(heim.pfad("Belege"), Ordner::endungen, 0), 0);
}

TEST(Verweise, LinkIntoAFolderThatIsPassedOverIsNoFind) {
    OrdnerAufZeit const heim; // the whole home folder is searched
    heim.datei(".ssh/id_rsa", "geheim");
    heim.datei("Library/y.pdf");
    heim.datei(".verborgen");
    fs::create_symlink(".ssh/id_rsa", heim.pfad("rechnung.pdf"));
    fs::create_symlink("Library/y.pdf", heim.pfad("y.pdf"));
    fs::create_symlink(".verborgen", heim.pfad("z.pdf"));
    EXPECT_THAT(gefunden(heim.pfad()), IsEmpty());
}

TEST(Verweise, LinkFromOneSearchedPlaceToAnotherIsAFind) {
    OrdnerAufZeit const heim;
    heim.datei("B/x.pdf");
    heim.ordner("A");
    fs::create_symlink("../B/x.pdf", heim.pfad("A/y.pdf"));
    Ordner::Suchorte orte;
    orte.hinzufuegen(heim.pfad("A"));
    orte.hinzufuegen(heim.pfad("fehlt"));
    orte.hinzufuegen(heim.pfad("B"));
    EXPECT_THAT(gefunden(heim.pfad("A"), {.orte = &orte}), ElementsAre("y.pdf"));
    EXPECT_THAT(gefunden(heim.pfad("A")), IsEmpty());
}

TEST(Verweise, ThePlaceItselfMayBeALink) {
    OrdnerAufZeit const heim;
    heim.datei("wirklich/x.pdf");
    fs::create_symlink("x.pdf", heim.pfad("wirklich/y.pdf"));
    fs::create_directory_symlink("wirklich", heim.pfad("ort"));
    EXPECT_THAT(gefunden(heim.pfad("ort")), ElementsAre("x.pdf", "y.pdf"));
}

TEST(Verweise, LinksThatLeadNowhereOrRoundAreNoFinds) {
    OrdnerAufZeit const ordner;
    fs::create_symlink("fehlt", ordner.pfad("leer.pdf"));
    fs::create_symlink("kreis.pdf", ordner.pfad("kreis.pdf"));
    fs::create_symlink("/proc/self/fd/0", ordner.pfad("eingabe.pdf"));
    EXPECT_THAT(gefunden(ordner.pfad()), IsEmpty());
    EXPECT_EQ(Ordner::zaehlen(ordner.pfad(), Ordner::endungen, 0), 0);
}

TEST(Verweise, KernelsWithoutOpenat2DecideTheSame) {
    OrdnerAufZeit const heim;
    heim.datei("aussen/x.pdf");
    heim.datei("ort/tief/innen.pdf");
    fs::create_symlink("../aussen/x.pdf", heim.pfad("ort/a.pdf"));
    fs::create_symlink("tief/innen.pdf", heim.pfad("ort/b.pdf"));
    for (int const fehler : {ENOSYS, EPERM})
        EXPECT_EQ(
            test::imKindprozess([&] {
                return werkzeug::ohneAufruf(SYS_openat2, fehler) &&
                       gefunden(heim.pfad("ort")) == std::vector<std::string>{"b.pdf", "tief/innen.pdf"};
            }),
            0);
}

TEST(Suchorte, AFindIsOpenedAsTheFileThatWasFound) {
    OrdnerAufZeit const heim;
    heim.datei("ort/x.pdf", "eins");
    Ordner::Suchorte orte;
    orte.hinzufuegen(heim.pfad("ort"));
    auto const fund = einziger(heim.pfad("ort"));
    EXPECT_EQ(orte.oeffnen(fund)->inhalt(100), "eins");
    // Another file at the path is one that the search would find, too.
    fs::remove(fund.pfad);
    heim.datei("ort/y.pdf");
    heim.datei("ort/x.pdf", "zwei");
    EXPECT_EQ(orte.oeffnen(fund)->inhalt(100), "zwei");
}

TEST(Suchorte, AFindWhosePathLeadsOutNowIsNotOpened) {
    OrdnerAufZeit const heim;
    heim.datei("ort/tief/x.pdf", "eins");
    heim.datei("aussen/x.pdf", "geheim");
    Ordner::Suchorte orte;
    orte.hinzufuegen(heim.pfad("ort"));
    auto const fund = einziger(heim.pfad("ort"));
    fs::rename(heim.pfad("ort/tief"), heim.pfad("ort/alt"));
    fs::create_directory_symlink("../aussen", heim.pfad("ort/tief"));
    auto const datei = orte.oeffnen(fund);
    ASSERT_FALSE(datei);
    EXPECT_EQ(datei.error().art, Fehlerart::nichtErlaubt);
}

TEST(Pakete, AFolderWithAPackagesNameIsSearchedUnlessItsInsideSaysSoToo) {
    OrdnerAufZeit const ordner;
    for (auto const* name : {"Ersatz.key", "Gelbe.pages", "Haus.numbers", "Buendel.bundle", "Stadt.template"})
        ordner.datei(std::string{name} + "/beleg.pdf");
    EXPECT_EQ(gefunden(ordner.pfad()).size(), 5U);
    for (auto const* merkmal :
         {"Info.plist", "Contents/x", "Index.zip", "index.apxl", "TXT.rtf", "project.pbxproj", "x.scrivx"}) {
        OrdnerAufZeit const einer;
        einer.datei("Vortrag.key/beleg.pdf");
        einer.datei(std::string{"Vortrag.key/"} + merkmal);
        EXPECT_THAT(gefunden(einer.pfad()), IsEmpty()) << merkmal;
    }
}

TEST(Pakete, TheAgreedSuffixesNeedNoLookInside) {
    OrdnerAufZeit const ordner;
    for (auto const& endung : Ordner::ausgeschlosseneEndungen)
        ordner.datei("x" + endung + "/beleg.pdf");
    EXPECT_THAT(gefunden(ordner.pfad()), IsEmpty());
}

TEST(Pakete, OnlyFoldersWithSuchANameAreLookedInto) {
    haken::Hakenwache const wache;
    OrdnerAufZeit const ordner;
    ordner.datei("a/beleg.pdf");
    ordner.datei("b.2024/beleg.pdf");
    (void)gefunden(ordner.pfad());
    EXPECT_EQ(haken::haken().leseaufrufe, 6U); // three folders, each once and once more for its end
}

TEST(Pakete, TheBalanceCountsThemWithTheFirstThreeNames) {
    OrdnerAufZeit const ordner;
    for (auto const* name : {"z.app", "b/y.app", "b/x.app", "b/d/w.key", "c.app"})
        ordner.datei(std::string{name} + "/Contents/x");
    for (unsigned const faeden : {1U, 4U}) {
        Ordner::Suchbilanz bilanz;
        (void)gefunden(ordner.pfad(), {.faeden = faeden, .bilanz = &bilanz});
        EXPECT_EQ(bilanz.pakete, 5);
        EXPECT_EQ(bilanz.paketnamen.size(), 3U);
    }
}

TEST(Suchbilanz, WithoutMemoryTheSearchSaysThatItDidNotComeToItsEnd) {
    OrdnerAufZeit const ordner;
    ordner.datei("a/x.pdf");
    auto const wurzel = ordner.pfad();
    int abbrueche = 0;
    for (int i = 0; i < 40; ++i) {
        Ordner::Suchbilanz bilanz;
        std::size_t anzahl = 0;
        {
            haken::Speichernot const not_{haken::Wen::alle, i, true};
            anzahl = Ordner::durchsuchen(wurzel, {.hoechstens = alle, .faeden = 1, .bilanz = &bilanz}).size();
        }
        abbrueche += bilanz.abbruch ? 1 : 0;
        EXPECT_TRUE(anzahl == 1 || bilanz.abbruch) << i;
        EXPECT_EQ(bilanz.abbruch.value_or(Fehler{.art = Fehlerart::keineMittel}).art, Fehlerart::keineMittel);
    }
    EXPECT_GT(abbrueche, 3);
}

TEST(Suchbilanz, AFolderThatCannotBeOpenedSaysWhy) {
    OrdnerAufZeit const ordner;
    Ordner::Suchbilanz bilanz;
    EXPECT_THAT(gefunden(ordner.pfad("fehlt"), {.bilanz = &bilanz}), IsEmpty());
    ASSERT_TRUE(bilanz.abbruch);
    EXPECT_EQ(bilanz.abbruch->art, Fehlerart::nichtGefunden);
}
