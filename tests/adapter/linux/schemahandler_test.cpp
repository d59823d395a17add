#include "adapter/linux/schemahandler.h"
#include "werkzeug/ordner_auf_zeit.h"
#include "werkzeug/warten.h"

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

using namespace quillmate;
using adapter::linux::Anwendungsordner;
using adapter::linux::Schemaeintrag;
using werkzeug::inhaltVon;

namespace {

constexpr char const* kennung = "de.tandemwerk.quillmate.probe";
constexpr char const* typ = "x-scheme-handler/quillmate";

class Schemahandler : public testing::Test {
protected:
    Schemaeintrag eintrag(std::string programm = "/opt/quillmate") const {
        return {
            .schema = "quillmate", .kennung = kennung, .name = "Quillmate", .programm = std::move(programm)};
    }
    Anwendungsordner ordner() const {
        return {
            .daten = heim.pfad("daten"),
            .konfiguration = heim.pfad("konfiguration"),
            .systemdaten = {heim.pfad("system")}};
    }
    adapter::linux::Schemahandler handler(std::string programm = "/opt/quillmate") const {
        return {eintrag(std::move(programm)), ordner()};
    }
    std::string desktopdatei() const {
        return heim.pfad("daten/applications/" + std::string{kennung} + ".desktop");
    }
    std::string mimeapps() const { return heim.pfad("konfiguration/mimeapps.list"); }

    /// Hands an address to the desktop's default program for its scheme, as a browser does, in a process of its own:
    /// the library looks at the environment once. False when it knows no program.
    [[nodiscard]] bool oeffnen(std::string const& adresse) const {
        auto const kind = ::fork();
        if (kind == 0) {
            ::setenv("XDG_DATA_HOME", heim.pfad("daten").c_str(), 1);
            ::setenv("XDG_CONFIG_HOME", heim.pfad("konfiguration").c_str(), 1);
            ::setenv("XDG_DATA_DIRS", heim.pfad("system").c_str(), 1);
            ::setenv("XDG_CONFIG_DIRS", heim.pfad("system").c_str(), 1);
            ::unsetenv("XDG_CURRENT_DESKTOP");
            auto* const programm = g_app_info_get_default_for_uri_scheme("quillmate");
            if (!programm || std::string{g_app_info_get_id(programm)} != std::string{kennung} + ".desktop")
                ::_exit(1);
            GList* const adressen = g_list_append(nullptr, const_cast<char*>(adresse.c_str()));
            ::_exit(g_app_info_launch_uris(programm, adressen, nullptr, nullptr) ? 0 : 2);
        }
        int ausgang = -1;
        ::waitpid(kind, &ausgang, 0);
        return ausgang == 0;
    }
    /// A program that writes its arguments, one a line, to the file `zettel`.
    std::string programmIn(std::string const& unterordner) const {
        auto const pfad = heim.datei(
            unterordner + "/quillmate", "#!/bin/sh\nprintf '%s\\n' \"$@\" > '" + heim.pfad("zettel.neu") +
                                            "' && mv '" + heim.pfad("zettel.neu") + "' '" +
                                            heim.pfad("zettel") + "'\n");
        ::chmod(pfad.c_str(), 0700);
        return pfad;
    }

    werkzeug::OrdnerAufZeit heim;
};

} // namespace

TEST_F(Schemahandler, WritesAnEntryThatTakesAnAddressAndMakesItTheDefault) {
    ASSERT_TRUE(handler().sicherstellen());
    EXPECT_EQ(
        inhaltVon(desktopdatei()), "[Desktop Entry]\n"
                                   "Type=Application\n"
                                   "Name=Quillmate\n"
                                   "Comment=Belege finden und Buchungen zuordnen\n"
                                   "Exec=\"/opt/quillmate\" %u\n"
                                   "TryExec=/opt/quillmate\n"
                                   "Icon=de.tandemwerk.quillmate.probe\n"
                                   "Terminal=false\n"
                                   "Categories=Office;Finance;\n"
                                   "MimeType=x-scheme-handler/quillmate;\n");
    EXPECT_EQ(
        inhaltVon(mimeapps()), "[Default Applications]\n"
                               "x-scheme-handler/quillmate=de.tandemwerk.quillmate.probe.desktop;\n"
                               "\n"
                               "[Added Associations]\n"
                               "x-scheme-handler/quillmate=de.tandemwerk.quillmate.probe.desktop;\n");
}

