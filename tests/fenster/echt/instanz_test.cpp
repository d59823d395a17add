// One program of each kind; a second start shows the first one's window.
#include "echtes_fenster.h"
#include "werkzeug/probebuendel.h"
#include "werkzeug/warten.h"

#include <sys/stat.h>

#include <csignal>
#include <filesystem>

namespace quillmate::fenster_echt {
namespace {

using werkzeug::wartenBis;

class Instanzen : public EchtesFenster {
protected:
    /// Something else on the screen that has the keyboard.
    unsigned long fremdesFenster() {
        fremdes_.emplace(anzeige.name());
        auto const nummer = fremdes_->eigenesZeigen();
        EXPECT_TRUE(wartenBis([&] {
            bildschirm.tastaturAn(nummer);
            return bildschirm.tastaturBei() == nummer;
        }));
        return nummer;
    }
    /// Whether a second program has said this, once, and nothing else but that the first one was slow to answer.
    static testing::AssertionResult hatNichtBegonnen(Programm const& zweites, std::string const& zeile) {
        for (auto const& eine : zweites.zeilen())
            if (eine != zeile && !eine.starts_with("Der Sitzungsbus antwortet nicht: "))
                return testing::AssertionFailure() << eine;
        return zweites.anzahlZeilen(zeile) == 1 ? testing::AssertionSuccess()
                                                : testing::AssertionFailure() << zweites.fehlerausgabe();
    }
    /// The program in a bundle with another identifier.
    [[nodiscard]] std::string demobuendel() const {
        namespace fs = std::filesystem;
        auto const pfad = ordner.pfad("Demo.app/Contents");
        fs::create_directories(pfad);
        auto const original = fs::canonical(QUILLMATE_PROGRAMM).parent_path().parent_path();
        fs::copy(original, pfad, fs::copy_options::recursive);
        ordner.datei(
            "Demo.app/Contents/Info.plist", werkzeug::infoPlist("1", "de.tandemwerk.quillmate.demo"));
        return pfad + "/Linux/quillmate";
    }

private:
    std::optional<Bildschirm> fremdes_;
};

TEST_F(Instanzen, ASecondStartShowsTheFirstWindowSaysSoAndEndsWithoutAnError) {
    oeffne();
    auto const haupt = hauptfenster().nummer;
    EXPECT_NE(fremdesFenster(), haupt);
    auto const zweites = starte();
    EXPECT_EQ(zweites->warteAufEnde(), 0);
    EXPECT_TRUE(hatNichtBegonnen(*zweites, "Quillmate läuft bereits"));
    EXPECT_TRUE(wartenBis([&] { return bildschirm.tastaturBei() == haupt; }));
    EXPECT_EQ(dienst.dokumente(), 1) << "and nothing is loaded again";
}

TEST_F(Instanzen, ASecondStartBringsAllWindowsBackAndTheOneUsedLastOnTop) {
    dienst.inhalt("<button id=knopf onclick=\"window.neben = window.open('')\">auf</button>");
    oeffne();
    auto const haupt = hauptfenster().nummer;
    klicke("#knopf");
    unsigned long neben = 0;
    ASSERT_TRUE(wartenBis([&] {
        for (auto const& eins : bildschirm.fenster())
            if (eins.nummer != haupt && !eins.aufgeklappt)
                neben = eins.nummer;
        return neben != 0;
    }));
    bildschirm.tastaturAn(neben);
    auto const fremd = fremdesFenster();
    auto const zweites = starte();
    EXPECT_EQ(zweites->warteAufEnde(), 0);
    // From the bottom to the top.
    std::vector<unsigned long> stapel;
    EXPECT_TRUE(wartenBis([&] {
        stapel.clear();
        for (auto const& eins : bildschirm.fenster())
            if (!eins.aufgeklappt || eins.nummer == fremd)
                stapel.push_back(eins.nummer);
        return stapel == std::vector{fremd, haupt, neben};
    })) << ::testing::PrintToString(stapel)
        << ::testing::PrintToString(std::vector{fremd, haupt, neben});
}

TEST_F(Instanzen, TheLockEndsWithTheProcessEvenWhenItIsKilled) {
    oeffne();
    programm->beenden(SIGKILL);
    EXPECT_TRUE(wartenBis([&] { return !programm->laeuft(); }));
    programm.reset();
    oeffne();
    EXPECT_TRUE(programm->laeuft());
}

TEST_F(Instanzen, TheLockIsAnEmptyFileOfTheUserInTheRuntimeFolder) {
    oeffne();
    struct stat angaben {};
    ASSERT_EQ(::stat(ordner.pfad("run/quillmate-einzelinstanz.lock").c_str(), &angaben), 0);
    EXPECT_EQ(angaben.st_mode & 0777U, 0600U);
    EXPECT_EQ(angaben.st_size, 0);
}

TEST_F(Instanzen, APlantedFileInTheLocksPlaceEndsTheStartWithALine) {
    // Neither folder is the user's alone, and what bears the name of one of ours in them is none.
    auto const offen = ordner.pfad("offen");
    std::filesystem::create_directory(offen);
    std::filesystem::permissions(offen, std::filesystem::perms::all);
    ordner.datei("offen/quillmate-" + std::to_string(::geteuid()), "");
    auto const kaputt = starte({}, {{"TMPDIR", offen}, {"XDG_RUNTIME_DIR", offen}});
    EXPECT_EQ(kaputt->warteAufEnde(), 0);
    auto const zeilen = kaputt->zeilen();
    ASSERT_EQ(zeilen.size(), 2U);
    EXPECT_TRUE(zeilen[0].contains("/offen/quillmate-")) << zeilen[0];
    EXPECT_EQ(zeilen[1], "Einzelinstanz-Sperre konnte nicht angelegt werden");
    EXPECT_TRUE(bildschirm.fenster().empty());
}

TEST_F(Instanzen, ADemoRunsBesideTheMainBuildButNotTwice) {
    oeffne();
    auto const datei = demobuendel();
    auto const demo = starte({}, {{"QUILLMATE_URL", dienst.adresse("/seite/demo")}}, datei);
    ASSERT_TRUE(dienst.warteAufDokument(1, "demo"));
    EXPECT_EQ(dienst.rufe("return window.quillmateApp.fassung", "demo"), 3);
    EXPECT_EQ(dienst.rufe("return window.quillmateApp.fassung"), 3);
    auto const zweite = starte({}, {}, datei);
    EXPECT_EQ(zweite->warteAufEnde(), 0);
    EXPECT_TRUE(hatNichtBegonnen(*zweite, "Eine Quillmate-Demo läuft bereits"));
    EXPECT_EQ(dienst.dokumente(), 1);
    // What belongs to a person is kept apart too.
    EXPECT_TRUE(std::filesystem::exists(ordner.pfad("home/.local/share/de.tandemwerk.quillmate.demo")));
    EXPECT_TRUE(std::filesystem::exists(ordner.pfad("home/.local/share/de.tandemwerk.quillmate")));
}

TEST_F(Instanzen, AnAddressThatNobodyWaitsForIsLoggedWithoutItsSecretsAndIgnored) {
    oeffne();
    auto const haupt = hauptfenster().nummer;
    EXPECT_NE(fremdesFenster(), haupt);
    auto const zweites = starte({"quillmate://anmeldung?merkmal=geheim"});
    EXPECT_EQ(zweites->warteAufEnde(), 0);
    EXPECT_TRUE(programm->warteAufZeile("Rückweg verworfen: "));
    EXPECT_EQ(programm->fehlerausgabe().find("geheim"), std::string::npos);
    EXPECT_TRUE(wartenBis([&] { return bildschirm.tastaturBei() == haupt; }));
    EXPECT_EQ(dienst.rufe("return location.pathname"), "/uebersicht");
    EXPECT_EQ(dienst.dokumente(), 1);
}

} // namespace
} // namespace quillmate::fenster_echt
