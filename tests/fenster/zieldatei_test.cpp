#include "fenster/zieldatei.h"
#include "werkzeug/ordner_auf_zeit.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using namespace quillmate;
using werkzeug::inhaltVon;
using werkzeug::OrdnerAufZeit;

namespace {

std::string belegt(OrdnerAufZeit const& ordner, std::string_view name) {
    auto ziel = fenster::Zieldatei::belegen(ordner.pfad(), name);
    if (!ziel)
        return "nichts";
    ordner.datei(ziel->name()); // the download is whole
    return ziel->name();
}

std::size_t anzahlIn(std::string const& ordner) {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator{ordner}, std::filesystem::directory_iterator{}));
}

} // namespace

TEST(SichererDateiname, AnOrdinaryNameStaysAsItIs) {
    for (auto const* const name :
         {"rechnung.pdf", "Rechnung Nr. 5 (März).pdf", "export", "archiv.tar.gz", "名前.pdf", "a'b\"c.pdf",
          "100%.pdf"})
        EXPECT_EQ(fenster::sichererDateiname(name), name);
}

TEST(SichererDateiname, OnlyTheLastComponentIsLeft) {
    EXPECT_EQ(fenster::sichererDateiname("../../.ssh/config"), "config");
    EXPECT_EQ(fenster::sichererDateiname("/etc/passwd"), "passwd");
    EXPECT_EQ(fenster::sichererDateiname("C:\\Users\\a\\rechnung.pdf"), "rechnung.pdf");
    EXPECT_EQ(fenster::sichererDateiname("a/b\\c/d.pdf"), "d.pdf");
}

TEST(SichererDateiname, NamesThatAreNoneBecomeDownload) {
    for (auto const* const name : {"", "/", "a/", "a\\", "   ", "\xE2\x80\xAE"})
        EXPECT_EQ(fenster::sichererDateiname(name), "Download") << name;
}

TEST(SichererDateiname, NothingIsHiddenAndNothingIsAFolder) {
    EXPECT_EQ(fenster::sichererDateiname("."), "_");
    EXPECT_EQ(fenster::sichererDateiname(".."), "_.");
    EXPECT_EQ(fenster::sichererDateiname("../.."), "_.");
    EXPECT_EQ(fenster::sichererDateiname(".bashrc"), "_bashrc");
    EXPECT_EQ(fenster::sichererDateiname(" .bashrc"), "_bashrc");
}

TEST(SichererDateiname, ControlCharactersAndTurnersOfTextDisappear) {
    EXPECT_EQ(fenster::sichererDateiname(std::string_view{"a\0b\n\x1b\x7f.pdf", 10}), "a_b___.pdf");
    EXPECT_EQ(
        fenster::sichererDateiname("rechnung\xE2\x80\xAE"
                                   "fdp.exe"),
        "rechnungfdp.exe");
    EXPECT_EQ(
        fenster::sichererDateiname("a\xE2\x80\x8E"
                                   "b\xE2\x81\xA6"
                                   "c\xE2\x81\xA9.pdf"),
        "abc.pdf");
    EXPECT_EQ(fenster::sichererDateiname("a–b…c.pdf"), "a–b…c.pdf"); // their neighbours in Unicode
}

TEST(SichererDateiname, BrokenUtf8IsRepaired) {
    EXPECT_EQ(fenster::sichererDateiname("f\xFCr.pdf"), "f\xEF\xBF\xBDr.pdf");
}

TEST(SichererDateiname, ALongNameIsCutButKeepsItsExtension) {
    auto const name = fenster::sichererDateiname(std::string(5000, 'a') + ".pdf");
    EXPECT_EQ(name.size(), 200U);
    EXPECT_TRUE(name.ends_with("a.pdf"));
    std::string umlaute;
    for (int i = 0; i < 3000; ++i)
        umlaute += "ü";
    auto const kurz = fenster::sichererDateiname("x" + umlaute + ".pdf");
    EXPECT_LE(kurz.size(), 200U);
    EXPECT_TRUE(kurz.ends_with("ü.pdf"));
    EXPECT_EQ(fenster::sichererDateiname("a." + std::string(5000, 'b')).size(), 200U);
}

TEST(Zieldatei, AFreeNameIsClaimedAndNothingLiesThereMeanwhile) {
    OrdnerAufZeit const ordner;
    auto const ziel = fenster::Zieldatei::belegen(ordner.pfad(), "rechnung.pdf");
    ASSERT_TRUE(ziel);
    EXPECT_EQ(ziel->pfad(), ordner.pfad("rechnung.pdf"));
    EXPECT_EQ(ziel->name(), "rechnung.pdf");
    EXPECT_EQ(anzahlIn(ordner.pfad()), 0U);
    EXPECT_EQ(fenster::Zieldatei::belegen(ordner.pfad(), "rechnung.pdf")->name(), "rechnung 2.pdf");
}

TEST(Zieldatei, ATakenNameGetsTheNextNumberBeforeItsExtension) {
    OrdnerAufZeit const ordner;
    ordner.datei("rechnung.pdf", "alt");
    EXPECT_EQ(belegt(ordner, "rechnung.pdf"), "rechnung 2.pdf");
    EXPECT_EQ(belegt(ordner, "rechnung.pdf"), "rechnung 3.pdf");
    EXPECT_EQ(inhaltVon(ordner.pfad("rechnung.pdf")), "alt");
}