TEST_F(Schemahandler, TheDesktopHandsAnAddressToTheProgramWhateverItsPathIs) {
    for (auto const* const name :
         {"einfach", "mit Leerzeichen", "Bücher & Söhne", "100%ig %u", "a\"b`c$d\\e'f", "x;y=z#",
          "zwei\nZeilen\tTab"}) {
        std::filesystem::remove(heim.pfad("zettel"));
        auto const programm = programmIn(name);
        ASSERT_TRUE(handler(programm).sicherstellen()) << name;
        ASSERT_TRUE(oeffnen("quillmate://bank?client=7&bank=o%20k")) << name;
        ASSERT_TRUE(werkzeug::wartenBis([&] { return std::filesystem::exists(heim.pfad("zettel")); }))
            << name;
        EXPECT_EQ(inhaltVon(heim.pfad("zettel")), "quillmate://bank?client=7&bank=o%20k\n") << name;
    }
}

TEST_F(Schemahandler, AMovedProgramGetsItsEntryRewritten) {
    ASSERT_TRUE(handler("/alt/quillmate").sicherstellen());
    handler("/neu/quillmate").auffrischen();
    EXPECT_NE(inhaltVon(desktopdatei()).find("Exec=\"/neu/quillmate\" %u\n"), std::string::npos);
    ASSERT_TRUE(handler("/noch woanders/quillmate").sicherstellen());
    EXPECT_NE(inhaltVon(desktopdatei()).find("Exec=\"/noch woanders/quillmate\" %u\n"), std::string::npos);
}

TEST_F(Schemahandler, RefreshingWithoutAnEntryWritesNothing) {
    handler().auffrischen();
    EXPECT_FALSE(std::filesystem::exists(heim.pfad("daten")));
    EXPECT_FALSE(std::filesystem::exists(heim.pfad("konfiguration")));
}

TEST_F(Schemahandler, ASecondTimeChangesNoFile) {
    ASSERT_TRUE(handler().sicherstellen());
    std::filesystem::permissions(heim.pfad("konfiguration"), std::filesystem::perms{0500});
    auto const vorher = std::filesystem::last_write_time(mimeapps());
    auto const eintragVorher = std::filesystem::last_write_time(desktopdatei());
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(handler().sicherstellen());
    EXPECT_EQ(std::filesystem::last_write_time(mimeapps()), vorher);
    EXPECT_EQ(std::filesystem::last_write_time(desktopdatei()), eintragVorher);
    std::filesystem::permissions(heim.pfad("konfiguration"), std::filesystem::perms{0700});
}

TEST_F(Schemahandler, EverythingElseInTheListStays) {
    std::string const vorher = "# von Hand\n"
                               "[Added Associations]\n"
                               "text/plain=editor.desktop;\n"
                               "\n"
                               "[Default Applications]\n"
                               "text/html=browser.desktop\n"
                               "[Fremd]\n"
                               "x-scheme-handler/quillmate=bleibt\n";
    EXPECT_EQ(
        adapter::linux::mitStandard(vorher, typ, "q.desktop"), "# von Hand\n"
                                                               "[Added Associations]\n"
                                                               "x-scheme-handler/quillmate=q.desktop;\n"
                                                               "text/plain=editor.desktop;\n"
                                                               "\n"
                                                               "[Default Applications]\n"
                                                               "x-scheme-handler/quillmate=q.desktop;\n"
                                                               "text/html=browser.desktop\n"
                                                               "[Fremd]\n"
                                                               "x-scheme-handler/quillmate=bleibt\n");
}

