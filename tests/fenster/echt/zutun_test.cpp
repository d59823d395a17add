// What needs a person: the same thing done by a real click, and by a script that nobody has clicked for.
#include "echtes_fenster.h"
#include "werkzeug/warten.h"

#include <filesystem>

namespace quillmate::fenster_echt {
namespace {

using werkzeug::HttpAnfrage;
using werkzeug::HttpAntwort;
using werkzeug::wartenBis;

class Zutun : public EchtesFenster {
protected:
    /// A stranger's frame over the whole page, with a button over all of it.
    void rahmen() {
        fremd.inhalt("<button id=knopf style='position:fixed;inset:0;width:100%;height:100%' "
                     "onclick='tat()'>x</button>");
        dienst.inhalt(
            "<iframe style='position:fixed;inset:0;width:100%;height:100%;border:0' src='" +
            fremd.adresse("/seite/rahmen") + "'></iframe>");
    }
    /// Ends when all that was begun before it has been decided.
    void abwarten() { (void)dienst.rufe("return await window.quillmateApp.suchStand()"); }
    static std::string link(std::string const& adresse, std::string const& weiteres = {}) {
        return "{ const a = document.createElement('a'); a.href = '" + adresse + "';" + weiteres +
               "document.body.append(a); a.click(); }";
    }
    [[nodiscard]] std::size_t downloads() const {
        auto const ordnerpfad = ordner.pfad("home/Downloads");
        return static_cast<std::size_t>(std::distance(
            std::filesystem::directory_iterator{ordnerpfad}, std::filesystem::directory_iterator{}));
    }
    [[nodiscard]] std::size_t fensterzahl() const { return bildschirm.fenster().size(); }