TEST(Zieldatei, AFreedNumberIsTakenAgain) {
    OrdnerAufZeit const ordner;
    ordner.datei("a.pdf");
    ordner.datei("a 3.pdf");
    EXPECT_EQ(belegt(ordner, "a.pdf"), "a 2.pdf");
    EXPECT_EQ(belegt(ordner, "a.pdf"), "a 4.pdf");
}

TEST(Zieldatei, WithoutExtensionNoDotIsAdded) {
    OrdnerAufZeit const ordner;
    EXPECT_EQ(belegt(ordner, "export"), "export");
    EXPECT_EQ(belegt(ordner, "export"), "export 2");
    EXPECT_EQ(belegt(ordner, "name."), "name.");
    EXPECT_EQ(belegt(ordner, "name."), "name. 2");
    EXPECT_EQ(belegt(ordner, "archiv.tar.gz"), "archiv.tar.gz");
    EXPECT_EQ(belegt(ordner, "archiv.tar.gz"), "archiv.tar 2.gz");
}

TEST(Zieldatei, AnythingUnderTheNameTakesIt) {
    OrdnerAufZeit const ordner;
    ordner.ordner("a.pdf");
    std::filesystem::create_symlink(ordner.pfad("nirgends"), ordner.pfad("a 2.pdf"));
    ASSERT_EQ(::mkfifo(ordner.pfad("a 3.pdf").c_str(), 0600), 0);
    EXPECT_EQ(belegt(ordner, "a.pdf"), "a 4.pdf");
    EXPECT_FALSE(std::filesystem::exists(ordner.pfad("nirgends")));
}

TEST(Zieldatei, NoNumberIsTheLast) {
    OrdnerAufZeit const ordner;
    ordner.datei("a.pdf");
    for (int i = 2; i <= 1200; ++i)
        ordner.datei("a " + std::to_string(i) + ".pdf");
    EXPECT_EQ(belegt(ordner, "a.pdf"), "a 1201.pdf");
}

TEST(Zieldatei, AFolderThatTakesNoFilesGivesNothing) {
    OrdnerAufZeit const ordner;
    EXPECT_FALSE(fenster::Zieldatei::belegen(ordner.pfad("fehlt"), "a.pdf"));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(fenster::Zieldatei::belegen(ordner.datei("datei"), "a.pdf"));
    EXPECT_EQ(errno, ENOTDIR);
}

TEST(Zieldatei, ANameThatNobodyNeedsAnyMoreIsFreeAgain) {
    OrdnerAufZeit const ordner;
    { auto const ziel = fenster::Zieldatei::belegen(ordner.pfad(), "a.pdf"); }
    EXPECT_EQ(fenster::Zieldatei::belegen(ordner.pfad(), "a.pdf")->name(), "a.pdf");
    EXPECT_EQ(anzahlIn(ordner.pfad()), 0U);
}

TEST(Zieldatei, WhatSomebodyElsePutThereIsNotRemoved) {
    OrdnerAufZeit const ordner;
    {
        auto const gefuellt = fenster::Zieldatei::belegen(ordner.pfad(), "gefuellt.pdf");
        ordner.datei("gefuellt.pdf", "Inhalt");
        auto const leer = fenster::Zieldatei::belegen(ordner.pfad(), "leer.pdf");
        ordner.datei("leer.pdf");
    }
    EXPECT_EQ(inhaltVon(ordner.pfad("gefuellt.pdf")), "Inhalt");
    EXPECT_EQ(anzahlIn(ordner.pfad()), 2U);
}

TEST(Zieldatei, AMovedClaimIsGivenBackOnce) {
    OrdnerAufZeit const ordner;
    auto const jetzt = [&](char const* name) {
        return fenster::Zieldatei::belegen(ordner.pfad(), name)->name();
    };
    auto erste = fenster::Zieldatei::belegen(ordner.pfad(), "a.pdf");
    auto zweite = fenster::Zieldatei::belegen(ordner.pfad(), "b.pdf");
    auto const genommen = std::move(*erste);
    *erste = std::move(*zweite);
    zweite.reset();
    EXPECT_EQ(jetzt("a.pdf"), "a 2.pdf");
    EXPECT_EQ(jetzt("b.pdf"), "b 2.pdf");
    erste.reset();
    EXPECT_EQ(jetzt("b.pdf"), "b.pdf");
    EXPECT_EQ(genommen.name(), "a.pdf");
}

TEST(Zieldatei, ManyAtOnceNeverGetTheSameName) {
    OrdnerAufZeit const ordner;
    std::mutex sperre;
    std::set<std::string> namen;
    std::vector<std::jthread> faeden;
    for (int f = 0; f < 8; ++f)
        faeden.emplace_back([&] {
            for (int i = 0; i < 25; ++i) {
                auto const name = belegt(ordner, "rechnung.pdf");
                std::lock_guard const schutz{sperre};
                EXPECT_TRUE(namen.insert(name).second) << name;
            }
        });
    faeden.clear();
    EXPECT_EQ(namen.size(), 200U);
    EXPECT_TRUE(namen.contains("rechnung.pdf"));
    EXPECT_TRUE(namen.contains("rechnung 200.pdf"));
}