TEST_F(Schemahandler, AnotherProgramStaysBehindOursAndOursStandsThereOnce) {
    auto const neu = adapter::linux::mitStandard(
        "[Default Applications]\n"
        "x-scheme-handler/quillmate=fremd.desktop;q.desktop\n"
        "[Removed Associations]\n"
        "x-scheme-handler/quillmate=q.desktop;\n"
        "[Default Applications]\n"
        "x-scheme-handler/quillmate = zweit.desktop;q.desktop;q.desktop;",
        typ, "q.desktop");
    EXPECT_EQ(
        neu, "[Default Applications]\n"
             "x-scheme-handler/quillmate=q.desktop;zweit.desktop;\n"
             "[Removed Associations]\n"
             "[Default Applications]\n"
             "\n"
             "[Added Associations]\n"
             "x-scheme-handler/quillmate=q.desktop;\n");
    EXPECT_EQ(adapter::linux::mitStandard(neu, typ, "q.desktop"), neu);
}

TEST_F(Schemahandler, AListThatIsALinkStaysOne) {
    auto const echt = heim.datei("ablage/mimeapps.list", "[Default Applications]\ntext/html=b.desktop\n");
    heim.ordner("konfiguration");
    std::filesystem::create_symlink(echt, mimeapps());
    ASSERT_TRUE(handler().sicherstellen());
    EXPECT_TRUE(std::filesystem::is_symlink(mimeapps()));
    EXPECT_NE(inhaltVon(echt).find("text/html=b.desktop\n"), std::string::npos);
    EXPECT_NE(inhaltVon(echt).find(kennung), std::string::npos);
}

TEST_F(Schemahandler, AListThatCannotBeReadIsNotThrownAway) {
    heim.ordner("konfiguration/mimeapps.list"); // a folder in its place: neither readable nor absent
    EXPECT_FALSE(handler().sicherstellen());
    EXPECT_TRUE(std::filesystem::is_directory(mimeapps()));
}

TEST_F(Schemahandler, AHugeListIsNotThrownAway) {
    heim.datei("konfiguration/mimeapps.list", std::string(std::size_t{2} << 20U, '#'));
    EXPECT_FALSE(handler().sicherstellen());
    EXPECT_EQ(std::filesystem::file_size(mimeapps()), std::size_t{2} << 20U);
}

TEST_F(Schemahandler, ADesktopsOwnListIsChangedOnlyWhereItNamesTheScheme) {
    auto const gnome = heim.datei(
        "konfiguration/gnome-mimeapps.list",
        "[Default Applications]\nx-scheme-handler/quillmate=fremd.desktop\n");
    auto const kde =
        heim.datei("konfiguration/kde-mimeapps.list", "[Default Applications]\ntext/html=b.desktop\n");
    auto orte = ordner();
    orte.desktops = {"gnome", "kde"};
    ASSERT_TRUE((adapter::linux::Schemahandler{eintrag(), orte}.sicherstellen()));
    EXPECT_NE(
        inhaltVon(gnome).find(
            "x-scheme-handler/quillmate=de.tandemwerk.quillmate.probe.desktop;fremd.desktop;"),
        std::string::npos);
    EXPECT_EQ(inhaltVon(kde), "[Default Applications]\ntext/html=b.desktop\n");
}

TEST_F(Schemahandler, AnEntryThatAPackageBroughtIsEnough) {
    heim.datei(
        "system/applications/" + std::string{kennung} + ".desktop",
        "[Desktop Entry]\nType=Application\nName=Quillmate\nExec=/opt/quillmate "
        "%u\nMimeType=x-scheme-handler/quillmate;\n");
    ASSERT_TRUE(handler().sicherstellen());
    EXPECT_FALSE(std::filesystem::exists(desktopdatei()));
    EXPECT_TRUE(std::filesystem::exists(mimeapps()));
    // It leads to another copy of the program: this one needs an entry of its own.
    ASSERT_TRUE(handler("/heim/quillmate").sicherstellen());
    EXPECT_TRUE(std::filesystem::exists(desktopdatei()));
}

