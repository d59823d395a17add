// Which names are wanted and which folders are entered.

#include "hilfen.h"
#include "ordner/paketendungen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quillmate {
namespace {

using test::alle;
using test::gefunden;
using testing::ElementsAre;
using testing::IsEmpty;
using werkzeug::OrdnerAufZeit;

TEST(Suchregeln, TheListsHoldTheAgreedNames) {
    EXPECT_THAT(Ordner::endungen, ElementsAre("heic", "heif", "jpeg", "jpg", "pdf", "png"));
    EXPECT_THAT(
        Ordner::ausgeschlosseneNamen,
        testing::UnorderedElementsAre(
            "Library", "Music", "Movies", "Pictures", "node_modules", ".git", "site-packages", ".venv",
            "venv", "Pods", "vendor", "DerivedData", ".cache", "Caches", ".Trash", "Applications",
            "__pycache__", ".npm", ".cargo", ".gradle", ".m2", "dist-packages"));
    EXPECT_THAT(Ordner::ausgeschlosseneEndungen, ElementsAre(".photoslibrary", ".app", ".sparsebundle"));
}

TEST(Suchregeln, FolderIsSkippedByExactNameByLeadingDotAndBySuffix) {
    for (auto const& name : Ordner::ausgeschlosseneNamen)
        EXPECT_TRUE(Ordner::ueberspringen(name)) << name;
    for (auto const* name :
         {".", ".versteckt", "Fotos.photoslibrary", "Programm.app", "Sicherung.sparsebundle", "x.app"})
        EXPECT_TRUE(Ordner::ueberspringen(name)) << name;
    for (auto const* name :
         {"", "library", "Node_Modules", "node_modules2", "Belege", "Programm.APP", "Fotos.PhotosLibrary",
          "app", "photoslibrary", "Programm.app.alt"})
        EXPECT_FALSE(Ordner::ueberspringen(name)) << name;
}

TEST(Suchregeln, PackagesAreNamedBySuffixInAnyCase) {
    for (auto const* name :
         {"Brief.pages", "Tabelle.numbers", "Vortrag.key", "Notiz.rtfd", "Programm.APP",
          "Fotos.PhotosLibrary", "Film.fcpbundle", "Lied.logicx", "Projekt.xcodeproj", "a.b.kext",
          "Programm.dSYM", "x.prefPane"})
        EXPECT_TRUE(Ordner::heisstWiePaket(name)) << name;
    for (auto const* name :
         {"", ".", ".app", "app", "pages", "Belege", "Belege.", "Belege.2024", "Bilder.xcassets",
          "Programm.app.alt", "x.einesehrlangeendungdieesnichtgibt"})
        EXPECT_FALSE(Ordner::heisstWiePaket(name)) << name;
}

TEST(Suchregeln, FindsWantedExtensionsInAnyCase) {
    OrdnerAufZeit const ordner;
    for (auto const* name :
         {"a.pdf", "b.PDF", "scan.Pdf", "c.jpg", "d.jpeg", "e.png", "f.heic", "g.HEIF", "zwei.punkte.pdf",
          "h.pdf "})
        ordner.datei(name);
    for (auto const* name :
         {"ohne", "pdf", "x.pdfx", "x.df", "x.pd", "x.", "x.pdf.txt", "pdf.txt", "x.tiff", "x.xpdf"})
        ordner.datei(name);
    EXPECT_THAT(
        gefunden(ordner.pfad()),
        ElementsAre(
            "a.pdf", "b.PDF", "c.jpg", "d.jpeg", "e.png", "f.heic", "g.HEIF", "scan.Pdf", "zwei.punkte.pdf"));
}

TEST(Suchregeln, ExtensionsOfTheCallerReplaceTheUsualOnes) {
    OrdnerAufZeit const ordner;
    for (auto const* name :
         {"a.pdf", "b.txt", "c.TXT", "d.übung", "e.ÜBUNG", "f.langeendung", "g.LangeEndung", "h"})
        ordner.datei(name);
    EXPECT_THAT(
        gefunden(ordner.pfad(), {.nurEndungen = Ordner::Endungen{"txt"}}), ElementsAre("b.txt", "c.TXT"));
    EXPECT_THAT(
        gefunden(ordner.pfad(), {.nurEndungen = Ordner::Endungen{"übung"}}),
        ElementsAre("d.übung", "e.ÜBUNG"));
    EXPECT_THAT(
        gefunden(ordner.pfad(), {.nurEndungen = Ordner::Endungen{"langeendung", "pdf"}}),
        ElementsAre("a.pdf", "f.langeendung", "g.LangeEndung"));
    EXPECT_THAT(gefunden(ordner.pfad(), {.nurEndungen = Ordner::Endungen{""}}), ElementsAre("h"));
    // Names are compared in lower case, so this one matches none.
    EXPECT_THAT(gefunden(ordner.pfad(), {.nurEndungen = Ordner::Endungen{"TXT"}}), IsEmpty());
    EXPECT_THAT(gefunden(ordner.pfad(), {.nurEndungen = Ordner::Endungen{}}), IsEmpty());
}

TEST(Suchregeln, LettersWhoseLowerCaseIsAsciiMatchAsWell) {
    OrdnerAufZeit const ordner;
    ordner.datei("a.\u212Aey"); // the sign of the unit Kelvin
    EXPECT_THAT(gefunden(ordner.pfad(), {.nurEndungen = Ordner::Endungen{"key"}}), ElementsAre("a.\u212Aey"));
}

TEST(Suchregeln, ExcludedFoldersAndPackagesAreNotEntered) {
    OrdnerAufZeit const ordner;
    ordner.datei("Belege/ja.pdf");
    for (auto const& name : Ordner::ausgeschlosseneNamen)
        ordner.datei("Belege/" + name + "/nein.pdf");
    for (auto const* name :
         {"Fotos.photoslibrary", "Programm.app", "Sicherung.sparsebundle", "Brief.pages", "Notiz.RTFD",
          ".versteckt"})
        ordner.datei(std::string{name} + "/tiefer/nein.pdf");
    ordner.datei("Brief.pages/Index.zip");
    ordner.datei("Notiz.RTFD/TXT.rtf");
    EXPECT_THAT(gefunden(ordner.pfad()), ElementsAre("Belege/ja.pdf"));
    EXPECT_EQ(Ordner::zaehlen(ordner.pfad(), Ordner::endungen, 0), 1);
}

TEST(Suchregeln, NamesOfFoldersDoNotKeepOutFiles) {
    OrdnerAufZeit const ordner;
    ordner.datei("Library.pdf");
    ordner.datei("vendor");
    ordner.datei("library/ja.pdf"); // another spelling is another folder
    ordner.datei("Vortrag.key");
    EXPECT_THAT(gefunden(ordner.pfad()), ElementsAre("Library.pdf", "library/ja.pdf"));
    EXPECT_THAT(
        gefunden(ordner.pfad(), {.nurEndungen = Ordner::Endungen{"key"}}), ElementsAre("Vortrag.key"));
}

TEST(Suchregeln, FolderWithAWantedExtensionIsEnteredAndIsNoFind) {
    OrdnerAufZeit const ordner;
    ordner.datei("mappe.pdf/blatt.pdf");
    EXPECT_THAT(gefunden(ordner.pfad()), ElementsAre("mappe.pdf/blatt.pdf"));
}

TEST(Suchregeln, HiddenFilesAndPlaceholdersAreNoFinds) {
    OrdnerAufZeit const ordner;
    ordner.datei(".geheim.pdf");
    ordner.datei(".pdf");
    ordner.datei(".scan.pdf.icloud");
    EXPECT_THAT(gefunden(ordner.pfad()), IsEmpty());
    EXPECT_EQ(Ordner::zaehlen(ordner.pfad(), Ordner::endungen, 0), 0);
}

TEST(Suchregeln, TheSearchedFolderItselfMayHaveAnyName) {
    OrdnerAufZeit const ordner;
    for (auto const* name : {".versteckt", "Library", "Programm.app", "node_modules"}) {
        auto const wurzel = ordner.pfad(name);
        ordner.datei(std::string{name} + "/a.pdf");
        EXPECT_THAT(gefunden(wurzel), ElementsAre("a.pdf")) << name;
    }
}

} // namespace
} // namespace quillmate
