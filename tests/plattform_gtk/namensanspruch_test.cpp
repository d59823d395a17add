#include "attrappen/ordner_auf_zeit.h"
#include "plattform_gtk/namensanspruch.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace quillmate::plattform::gtk {
namespace {

using attrappen::inhaltVon;
using Ausgang = Namensanspruch::Ausgang;

class Namensuebergabe : public testing::Test {
protected:
    /// As programs save that write beside and rename.
    void fremdesDarueber(std::string const& inhalt) const {
        std::filesystem::rename(ordner.datei("fremd", inhalt), ziel);
    }
    [[nodiscard]] std::size_t dateien() const {
        auto const alle = std::filesystem::directory_iterator{ordner.pfad()};
        return static_cast<std::size_t>(std::distance(begin(alle), end(alle)));
    }

    attrappen::OrdnerAufZeit ordner;
    std::string const ziel{ordner.pfad("rechnung.pdf")};
    std::string const teil{ordner.datei(".teil", "bytes")};
};

TEST_F(Namensuebergabe, TheFileTakesThePlaceOfItsPlaceholder) {
    ordner.datei("rechnung.pdf");
    Namensanspruch const anspruch{ziel};
    EXPECT_EQ(anspruch.ablegen(teil), Ausgang::abgelegt);
    EXPECT_EQ(inhaltVon(ziel), "bytes");
    EXPECT_EQ(dateien(), 1U);
}

TEST_F(Namensuebergabe, ANameThatWasFreeIsTakenOnlyWhileItIs) {
    Namensanspruch const anspruch{ziel};
    fremdesDarueber("fremd");
    EXPECT_EQ(anspruch.ablegen(teil), Ausgang::vergeben);
    EXPECT_EQ(inhaltVon(ziel), "fremd");
    std::filesystem::remove(ziel);
    EXPECT_EQ(anspruch.ablegen(teil), Ausgang::abgelegt);
    EXPECT_EQ(inhaltVon(ziel), "bytes");
}

TEST_F(Namensuebergabe, APlaceholderThatSomebodyRemovedIsNotMissed) {
    ordner.datei("rechnung.pdf");
    Namensanspruch const anspruch{ziel};
    std::filesystem::remove(ziel);
    EXPECT_EQ(anspruch.ablegen(teil), Ausgang::abgelegt);
    EXPECT_EQ(inhaltVon(ziel), "bytes");
}

TEST_F(Namensuebergabe, WhateverSomebodyElsePutThereStaysHoweverItGotThere) {
    std::vector<std::function<void()>> const fremdes{
        [this] { fremdesDarueber("fremd"); },
        [this] { fremdesDarueber(""); }, // Empty, but not ours.
        [this] { std::ofstream{ziel} << "in den Platzhalter"; },
        [this] {
            std::filesystem::remove(ziel);
            std::filesystem::create_symlink("fremd", ziel);
        },
        [this] {
            std::filesystem::remove(ziel);
            std::filesystem::create_directory(ziel);
        },
        [this] { // The empty file of ours under another name, a link to it under this one.
            std::filesystem::rename(ziel, ordner.pfad("weg"));
            std::filesystem::create_symlink("weg", ziel);
        }};
    for (auto const& machen : fremdes) {
        std::filesystem::remove(ziel);
        ordner.datei("rechnung.pdf");
        Namensanspruch const anspruch{ziel};
        machen();
        auto const art = std::filesystem::symlink_status(ziel).type();
        auto const inhalt = inhaltVon(ziel);
        EXPECT_EQ(anspruch.ablegen(teil), Ausgang::vergeben);
        EXPECT_EQ(anspruch.tauschen(teil), Ausgang::vergeben) << "also when it comes after the look";
        EXPECT_EQ(std::filesystem::symlink_status(ziel).type(), art);
        EXPECT_EQ(inhaltVon(ziel), inhalt);
        EXPECT_EQ(inhaltVon(teil), "bytes");
    }
}

TEST_F(Namensuebergabe, WhatIsNotEmptyWhenTheNameIsGivenIsNoPlaceholder) {
    ordner.datei("rechnung.pdf", "alt");
    Namensanspruch const anspruch{ziel};
    EXPECT_EQ(anspruch.ablegen(teil), Ausgang::vergeben);
    EXPECT_EQ(inhaltVon(ziel), "alt");
}

TEST_F(Namensuebergabe, AFailureTellsWhyAndChangesNothing) {
    ordner.datei("rechnung.pdf");
    Namensanspruch const anspruch{ziel};
    EXPECT_EQ(anspruch.ablegen(ordner.pfad("gibt es nicht")), Ausgang::gescheitert);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_TRUE(std::filesystem::exists(ziel));
    std::filesystem::remove(ziel);
    EXPECT_EQ(Namensanspruch{ordner.pfad("gibt/es/nicht")}.ablegen(teil), Ausgang::gescheitert);
    EXPECT_EQ(inhaltVon(teil), "bytes");
}

} // namespace
} // namespace quillmate::plattform::gtk
