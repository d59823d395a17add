#include "adapter/linux/standardorte_xdg.h"
#include "werkzeug/ordner_auf_zeit.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/resource.h>

using namespace quillmate;
using adapter::linux::standardorteAus;

TEST(StandardorteXdg, WithoutConfigurationTheyLieBelowTheHomeFolder) {
    auto const pfade = standardorteAus("/home/anna", "");
    EXPECT_EQ(pfade.schreibtisch, "/home/anna/Desktop");
    EXPECT_EQ(pfade.dokumente, "/home/anna/Documents");
    EXPECT_EQ(pfade.downloads, "/home/anna/Downloads");
    EXPECT_EQ(pfade.wolke, "/home/anna/Library/Mobile Documents/com~apple~CloudDocs");
}

TEST(StandardorteXdg, FoldersThatTheUserMovedAreTaken) {
    auto const pfade = standardorteAus(
        "/home/anna", "# Kommentar\nXDG_DESKTOP_DIR=\"$HOME/Schreibtisch\"\n XDG_DOCUMENTS_DIR = "
                      "\"/daten/Meine \\\"Dokumente\\\"\"\n"
                      "XDG_DOWNLOAD_DIR=\"$HOME/Heruntergeladen/\"");
    EXPECT_EQ(pfade.schreibtisch, "/home/anna/Schreibtisch");
    EXPECT_EQ(pfade.dokumente, "/daten/Meine \"Dokumente\"");
    EXPECT_EQ(pfade.downloads, "/home/anna/Heruntergeladen");
}

TEST(StandardorteXdg, AnEntryThatNamesTheHomeFolderMeansNone) {
    EXPECT_EQ(
        standardorteAus("/home/anna", "XDG_DESKTOP_DIR=\"$HOME/\"\n").schreibtisch, "/home/anna/Desktop");
    EXPECT_EQ(
        standardorteAus("/home/anna", "XDG_DESKTOP_DIR=\"$HOME\"\n").schreibtisch, "/home/anna/Desktop");
}

TEST(StandardorteXdg, LinesThatBreakTheFormatAreIgnored) {
    for (auto const* const zeile :
         {"XDG_DESKTOP_DIR=$HOME/x", "XDG_DESKTOP_DIR=\"relativ\"", "XDG_DESKTOP_DIR", "XDG_DESKTOP_DIR=\"",
          "\"", "XDG_DESKTOP_DIR=\"$HOMEx/y\"", "XDG_DESKTOP_DIRS=\"/x\""})
        EXPECT_EQ(standardorteAus("/home/anna", zeile).schreibtisch, "/home/anna/Desktop") << zeile;
}

TEST(StandardorteXdg, TheUsersConfigurationFileIsReadAnewEachTime) {
    werkzeug::OrdnerAufZeit const heim;
    ::setenv("HOME", heim.pfad().c_str(), 1);
    ::unsetenv("XDG_CONFIG_HOME");
    adapter::linux::StandardorteXdg orte;
    EXPECT_EQ(orte.pfade().dokumente, heim.pfad("Documents"));
    heim.datei(".config/user-dirs.dirs", "XDG_DOCUMENTS_DIR=\"$HOME/Dokumente\"\n");
    EXPECT_EQ(orte.pfade().dokumente, heim.pfad("Dokumente"));
    ::setenv("XDG_CONFIG_HOME", heim.pfad("anderswo").c_str(), 1);
    heim.datei("anderswo/user-dirs.dirs", "XDG_DOCUMENTS_DIR=\"$HOME/Papiere\"\n");
    EXPECT_EQ(orte.pfade().dokumente, heim.pfad("Papiere"));
}

TEST(StandardorteXdg, AMomentWithoutDescriptorsLeavesTheUsersFolders) {
    werkzeug::OrdnerAufZeit const heim;
    ::setenv("HOME", heim.pfad().c_str(), 1);
    ::unsetenv("XDG_CONFIG_HOME");
    heim.datei(".config/user-dirs.dirs", "XDG_DOCUMENTS_DIR=\"$HOME/Dokumente\"\n");
    adapter::linux::StandardorteXdg orte;
    EXPECT_EQ(orte.pfade().dokumente, heim.pfad("Dokumente"));
    rlimit vorher{};
    ::getrlimit(RLIMIT_NOFILE, &vorher);
    rlimit const keine{.rlim_cur = 0, .rlim_max = vorher.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &keine);
    auto const ohne = orte.pfade();
    ::setrlimit(RLIMIT_NOFILE, &vorher);
    EXPECT_EQ(ohne.dokumente, heim.pfad("Dokumente"));
}