TEST_F(Schemahandler, APackageThatNamesItsProgramByALinkInThePathIsEnoughAndTheOwnEntryGoes) {
    auto const programm = programmIn("usr/lib/quillmate");
    std::filesystem::create_directories(heim.pfad("usr/bin"));
    std::filesystem::create_symlink(programm, heim.pfad("usr/bin/quillmate-probe"));
    auto const pfad = std::string{std::getenv("PATH")};
    ::setenv("PATH", (heim.pfad("usr/bin") + ":" + pfad).c_str(), 1);
    // First started without the package.
    ASSERT_TRUE(handler(programm).sicherstellen());
    ASSERT_TRUE(std::filesystem::exists(desktopdatei()));
    heim.datei(
        "system/applications/" + std::string{kennung} + ".desktop",
        "[Desktop Entry]\nType=Application\nName=Quillmate\nExec=quillmate-probe "
        "%u\nMimeType=x-scheme-handler/quillmate;\n");
    EXPECT_TRUE(oeffnen("quillmate://eins")) << "the user's own";
    ASSERT_TRUE(werkzeug::wartenBis([&] { return std::filesystem::exists(heim.pfad("zettel")); }));
    handler(programm).auffrischen();
    EXPECT_FALSE(std::filesystem::exists(desktopdatei())) << "it would stay when the package goes";
    EXPECT_TRUE(handler(programm).sicherstellen());
    EXPECT_FALSE(std::filesystem::exists(desktopdatei()));
    EXPECT_TRUE(oeffnen("quillmate://zwei")) << "the package's";
    // A bundle beside the package still has its own.
    auto const anderes = programmIn("Applications");
    ASSERT_TRUE(handler(anderes).sicherstellen());
    EXPECT_TRUE(std::filesystem::exists(desktopdatei()));
    ::setenv("PATH", pfad.c_str(), 1);
}

TEST_F(Schemahandler, AnEntryWhoseProgramIsGoneIsNobodysHandler) {
    for (auto const* ordner : {"a b", "ü\\t", "50%"}) {
        auto const programm = programmIn(ordner);
        ASSERT_TRUE(handler(programm).sicherstellen()) << ordner;
        std::filesystem::remove(heim.pfad("zettel"));
        EXPECT_TRUE(oeffnen("quillmate://da")) << ordner;
        ASSERT_TRUE(werkzeug::wartenBis([&] { return std::filesystem::exists(heim.pfad("zettel")); }));
        std::filesystem::remove(programm);
        EXPECT_FALSE(oeffnen("quillmate://weg")) << ordner;
    }
}

TEST_F(Schemahandler, APathThatNoEntryCanNameIsRefused) {
    EXPECT_FALSE(handler("/opt/M\xFCller/quillmate").sicherstellen());
    EXPECT_FALSE(handler("quillmate").sicherstellen());
    EXPECT_FALSE(std::filesystem::exists(heim.pfad("daten")));
}

TEST_F(Schemahandler, AFolderThatCannotBeWrittenIsAFailure) {
    heim.datei("daten/applications"); // a file in the folder's place
    EXPECT_FALSE(handler().sicherstellen());
    EXPECT_FALSE(std::filesystem::exists(mimeapps()));
}

TEST(Execzeile, QuotesInThreeLayers) {
    EXPECT_EQ(adapter::linux::execZeile("/a b/ü"), "\"/a b/ü\" %u");
    EXPECT_EQ(adapter::linux::execZeile("/50%"), R"(/bin/sh -c "exec \\"\\$0\\" \\"\\$@\\"" "/50%%" %u)");
    EXPECT_EQ(adapter::linux::execZeile("/$a`b\"c\\d"), R"("/\\$a\\`b\\"c\\\\d" %u)");
    EXPECT_EQ(adapter::linux::execZeile("/a\nb"), R"("/a\nb" %u)");
}
