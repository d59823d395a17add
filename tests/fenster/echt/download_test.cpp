// What the page offers for download ends up in the user's Downloads folder, whole or not at all.
#include "echtes_fenster.h"
#include "werkzeug/warten.h"

#include <filesystem>
#include <future>
#include <set>

namespace quillmate::fenster_echt {
namespace {

using werkzeug::HttpAnfrage;
using werkzeug::HttpAntwort;
using werkzeug::inhaltVon;
using werkzeug::wartenBis;

HttpAntwort anhang(std::string const& name, std::string const& bytes) {
    return {
        .koerper = bytes,
        .inhaltstyp = "application/pdf",
        .weitererKopf = "Content-Disposition: Attachment; filename=" + name + "\r\n"};
}

/// A document with one empty page.
std::string const einSeite =
    "%PDF-1.4\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n2 0 obj<</Type/Pages/Kids[3 0 R]/Count "
    "1>>endobj\n3 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 300 200]>>endobj\ntrailer<</Root 1 0 R>>\n";

class Herunterladen : public EchtesFenster {
protected:
    [[nodiscard]] std::string imOrdner(std::string const& name) const {
        return ordner.pfad("home/Downloads/" + name);
    }
    /// Everything in the Downloads folder, hidden files too.
    [[nodiscard]] std::set<std::string> dateien() const {
        std::set<std::string> namen;
        for (auto const& eintrag : std::filesystem::directory_iterator{ordner.pfad("home/Downloads")})
            namen.insert(eintrag.path().filename().string());
        return namen;
    }
    void lade(std::string const& pfad) { dienst.rufe("setTimeout(() => location.href = '" + pfad + "')"); }
    [[nodiscard]] std::string meldung() {
        return dienst.rufe("return document.getElementById('qm-melde')?.firstChild?.textContent ?? ''");
    }
    [[nodiscard]] bool warteAufMeldung(std::string const& text) {
        return wartenBis([&] { return meldung() == text; });
    }
    [[nodiscard]] bool fertig(std::string const& name) const {
        return programm->warteAufZeile("Download fertig: " + imOrdner(name));
    }
};

TEST_F(Herunterladen, AnAttachmentIsSavedAndThePageSaysSo) {
    dienst.antworte("/beleg", anhang("rechnung.pdf", "%PDF-inhalt"));
    oeffne();
    lade("/beleg");
    EXPECT_TRUE(fertig("rechnung.pdf"));
    EXPECT_EQ(inhaltVon(imOrdner("rechnung.pdf")), "%PDF-inhalt");
    EXPECT_EQ(dateien(), std::set<std::string>{"rechnung.pdf"});
    EXPECT_TRUE(programm->hatZeile("Download nach rechnung.pdf"));
    EXPECT_TRUE(warteAufMeldung("Gespeichert: „rechnung.pdf“ im Ordner „Downloads“."));
    EXPECT_EQ(dienst.rufe("return location.pathname"), "/uebersicht") << "the page stays";
    EXPECT_EQ(programm->anzahlZeilen("FEHLER"), 0U) << "the interrupted load is silent";
    bildschirm.bild("download");
}

TEST_F(Herunterladen, TheNoticesButtonIsRefusedByTheBridgeAndChangesNothing) {
    dienst.antworte("/beleg", anhang("rechnung.pdf", "%PDF-inhalt"));
    oeffne();
    (void)mitteVon("body"); // Finding out where the page lies can take longer than a notice lives.
    lade("/beleg");
    ASSERT_TRUE(warteAufMeldung("Gespeichert: „rechnung.pdf“ im Ordner „Downloads“."));
    EXPECT_EQ(
        dienst.rufe("return document.querySelector('#qm-melde button').textContent"), "Im Finder zeigen");
    klicke("#qm-melde button");
    EXPECT_TRUE(programm->warteAufZeile("Bruecke: Aktion 'zeigeDatei' ist nicht erlaubt - abgewiesen"));
    EXPECT_EQ(meldung(), "Gespeichert: „rechnung.pdf“ im Ordner „Downloads“.");
}

TEST_F(Herunterladen, BytesOfAnUnknownTypeAreADownloadWithoutAnyHeader) {
    std::string bytes(300'000, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(i * 31 % 251);
    dienst.antworte("/export.bin", {.koerper = bytes, .inhaltstyp = "application/octet-stream"});
    oeffne();
    lade("/export.bin");
    EXPECT_TRUE(fertig("export.bin"));
    EXPECT_EQ(inhaltVon(imOrdner("export.bin")), bytes);
}

TEST_F(Herunterladen, ATakenNameGetsANumberAndNothingIsOverwritten) {
    ordner.datei("home/Downloads/rechnung.pdf", "alt");
    ordner.datei("home/Downloads/export", "alt");
    dienst.antworte("/beleg", anhang("rechnung.pdf", "neu"));
    auto ohneEndung = anhang("export", "neu");
    ohneEndung.inhaltstyp =
        "application/octet-stream"; // The engine would add the suffix of a type that it knows.
    dienst.antworte("/export", ohneEndung);
    oeffne();
    lade("/beleg");
    EXPECT_TRUE(fertig("rechnung 2.pdf"));
    lade("/beleg");
    EXPECT_TRUE(fertig("rechnung 3.pdf"));
    lade("/export");
    EXPECT_TRUE(fertig("export 2"));
    EXPECT_EQ(inhaltVon(imOrdner("rechnung.pdf")), "alt");
    EXPECT_EQ(inhaltVon(imOrdner("export")), "alt");
    EXPECT_EQ(inhaltVon(imOrdner("rechnung 2.pdf")), "neu");
    EXPECT_EQ(
        dateien(),
        (std::set<std::string>{"export", "export 2", "rechnung 2.pdf", "rechnung 3.pdf", "rechnung.pdf"}));
}

TEST_F(Herunterladen, ABodyThatTheServerCutsShortIsAFailureThatLeavesNothing) {
    auto antwort = anhang("kurz.pdf", std::string(200'000, 'x'));
    antwort.abschneiden = 100'000;
    dienst.antworte("/kurz", antwort);
    oeffne();
    lade("/kurz");
    EXPECT_TRUE(programm->warteAufZeile("Download fehlgeschlagen: "));
    EXPECT_TRUE(wartenBis([&] { return meldung().starts_with("Das Herunterladen hat nicht geklappt: "); }));
    EXPECT_EQ(dienst.rufe("return document.querySelector('#qm-melde button')"), nullptr);
    EXPECT_TRUE(wartenBis([&] { return dateien().empty(); })) << "the engine's process tidies up, too";
    EXPECT_EQ(programm->anzahlZeilen("Download fertig"), 0U);
    bildschirm.bild("download_fehlgeschlagen");
}

TEST_F(Herunterladen, AnErrorStatusIsToldInGermanAndLeavesNothing) {
    auto antwort = anhang("weg.pdf", "nein");
    antwort.status = 404;
    dienst.antworte("/weg", antwort);
    oeffne();
    lade("/weg");
    EXPECT_TRUE(programm->warteAufZeile(
        "Download fehlgeschlagen: Die Datei gibt es auf dem Server nicht (HTTP 404)."));
    EXPECT_TRUE(warteAufMeldung(
        "Das Herunterladen hat nicht geklappt: Die Datei gibt es auf dem Server nicht (HTTP 404)."));
    EXPECT_TRUE(wartenBis([&] { return dateien().empty(); }));
}

TEST_F(Herunterladen, WhatSomebodyPutUnderTheNameMeanwhileOutlivesAFailure) {
    auto antwort = anhang("rechnung.pdf", std::string(200'000, 'x'));
    antwort.abschneiden = 100'000;
    antwort.haengen = true;
    dienst.antworte("/beleg", antwort);
    oeffne();
    lade("/beleg");
    ASSERT_TRUE(programm->warteAufZeile("Download nach rechnung.pdf"));
    ASSERT_TRUE(wartenBis([&] { return !dateien().empty(); })) << "bytes arrive";
    for (auto const& name : dateien())
        EXPECT_TRUE(name.starts_with('.')) << name << " lies there for everybody, half of it";
    std::filesystem::rename(ordner.datei("home/fremd", "fremd"), imOrdner("rechnung.pdf"));
    beende();
    EXPECT_EQ(inhaltVon(imOrdner("rechnung.pdf")), "fremd");
    EXPECT_TRUE(wartenBis([&] { return dateien() == std::set<std::string>{"rechnung.pdf"}; }));
}

TEST_F(Herunterladen, TwoAtOnceOfOneNameAreBothSavedWhole) {
    std::promise<void> tor;
    dienst.antworte("/a", [&, offen = tor.get_future().share()](HttpAnfrage const& anfrage) {
        offen.wait();
        return anhang("gleich.pdf", anfrage.abfrage.at(0).second + std::string(100'000, 'y'));
    });
    oeffne();
    browserEinrichten();
    // Links with the attribute, the second one after the first has become a download: until then it would take its
    // place.
    for (std::size_t n = 1; n <= 2; ++n) {
        dienst.rufe(
            "const a = document.createElement('a'); a.href = '/a?n=" + std::string{n == 1 ? "eins" : "zwei"} +
            "'; a.download = 'gleich.pdf'; document.body.append(a); a.click();");
        EXPECT_TRUE(wartenBis([&] { return dienst.anfragenAn("/a").size() == n; }));
    }
    tor.set_value();
    EXPECT_TRUE(fertig("gleich.pdf"));
    EXPECT_TRUE(fertig("gleich 2.pdf"));
    std::set<std::string> const anfaenge{
        inhaltVon(imOrdner("gleich.pdf")).substr(0, 4), inhaltVon(imOrdner("gleich 2.pdf")).substr(0, 4)};
    EXPECT_EQ(anfaenge, (std::set<std::string>{"eins", "zwei"}));
    EXPECT_EQ(inhaltVon(imOrdner("gleich.pdf")).size(), 100'004U);
    EXPECT_EQ(inhaltVon(imOrdner("gleich 2.pdf")).size(), 100'004U);
    EXPECT_TRUE(wartenBis([&] { return meldung().starts_with("Gespeichert"); }));
    EXPECT_EQ(dienst.rufe("return document.querySelectorAll('#qm-melde').length"), 1);
}

TEST_F(Herunterladen, ALinkWithTheAttributeIsSavedAndDoesNotOpenTheBrowser) {
    browserEinrichten();
    dienst.antworte("/liste", {.koerper = "a;b\n", .inhaltstyp = "text/html"});
    dienst.inhalt("<p><a id=laden download='liste.csv' href='/liste'>speichern</a>"
                  "<p style='margin-top:3em'><a id=link href='/liste'>öffnen</a>");
    oeffne();
    klicke("#laden");
    EXPECT_TRUE(programm->warteAufZeile("Download fertig: " + imOrdner("liste.csv")));
    EXPECT_EQ(inhaltVon(imOrdner("liste.csv")), "a;b\n");
    EXPECT_TRUE(imBrowser().empty());
    klicke("#link");
    EXPECT_TRUE(warteAufBrowser(dienst.adresse("/liste"))) << "the same address without the attribute";
}

TEST_F(Herunterladen, ALinkWithTheAttributeThatIsInNoDocumentIsSavedToo) {
    browserEinrichten();
    dienst.antworte("/liste", {.koerper = "a;b\n", .inhaltstyp = "text/html"});
    oeffne();
    dienst.rufe(
        "const a = document.createElement('a'); a.download = 'liste.csv'; a.href = '/liste'; a.click();");
    EXPECT_TRUE(programm->warteAufZeile("Download fertig: " + imOrdner("liste.csv")));
    EXPECT_EQ(inhaltVon(imOrdner("liste.csv")), "a;b\n");
    EXPECT_TRUE(imBrowser().empty());
}

TEST_F(Herunterladen, BytesThatThePageMadeAreSaved) {
    oeffne();
    dienst.rufe("const a = document.createElement('a'); a.download = 'export.csv';"
                "a.href = URL.createObjectURL(new Blob(['x;y'], {type: 'text/csv'})); a.click();");
    EXPECT_TRUE(programm->warteAufZeile("Download fertig: " + imOrdner("export.csv")));
    EXPECT_EQ(inhaltVon(imOrdner("export.csv")), "x;y");
}

TEST_F(Herunterladen, ANameFromTheNetworkStaysInTheFolder) {
    dienst.antworte("/boese", anhang("\"../../../.bashrc\"", "boese"));
    oeffne();
    lade("/boese");
    EXPECT_TRUE(programm->warteAufZeile("Download fertig: " + ordner.pfad("home/Downloads/")));
    EXPECT_FALSE(std::filesystem::exists(ordner.pfad("home/.bashrc")));
    EXPECT_FALSE(std::filesystem::exists(ordner.pfad(".bashrc")));
    EXPECT_EQ(dateien().size(), 1U);
}

TEST_F(Herunterladen, TheUsersOwnDownloadsFolderIsTaken) {
    ordner.ordner("home/Heruntergeladenes");
    ordner.datei("home/.config/user-dirs.dirs", "XDG_DOWNLOAD_DIR=\"$HOME/Heruntergeladenes\"\n");
    dienst.antworte("/beleg", anhang("rechnung.pdf", "bytes"));
    oeffne();
    lade("/beleg");
    EXPECT_TRUE(
        programm->warteAufZeile("Download fertig: " + ordner.pfad("home/Heruntergeladenes/rechnung.pdf")));
    EXPECT_EQ(inhaltVon(ordner.pfad("home/Heruntergeladenes/rechnung.pdf")), "bytes");
}

TEST_F(Herunterladen, ALongDownloadIsShownAtTheWindowsEdgeAndStoppedThere) {
    auto lang = anhang("gross.pdf", std::string(2'000'000, 'x'));
    lang.haengen = true;
    lang.abschneiden = 1'000'000;
    dienst.antworte("/gross", lang);
    oeffne();
    auto const wo = hauptfenster();
    auto const hoehe = [&] {
        return dienst.rufe("return innerHeight").get<int>();
    };
    auto const vorher = hoehe();
    lade("/gross");
    ASSERT_TRUE(wartenBis([&] { return hoehe() < vorher; })) << "no line has come";
    bildschirm.bild("download_laeuft");
    // The button is the last one that the keyboard finds.
    bildschirm.klicke({.x = wo.x + wo.breite - 75, .y = wo.y + wo.hoehe - 35});
    EXPECT_TRUE(programm->warteAufZeile("Download fehlgeschlagen: Vom Nutzer abgebrochen."));
    EXPECT_TRUE(wartenBis([&] { return hoehe() == vorher; })) << "the line stays";
    EXPECT_TRUE(wartenBis([&] { return dateien().empty(); }));
    EXPECT_TRUE(warteAufMeldung("Das Herunterladen hat nicht geklappt: Vom Nutzer abgebrochen."));
    EXPECT_EQ(dienst.rufe("return document.getElementById('qm-melde').getAttribute('role')"), "status");
}

TEST_F(Herunterladen, APdfThatIsSavedFromTheViewerHasTheNameThatThePageGaveIt) {
    auto pdf = anhang("rechnung-4711.pdf", einSeite);
    pdf.weitererKopf = "Content-Disposition: inline; filename=rechnung-4711.pdf\r\n";
    dienst.antworte("/beleg.pdf", pdf);
    oeffne();
    lade("/beleg.pdf");
    ASSERT_TRUE(programm->warteAufZeile("geladen: " + dienst.adresse("/beleg.pdf")));
    // The viewer's own button; it is not there before the viewer is.
    auto const wo = hauptfenster();
    EXPECT_TRUE(wartenBis([&] {
        bildschirm.klicke({.x = wo.x + wo.breite - 57, .y = wo.y + 68});
        return programm->warteAufZeile("Download nach ", std::chrono::seconds{1});
    }));
    bildschirm.bild("pdf_gesichert");
    EXPECT_TRUE(fertig("rechnung-4711.pdf")) << "the viewer calls every file document.pdf";
    EXPECT_EQ(inhaltVon(imOrdner("rechnung-4711.pdf")), einSeite);
}

TEST_F(Herunterladen, APdfWithoutTheHeaderIsShownAndNotSaved) {
    dienst.antworte("/ansehen.pdf", {.koerper = "%PDF-1.4\n%%EOF\n", .inhaltstyp = "application/pdf"});
    oeffne();
    lade("/ansehen.pdf");
    EXPECT_TRUE(programm->warteAufZeile("geladen: " + dienst.adresse("/ansehen.pdf")));
    EXPECT_TRUE(dateien().empty());
}

} // namespace
} // namespace quillmate::fenster_echt
