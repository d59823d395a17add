// A downloaded program that moves itself: the built bundle in the Downloads folder of a home of its own, the question, the
// copy in the user's own Applications folder, and the program that goes on from there.
#include "echtes_fenster.h"
#include "werkzeug/warten.h"

#include <csignal>
#include <filesystem>

namespace quillmate::fenster_echt {
namespace {

using werkzeug::wartenBis;

namespace fs = std::filesystem;

class Umzuege : public EchtesFenster {
protected:
    Umzuege() {
        auto const original = fs::canonical(QUILLMATE_PROGRAMM).parent_path().parent_path();
        fs::create_directories(geladen + "/Contents/Linux");
        for (auto const* const teil : {"Info.plist", "Resources"})
            fs::copy(original / teil, geladen + "/Contents/" + teil, fs::copy_options::recursive);
        for (auto const& datei : fs::directory_iterator{original / "Linux"}) {
            // The programs with their debugging data are large; another name is enough where the disk is the same.
            auto const ziel = geladen + "/Contents/Linux/" + datei.path().filename().string();
            std::error_code fehler;
            fs::create_hard_link(datei.path(), ziel, fehler);
            if (fehler)
                fs::copy_file(datei.path(), ziel);
        }
    }
    void TearDown() override {
        if (auto const nummer = umgezogenes())
            ::kill(*nummer, SIGKILL);
        EchtesFenster::TearDown();
    }
    /// Starts the downloaded program up to its question.
    [[nodiscard]] bool fragt() {
        programm = starte({}, {}, geladen + "/Contents/Linux/quillmate");
        auto const frage = bildschirm.warteAufFenster("Quillmate");
        return frage && wartenBis([&] {
                   if (bildschirm.tastaturBei() != frage->nummer)
                       bildschirm.tastaturAn(frage->nummer);
                   return bildschirm.tastaturBei() == frage->nummer;
               });
    }
    /// The process that runs the program from the Applications folder, which is no child of ours.
    [[nodiscard]] std::optional<pid_t> umgezogenes() const {
        for (auto const& eintrag : fs::directory_iterator{"/proc"}) {
            std::error_code fehler;
            if (fs::read_symlink(eintrag.path() / "exe", fehler) == installiert + "/Contents/Linux/quillmate")
                return std::stoi(eintrag.path().filename().string());
        }
        return std::nullopt;
    }
    /// What the process was started with; afterwards it changes only its own copy.
    [[nodiscard]] static std::string anfangsumgebung(pid_t nummer) {
        return werkzeug::inhaltVon("/proc/" + std::to_string(nummer) + "/environ");
    }

    std::string const geladen{ordner.pfad("home/Downloads/Quillmate.app")};
    std::string const installiert{ordner.pfad("home/Applications/Quillmate.app")};
    std::string const papierkorb{ordner.pfad("home/.local/share/Trash/files/Quillmate.app")};
};

TEST_F(Umzuege, FromDownloadsTheProgramMovesGoesOnFromTheNewPlaceAndSaysSoOnce) {
    if (fs::exists("/Applications"))
        GTEST_SKIP() << "the program would go into this machine's own folder";
    ASSERT_TRUE(fragt());
    bildschirm.bild("umzug_frage");
    EXPECT_EQ(dienst.dokumente(), 0) << "no window before the answer";
    bildschirm.taste("Return");
    EXPECT_EQ(programm->warteAufEnde(), 0);
    ASSERT_TRUE(dienst.warteAufDokument(1));
    auto const neues = umgezogenes();
    ASSERT_TRUE(neues);
    EXPECT_FALSE(anfangsumgebung(*neues).contains("LANGUAGE=")) << "our own language was handed on";
    EXPECT_FALSE(fs::exists(geladen));
    EXPECT_TRUE(fs::exists(papierkorb + "/Contents/Info.plist"));
    EXPECT_EQ(
        dienst.rufe("return [window.quillmateApp.ort, window.quillmateApp.aktualisierbar]"),
        (nlohmann::json{"programme", true}));
    EXPECT_TRUE(
        werkzeug::inhaltVon(ordner.pfad("home/.local/share/applications/de.tandemwerk.quillmate.desktop"))
            .contains(installiert));

    ASSERT_TRUE(warteAufDialog()) << "nobody says that it has moved";
    bildschirm.bild("umzug_bestaetigung");
    bildschirm.taste("Return");
    EXPECT_TRUE(warteBisDialogWeg());
    bildschirm.schliessen(hauptfenster().nummer);
    EXPECT_TRUE(wartenBis([&] { return !umgezogenes(); }));

    oeffne({}, installiert + "/Contents/Linux/quillmate");
    EXPECT_EQ(dienst.rufe("return 1"), 1);
    EXPECT_EQ(bildschirm.fenster().size(), 1U) << "it says so again";
}

TEST_F(Umzuege, ASecondCopyOpensTheInstalledOneAndGoesIntoTheTrash) {
    if (fs::exists("/Applications"))
        GTEST_SKIP() << "the program would look into this machine's own folder";
    fs::create_directories(fs::path{installiert}.parent_path());
    fs::copy(geladen, installiert, fs::copy_options::recursive | fs::copy_options::create_hard_links);
    ordner.datei("home/Applications/Quillmate.app/marke", "die installierte");
    ASSERT_TRUE(fragt());
    bildschirm.bild("umzug_zweite_kopie");
    bildschirm.taste("Return");
    EXPECT_EQ(programm->warteAufEnde(), 0);
    ASSERT_TRUE(dienst.warteAufDokument(1));
    EXPECT_TRUE(umgezogenes());
    EXPECT_TRUE(fs::exists(installiert + "/marke")) << "copied over";
    EXPECT_FALSE(fs::exists(geladen));
}

TEST_F(Umzuege, AVersionJustPutInCountsAsStartedWhileItAsks) {
    auto const probe = ordner.datei("home/Downloads/.Quillmate.app.probe", "0\n");
    ASSERT_TRUE(fragt());
    EXPECT_TRUE(wartenBis([&] { return !fs::exists(probe); })) << "whoever waits for it would take it back";
    EXPECT_EQ(dienst.dokumente(), 0) << "the question has been answered";
}

TEST_F(Umzuege, LaterStartsTheProgramWhereItIsAndAsksAgainTheNextTime) {
    for (int i = 1; i <= 2; ++i) {
        ASSERT_TRUE(fragt());
        bildschirm.taste("Escape");
        ASSERT_TRUE(dienst.warteAufDokument(i));
        EXPECT_EQ(
            dienst.rufe("return [window.quillmateApp.ort, window.quillmateApp.aktualisierbar]"),
            (nlohmann::json{"downloads", false}));
        beende();
    }
    EXPECT_TRUE(fs::exists(geladen));
    EXPECT_FALSE(fs::exists(installiert));
}

} // namespace
} // namespace quillmate::fenster_echt
