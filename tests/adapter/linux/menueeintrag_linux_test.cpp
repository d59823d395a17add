#include "adapter/linux/buendel.h"
#include "adapter/linux/menueeintrag_linux.h"
#include "adapter/linux/schemahandler.h"
#include "werkzeug/probebuendel.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

using namespace quillmate;

namespace {

class MenueeintragLinux : public testing::Test {
protected:
    /// In a process with folders of its own: the environment is one for all threads.
    void trageEin(std::string const& app) const {
        auto const kind = ::fork();
        if (kind == 0) {
            ::setenv("XDG_DATA_HOME", ordner.pfad("daten").c_str(), 1);
            ::setenv("XDG_CONFIG_HOME", ordner.pfad("konfiguration").c_str(), 1);
            ::setenv("XDG_DATA_DIRS", ordner.pfad("system").c_str(), 1);
            adapter::linux::MenueeintragLinux{}.eintragen(*adapter::linux::buendelAn(app));
            ::_exit(0);
        }
        int ausgang = -1;
        ::waitpid(kind, &ausgang, 0);
        ASSERT_EQ(ausgang, 0);
    }
    std::string buendel(std::string const& name) const {
        auto const app = ordner.pfad(name);
        werkzeug::probebuendel(app, "50");
        ordner.datei(name + "/Contents/Resources/quillmate.svg", "<svg>" + name + "</svg>");
        ordner.datei(name + "/Contents/Resources/symbol/quillmate-48.png", "png " + name);
        return app;
    }
    std::string eintrag() const {
        return werkzeug::inhaltVon(ordner.pfad("daten/applications/de.tandemwerk.quillmate.desktop"));
    }
    std::string symbol() const {
        return werkzeug::inhaltVon(
            ordner.pfad("daten/icons/hicolor/scalable/apps/de.tandemwerk.quillmate.svg"));
    }

    werkzeug::OrdnerAufZeit ordner;
};

} // namespace

TEST_F(MenueeintragLinux, LetsMenuAndSchemeStartTheBundleAtItsPlace) {
    auto const app = buendel("Downloads/Quillmate.app");
    trageEin(app);
    EXPECT_NE(
        eintrag().find("Exec=" + adapter::linux::execZeile(app + "/Contents/Linux/quillmate") + "\n"),
        std::string::npos)
        << eintrag();
    EXPECT_NE(eintrag().find("MimeType=x-scheme-handler/quillmate;"), std::string::npos);
    EXPECT_NE(eintrag().find("Icon=de.tandemwerk.quillmate\n"), std::string::npos);
    EXPECT_EQ(symbol(), "<svg>Downloads/Quillmate.app</svg>");
    EXPECT_EQ(
        werkzeug::inhaltVon(ordner.pfad("daten/icons/hicolor/48x48/apps/de.tandemwerk.quillmate.png")),
        "png Downloads/Quillmate.app");
    EXPECT_NE(
        werkzeug::inhaltVon(ordner.pfad("konfiguration/mimeapps.list"))
            .find("x-scheme-handler/quillmate=de.tandemwerk.quillmate.desktop"),
        std::string::npos);
}

TEST_F(MenueeintragLinux, OfTheNewPlaceReplacesThatOfTheOldOne) {
    auto const alt = buendel("Downloads/Quillmate.app");
    auto const neu = buendel("Applications/Quillmate.app");
    trageEin(alt);
    trageEin(neu);
    EXPECT_EQ(eintrag().find("Downloads"), std::string::npos) << eintrag();
    EXPECT_NE(
        eintrag().find("Exec=" + adapter::linux::execZeile(neu + "/Contents/Linux/quillmate")),
        std::string::npos);
    EXPECT_EQ(symbol(), "<svg>Applications/Quillmate.app</svg>");
    auto const ordnerMitEintraegen = ordner.pfad("daten/applications");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator{ordnerMitEintraegen}, {}), 1)
        << "one entry, never two";
}

TEST_F(MenueeintragLinux, IsNotMadeForABundleWithoutIdentifierOrProgram) {
    ordner.datei("Leer.app/Contents/Info.plist", "<plist version=\"1.0\"><dict/></plist>");
    trageEin(ordner.pfad("Leer.app"));
    EXPECT_FALSE(std::filesystem::exists(ordner.pfad("daten")));
}
