// One program of each kind; a second start shows the first one's window.
#include "attrappen/probebuendel.h"
#include "attrappen/warten.h"
#include "echtes_fenster.h"

#include <sys/stat.h>

#include <csignal>
#include <filesystem>

namespace quillmate::fenster_echt {
namespace {

using attrappen::wartenBis;

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
    /// The program in a bundle with another identifier.
    [[nodiscard]] std::string demobuendel() const {
        namespace fs = std::filesystem;
        auto const pfad = ordner.pfad("Demo.app/Contents");
        fs::create_directories(pfad);
        auto const original = fs::canonical(QUILLMATE_PROGRAMM).parent_path().parent_path();
        fs::copy(original, pfad, fs::copy_options::recursive);
        ordner.datei(
            "Demo.app/Contents/Info.plist", attrappen::infoPlist("1", "de.tandemwerk.quillmate.demo"));
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
    EXPECT_EQ(zweites->zeilen(), std::vector<std::string>{"Quillmate läuft bereits"});
    EXPECT_TRUE(wartenBis([&] { return bildschirm.tastaturBei() == haupt; }));
    EXPECT_EQ(dienst.dokumente(), 1) << "and nothing is loaded again";
}

TEST_F(Instanzen, TheLockEndsWithTheProcessEvenWhenItIsKilled) {
    oeffne();
    programm->beenden(SIGKILL);
    EXPECT_TRUE(wartenBis([&] { return !programm->laeuft(); }));
    programm.reset();
    oeffne();
    EXPECT_TRUE(programm->laeuft());
}

TEST_F(Instanzen, TheLockIsAnEmptyFileOfTheUserInTheTemporaryFolder) {
    oeffne();
    struct stat angaben {};
    ASSERT_EQ(::stat(ordner.pfad("tmp/quillmate-einzelinstanz.lock").c_str(), &angaben), 0);
    EXPECT_EQ(angaben.st_mode & 0777U, 0600U);
    EXPECT_EQ(angaben.st_size, 0);
}

TEST_F(Instanzen, AnUnwritableTemporaryFolderEndsTheStartWithALine) {
    auto const kaputt = starte({}, {{"TMPDIR", ordner.pfad("gibt/es/nicht")}});
    EXPECT_EQ(kaputt->warteAufEnde(), 0);
    EXPECT_EQ(
        kaputt->zeilen(), std::vector<std::string>{"Einzelinstanz-Sperre konnte nicht angelegt werden"});
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
    EXPECT_EQ(zweite->zeilen(), std::vector<std::string>{"Eine Quillmate-Demo läuft bereits"});
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