    Seitendienst fremd;
};

TEST_F(Zutun, AFrameOpensNoBrowserMailOrProgramUnlessSomebodyClicks) {
    browserEinrichten({"http", "https", "mailto", "smb"});
    rahmen();
    oeffne();
    ASSERT_TRUE(fremd.warteAufDokument(1, "rahmen"));
    for (auto const* const adresse :
         {"https://fremd.example/eins", "mailto:a@fremd.example", "smb://fremd.example/x"})
        fremd.rufe(link(adresse), "rahmen");
    fremd.rufe("window.open('https://fremd.example/fenster')", "rahmen");
    EXPECT_TRUE(programm->warteAufZeile("nicht geöffnet, weil niemand geklickt hat: fremd.example (smb)"));
    abwarten();
    EXPECT_TRUE(imBrowser().empty());
    EXPECT_EQ(fensterzahl(), 1U);
    // One click of a person starts one of a hundred.
    fremd.rufe(
        "window.tat = () => { for (let i = 0; i < 100; ++i) " + link("https://fremd.example/klick") + " };",
        "rahmen");
    klicke("#knopf", "rahmen", &fremd);
    EXPECT_TRUE(warteAufBrowser("https://fremd.example/klick"));
    abwarten();
    EXPECT_EQ(imBrowser().size(), 1U);
}

TEST_F(Zutun, OtherProgramsAreAskedAboutAndAbbrechenIsTheDefault) {
    browserEinrichten({"http", "https", "smb"});
    dienst.inhalt("<p><a id=link href='smb://server/freigabe'>Freigabe</a>");
    oeffne();
    klicke("#link");
    ASSERT_TRUE(warteAufDialog());
    bildschirm.bild("frage_programm");
    bildschirm.taste("Return");
    EXPECT_TRUE(warteBisDialogWeg());
    EXPECT_TRUE(imBrowser().empty());
    klicke("#link");
    ASSERT_TRUE(wartenBis([&] { return programm->anzahlZeilen("nicht gefragt: smb:") == 1; }))
        << "refused, so not asked again";
    int const bisher = dienst.dokumente();
    bildschirm.taste("F5");
    ASSERT_TRUE(dienst.warteAufDokument(bisher + 1));
    klicke("#link");
    ASSERT_TRUE(warteAufDialog());
    bildschirm.taste("Tab");
    bildschirm.taste("Return");
    EXPECT_TRUE(warteAufBrowser("smb://server/freigabe"));
}

TEST_F(Zutun, WindowsNeedAClickAlsoWhereTheProgramsReplyIsAGestureToTheEngine) {
    dienst.inhalt("<button id=knopf onclick=\"window.a = window.open('', 'a'); window.b = window.open('', "
                  "'b')\">auf</button>");
    oeffne();
    // What follows a reply of the program's own runs with the engine's mark of a gesture.
    EXPECT_EQ(dienst.rufe("await window.quillmateApp.suchStand(); return open('') === null"), true);
    EXPECT_EQ(fensterzahl(), 1U);
    klicke("#knopf");
    EXPECT_TRUE(wartenBis([&] { return fensterzahl() == 2; }));
    EXPECT_EQ(dienst.rufe("return [window.a === null, window.b === null]"), (nlohmann::json{false, true}));
}

TEST_F(Zutun, AFramesSignInElsewhereIsAskedAboutOnceAndTheServicesStartsAtOnce) {
    browserEinrichten();
    rahmen();
    oeffne();
    ASSERT_TRUE(fremd.warteAufDokument(1, "rahmen"));
    // One after the other: of two that begin together the engine asks about the later one only.
    constexpr char const* nichtGefragt = "nicht gefragt: fremd.example:8080";
    for (std::size_t i = 0; i < 5; ++i) {
        fremd.rufe(
            "setTimeout(() => location.href = 'http://fremd.example:8080/auth/enable-banking/start?token=x')",
            "rahmen");
        if (i == 0) {
            ASSERT_TRUE(warteAufDialog());
        }
        EXPECT_TRUE(wartenBis([&] { return programm->anzahlZeilen(nichtGefragt) >= i; }));
    }
    bildschirm.bild("frage_anmeldung");
    EXPECT_TRUE(programm->warteAufZeile("nicht gefragt: fremd.example:8080"));
    bildschirm.taste("Return"); // "Abbrechen" is the default.
    EXPECT_TRUE(warteBisDialogWeg());
    fremd.rufe("setTimeout(() => location.href = 'http://fremd.example:8080/auth/google/login')", "rahmen");
    EXPECT_TRUE(wartenBis([&] { return programm->anzahlZeilen("nicht gefragt: fremd.example:8080") >= 5; }));
    EXPECT_EQ(programm->anzahlZeilen("Bankfreigabe startet"), 0U);
    EXPECT_EQ(programm->anzahlZeilen("Anmeldung startet"), 0U);
    EXPECT_TRUE(imBrowser().empty());
    EXPECT_EQ(fensterzahl(), 1U);
    dienst.rufe("setTimeout(() => location.href = '/auth/google/login')");
    EXPECT_TRUE(programm->warteAufZeile("Anmeldung startet: " + dienst.adresse("/auth/google/login")));
}

TEST_F(Zutun, AFramesDownloadsAreAskedAboutAndTheServicesStartAtOnce) {
    auto const datei = HttpAntwort{
        .koerper = "Inhalt",
        .inhaltstyp = "application/octet-stream",
        .weitererKopf = "Content-Disposition: attachment; filename=rechnung.bin\r\n"};
    fremd.antworte("/datei", datei);
    dienst.antworte("/datei", datei);
    rahmen();
    oeffne();
    ASSERT_TRUE(fremd.warteAufDokument(1, "rahmen"));
    fremd.rufe(
        "const f = document.createElement('iframe'); f.src = '/datei'; document.body.append(f);", "rahmen");
    ASSERT_TRUE(warteAufDialog());
    bildschirm.bild("frage_download");
    fremd.rufe(link("/datei", "a.download = 'x.bin';"), "rahmen");
    EXPECT_TRUE(programm->warteAufZeile("nicht gefragt: 127.0.0.1:"));
    bildschirm.taste("Escape");
    EXPECT_TRUE(warteBisDialogWeg());
    EXPECT_EQ(downloads(), 0U);
    // With a click it is a download like any other.
    fremd.rufe("window.tat = () => " + link("/datei", "a.download = 'x.bin';"), "rahmen");
    klicke("#knopf", "rahmen", &fremd);
    EXPECT_TRUE(programm->warteAufZeile("Download fertig: "));
    EXPECT_EQ(downloads(), 1U);
    dienst.rufe("setTimeout(() => location.href = '/datei')");
    EXPECT_TRUE(wartenBis([&] { return programm->anzahlZeilen("Download fertig: ") == 2; }));
    EXPECT_EQ(downloads(), 2U);
}

TEST_F(Zutun, AFrameSavesNoFileOfTheServiceWithoutAClickOrAnAnswer) {
    auto const datei = HttpAntwort{
        .koerper = "Inhalt",
        .inhaltstyp = "application/octet-stream",
        .weitererKopf = "Content-Disposition: attachment; filename=rechnung.bin\r\n"};
    dienst.antworte("/datei", datei);
    fremd.antworte(
        "/um", HttpAntwort{.status = 302, .weitererKopf = "Location: " + dienst.adresse("/datei") + "\r\n"});
    rahmen();
    oeffne();
    ASSERT_TRUE(fremd.warteAufDokument(1, "rahmen"));
    auto const rahmenZu = [](std::string const& ziel, std::string const& weiteres = {}) {
        return "const f = document.createElement('iframe'); " + weiteres + "f.src = '" + ziel +
               "'; document.body.append(f);";
    };
    std::vector<std::string> const wege{
        rahmenZu(dienst.adresse("/datei")),
        rahmenZu(dienst.adresse("/datei"), "f.referrerPolicy = 'no-referrer'; "), rahmenZu("/um"),
        "const f = document.createElement('form'); f.method = 'post'; f.action = '" +
            dienst.adresse("/datei") +
            "'; f.target = 'n'; const r = document.createElement('iframe'); r.name = 'n'; "
            "document.body.append(r, f); f.submit();"};
    long gefragt = 0;
    for (auto const& weg : wege) {
        fremd.rufe(weg, "rahmen");
        // The first one asks; after its refusal the others of this host are dropped.
        if (gefragt++ == 0) {
            ASSERT_TRUE(warteAufDialog());
            bildschirm.taste("Escape");
            EXPECT_TRUE(warteBisDialogWeg());
        }
        EXPECT_TRUE(wartenBis([&] {
            return std::ssize(dienst.anfragenAn("/datei")) >= gefragt &&
                   programm->anzahlZeilen("nicht gefragt: ") + 1 >= static_cast<std::size_t>(gefragt);
        })) << weg
            << '\n'
            << programm->fehlerausgabe();
        EXPECT_EQ(downloads(), 0U) << weg;
    }
    // The control: the service's own page does the same without anybody.
    dienst.rufe(rahmenZu("/datei"));
    EXPECT_TRUE(programm->warteAufZeile("Download fertig: "));
    dienst.rufe("setTimeout(() => location.href = '/datei')");
    EXPECT_TRUE(wartenBis([&] { return programm->anzahlZeilen("Download fertig: ") == 2; }));
    EXPECT_EQ(downloads(), 2U);
}

TEST_F(Zutun, TheAttributeDownloadOfAForeignAddressMakesNoDownload) {
    browserEinrichten();
    fremd.antworte("/datei", HttpAntwort{.koerper = "Inhalt", .inhaltstyp = "text/plain"});
    dienst.antworte("/datei", HttpAntwort{.koerper = "Inhalt", .inhaltstyp = "text/plain"});
    dienst.inhalt(
        "<p><a id=fremd download href='" + fremd.adresse("/datei") +
        "'>fremd</a><p><a id=eigen download=eigen.txt href='/datei'>eigen</a>");
    oeffne();
    klicke("#fremd");
    EXPECT_TRUE(warteAufBrowser(fremd.adresse("/datei"))) << "a link is a link";
    EXPECT_EQ(downloads(), 0U);
    klicke("#eigen");
    EXPECT_TRUE(programm->warteAufZeile("Download fertig: "));
    EXPECT_EQ(downloads(), 1U);
}

} // namespace
} // namespace quillmate::fenster_echt
