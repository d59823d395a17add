#include "adapter/linux/buendel.h"
#include "werkzeug/ordner_auf_zeit.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

using namespace quillmate;

namespace {

constexpr char const* info = R"(<?xml version="1.0"?><plist version="1.0"><dict>
<key>CFBundleIdentifier</key><string>de.beispiel.probe</string>
<key>CFBundleShortVersionString</key><string>1.2</string>
<key>CFBundleName</key><string>Probe</string>
<key>CFBundleExecutable</key><string>programm</string>
<key>CFBundleVersion</key><integer>7</integer></dict></plist>)";

} // namespace

TEST(Buendel, IsFoundUpwardFromTheExecutable) {
    werkzeug::OrdnerAufZeit const ordner;
    ordner.datei("Probe ä.app/Contents/Info.plist", info);
    auto const programm = ordner.datei("Probe ä.app/Contents/Linux/programm");
    auto const buendel = adapter::linux::buendelVon(programm);
    ASSERT_TRUE(buendel);
    EXPECT_EQ(buendel->pfad, std::filesystem::canonical(ordner.pfad("Probe ä.app")));
    EXPECT_EQ(buendel->kennung, "de.beispiel.probe");
    EXPECT_EQ(buendel->kurzfassung, "1.2");
    EXPECT_FALSE(buendel->buildnummer); // a number, not a text
}

TEST(Buendel, IsFoundThroughALinkToTheExecutable) {
    werkzeug::OrdnerAufZeit const ordner;
    ordner.datei("Probe.app/Contents/Info.plist", info);
    auto const programm = ordner.datei("Probe.app/Contents/Linux/programm");
    ordner.ordner("bin");
    std::filesystem::create_symlink(programm, ordner.pfad("bin/programm"));
    EXPECT_TRUE(adapter::linux::buendelVon(ordner.pfad("bin/programm")));
}

TEST(Buendel, WithoutInfoOrWithBrokenInfoThereIsNone) {
    werkzeug::OrdnerAufZeit const ordner;
    auto const programm = ordner.datei("Probe.app/Contents/Linux/programm");
    EXPECT_FALSE(adapter::linux::buendelVon(programm));
    ordner.datei("Probe.app/Contents/Info.plist", "<plist><array/></plist>");
    EXPECT_FALSE(adapter::linux::buendelVon(programm));
    ordner.datei("Probe.app/Contents/Info.plist", "bplist00 und dann nichts");
    EXPECT_FALSE(adapter::linux::buendelVon(programm));
    EXPECT_FALSE(adapter::linux::buendelVon(ordner.pfad("fehlt")));
}

TEST(Buendel, AListThatCannotBeReadNowIsNotAProgramWithoutABundle) {
    werkzeug::OrdnerAufZeit const ordner;
    auto const programm = ordner.datei("Probe.app/Contents/Linux/programm");
    EXPECT_TRUE(adapter::linux::buendellage(programm)) << "there is none";
    ordner.datei("Probe.app/Contents/Info.plist", "bplist00 und dann nichts");
    EXPECT_TRUE(adapter::linux::buendellage(programm)) << "read, and no list";
    std::filesystem::remove(ordner.pfad("Probe.app/Contents/Info.plist"));
    // Reading it never comes to an end; the kernel says so at the first step.
    std::filesystem::create_symlink("Info.plist", ordner.pfad("Probe.app/Contents/Info.plist"));
    auto const lage = adapter::linux::buendellage(programm);
    ASSERT_FALSE(lage);
    EXPECT_EQ(lage.error().ursache, (Ursache{Ursache::Herkunft::errnoWert, ELOOP}));
    EXPECT_TRUE(lage.error().wo.ends_with("Probe.app/Contents/Info.plist"));
}

TEST(Buendel, AProgramOutsideOfOneHasTheMainIdentifier) {
    EXPECT_EQ(adapter::linux::eigeneKennung(), "de.tandemwerk.quillmate");
}

