// One program of each kind; a second start shows the first one's window.
#include "echtes_fenster.h"
#include "werkzeug/probebuendel.h"
#include "werkzeug/warten.h"

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <utility>
#include <vector>

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

TEST_F(Instanzen, WhatNeighboursPlantInTheLocksPlaceIsNotFollowedAndEndsTheStartWithALine) {
    // Neither folder is the user's alone, and what bears the name of one of ours in them is none.
    namespace fs = std::filesystem;
    auto const offen = ordner.pfad("offen");
    auto const unserer = offen + "/quillmate-" + std::to_string(::geteuid());
    auto const fremdes = ordner.ordner("fremdes");
    std::vector<std::pair<char const*, std::function<void()>>> pflanzungen{
        {"a file",
         [&] {
             ordner.datei("offen/" + fs::path{unserer}.filename().string(), "");
         }},
        {"a link",
         [&] {
             fs::create_directory_symlink(fremdes, unserer);
         }},
        {"a link to nowhere",
         [&] {
             fs::create_directory_symlink(fremdes + "/neu", unserer);
         }},
        {"a fifo",
         [&] {
             ASSERT_EQ(::mkfifo(unserer.c_str(), 0666), 0);
         }},
        {"an open folder", [&] {
             fs::create_directory(unserer);
             fs::permissions(unserer, fs::perms::all);
         }}};
    constexpr uid_t niemand = 65534;
    if (::geteuid() == 0)
        pflanzungen.emplace_back("another user's folder with a lock", [&] {
            fs::create_directory(unserer);
            fs::permissions(unserer, fs::perms::owner_all);
            ordner.datei(
                "offen/" + fs::path{unserer}.filename().string() + "/quillmate-einzelinstanz.lock", "");
            ASSERT_EQ(::chown(unserer.c_str(), niemand, niemand), 0);
        });
    for (auto const& [was, pflanze] : pflanzungen) {
        fs::remove_all(offen);
        fs::create_directory(offen);
        fs::permissions(offen, fs::perms::all | fs::perms::sticky_bit);
        pflanze();
        auto const start = starte({}, {{"TMPDIR", offen}, {"XDG_RUNTIME_DIR", offen}});
        EXPECT_EQ(start->warteAufEnde(), 0) << was;
        auto const zeilen = start->zeilen();
        ASSERT_EQ(zeilen.size(), 2U) << was;
        EXPECT_TRUE(zeilen[0].contains("/offen/quillmate-")) << zeilen[0];
        EXPECT_EQ(zeilen[1], "Einzelinstanz-Sperre konnte nicht angelegt werden") << was;
        EXPECT_TRUE(fs::is_empty(fremdes)) << was << " was followed";
        EXPECT_TRUE(bildschirm.fenster().empty()) << was;
    }
    // The control: with nothing there the same folder will do.
    fs::remove_all(offen);
    fs::create_directory(offen);
    fs::permissions(offen, fs::perms::all | fs::perms::sticky_bit);
    oeffne({{"TMPDIR", offen}, {"XDG_RUNTIME_DIR", offen}});
    EXPECT_TRUE(fs::exists(unserer + "/quillmate-einzelinstanz.lock"));
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