TEST(Buendel, IsReadAtExactlyItsFolder) {
    werkzeug::OrdnerAufZeit const ordner;
    ordner.datei("Probe.app/Contents/Info.plist", info);
    adapter::linux::BuendelkundeLinux kunde;
    auto const buendel = kunde.lesen(ordner.pfad("Probe.app"));
    ASSERT_TRUE(buendel);
    EXPECT_EQ(buendel->pfad, ordner.pfad("Probe.app"));
    EXPECT_EQ(buendel->name, "Probe");
    EXPECT_EQ(buendel->programm, ordner.pfad("Probe.app/Contents/Linux/programm"));
    EXPECT_FALSE(kunde.lesen(ordner.pfad("Probe.app/Contents")));
    EXPECT_FALSE(kunde.lesen(ordner.pfad("fehlt.app")));
}

TEST(Buendel, AnExecutableThatLeadsOutOfTheBundleIsNone) {
    werkzeug::OrdnerAufZeit const ordner;
    ordner.datei("Probe.app/Contents/Info.plist", R"(<plist version="1.0"><dict>
<key>CFBundleExecutable</key><string>../../../bin/sh</string></dict></plist>)");
    auto const buendel = adapter::linux::buendelAn(ordner.pfad("Probe.app"));
    ASSERT_TRUE(buendel);
    EXPECT_FALSE(buendel->programm);
}

TEST(Buendel, OfAProgramOutsideOfOneIsTheFolderItRunsFrom) {
    EXPECT_EQ(
        adapter::linux::BuendelkundeLinux{}.laufend(),
        std::filesystem::canonical("/proc/self/exe").parent_path());
}

TEST(Buendel, KnowsWhereItsUpdatesComeFrom) {
    werkzeug::OrdnerAufZeit const ordner;
    ordner.datei("Probe.app/Contents/Info.plist", R"(<plist version="1.0"><dict>
<key>SUFeedURL</key><string>https://beispiel.de/appcast.xml</string>
<key>SUPublicEDKey</key><array><string>eins</string><string>zwei</string></array>
<key>SUEnableAutomaticChecks</key><true/>
<key>SUScheduledCheckInterval</key><integer>86400</integer></dict></plist>)");
    auto const werte = adapter::linux::buendelAn(ordner.pfad("Probe.app"))->updates;
    EXPECT_EQ(werte.feed, "https://beispiel.de/appcast.xml");
    EXPECT_EQ(werte.schluessel, (std::vector<std::string>{"eins", "zwei"}));
    EXPECT_EQ(werte.automatisch, true);
    EXPECT_EQ(werte.abstand, std::chrono::hours{24});
}

TEST(Buendel, UpdateValuesOfTheWrongKindAreMissing) {
    werkzeug::OrdnerAufZeit const ordner;
    ordner.datei("Probe.app/Contents/Info.plist", R"(<plist version="1.0"><dict>
<key>SUFeedURL</key><true/>
<key>SUPublicEDKey</key><array><string>eins</string><integer>2</integer></array>
<key>SUEnableAutomaticChecks</key><string>ja</string>
<key>SUScheduledCheckInterval</key><integer>99999999999</integer></dict></plist>)");
    auto const werte = adapter::linux::buendelAn(ordner.pfad("Probe.app"))->updates;
    EXPECT_FALSE(werte.feed);
    EXPECT_TRUE(werte.schluessel.empty());
    EXPECT_FALSE(werte.automatisch);
    EXPECT_FALSE(werte.abstand);
    ordner.datei("Eins.app/Contents/Info.plist", R"(<plist version="1.0"><dict>
<key>SUPublicEDKey</key><string>eins</string></dict></plist>)");
    EXPECT_EQ(
        adapter::linux::buendelAn(ordner.pfad("Eins.app"))->updates.schluessel,
        std::vector<std::string>{"eins"});
}
