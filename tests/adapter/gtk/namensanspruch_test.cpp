#include "adapter/gtk/namensanspruch.h"
#include "werkzeug/ordner_auf_zeit.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace {

/// What a file system answers that knows no renaming but the plain one; 0 for one that knows them all.
int nurEinfach = 0;

} // namespace

// The C library's, for the whole test program: whatever file system the test's folder lies in.
extern "C" int renameat2(
    int vonOrdner, char const* von, int nachOrdner, char const* nach, unsigned flaggen) noexcept {
    if (nurEinfach != 0 && flaggen != 0) {
        // The kernel looks for the names itself, before it asks the file system.
        bool const da = ::faccessat(nachOrdner, nach, F_OK, AT_SYMLINK_NOFOLLOW) == 0;
        bool const quelle = ::faccessat(vonOrdner, von, F_OK, AT_SYMLINK_NOFOLLOW) == 0;
        if (nurEinfach != ENOSYS && (!quelle || (!da && flaggen == RENAME_EXCHANGE)))
            errno = ENOENT;
        else
            errno = nurEinfach != ENOSYS && da && flaggen == RENAME_NOREPLACE ? EEXIST : nurEinfach;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_renameat2, vonOrdner, von, nachOrdner, nach, flaggen));
}

namespace quillmate::adapter::gtk {
namespace {

using werkzeug::inhaltVon;
using Ausgang = adapter::gtk::Namensanspruch::Ausgang;

/// With the answer of the file system as in nurEinfach.
class Namensuebergabe : public testing::TestWithParam<int> {
protected:
    Namensuebergabe() { nurEinfach = GetParam(); }
    ~Namensuebergabe() override { nurEinfach = 0; }

    /// As programs save that write beside and rename.
    void fremdesDarueber(std::string const& inhalt) const {
        std::filesystem::rename(ordner.datei("fremd", inhalt), ziel);
    }
    [[nodiscard]] std::size_t dateien() const {
        auto const alle = std::filesystem::directory_iterator{ordner.pfad()};
        return static_cast<std::size_t>(std::distance(begin(alle), end(alle)));
    }

    /// Calls `pruefen` for each way in which somebody else's file can come in the placeholder's place.
    void jeNachFremdem(std::function<void(adapter::gtk::Namensanspruch const&)> const& pruefen);

    werkzeug::OrdnerAufZeit ordner;
    std::string const ziel{ordner.pfad("rechnung.pdf")};
    std::string const teil{ordner.datei(".teil", "bytes")};
};

INSTANTIATE_TEST_SUITE_P(
    , Namensuebergabe, testing::Values(0, EINVAL, ENOSYS, EOPNOTSUPP), [](auto const& lage) {
        return lage.param == 0 ? std::string{"Exchanging"} : "PlainBy" + std::to_string(lage.param);
    });

TEST_P(Namensuebergabe, TheFileTakesThePlaceOfItsPlaceholder) {
    ordner.datei("rechnung.pdf");
    adapter::gtk::Namensanspruch const anspruch{ziel};
    EXPECT_EQ(anspruch.ablegen(teil), Ausgang::abgelegt);
    EXPECT_EQ(inhaltVon(ziel), "bytes");
    EXPECT_EQ(dateien(), 1U);
}

TEST_P(Namensuebergabe, ANameThatWasFreeIsTakenOnlyWhileItIs) {
    adapter::gtk::Namensanspruch const anspruch{ziel};
    fremdesDarueber("fremd");
    EXPECT_EQ(anspruch.ablegen(teil), Ausgang::vergeben);
    EXPECT_EQ(inhaltVon(ziel), "fremd");
    std::filesystem::remove(ziel);
    EXPECT_EQ(anspruch.ablegen(teil), Ausgang::abgelegt);
    EXPECT_EQ(inhaltVon(ziel), "bytes");
}

TEST_P(Namensuebergabe, APlaceholderThatSomebodyRemovedIsNotMissed) {
    ordner.datei("rechnung.pdf");
    adapter::gtk::Namensanspruch const anspruch{ziel};
    std::filesystem::remove(ziel);
    EXPECT_EQ(anspruch.ablegen(teil), Ausgang::abgelegt);
    EXPECT_EQ(inhaltVon(ziel), "bytes");
}

void Namensuebergabe::jeNachFremdem(std::function<void(adapter::gtk::Namensanspruch const&)> const& pruefen) {
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
        adapter::gtk::Namensanspruch const anspruch{ziel};
        machen();
        auto const art = std::filesystem::symlink_status(ziel).type();
        auto const inhalt = inhaltVon(ziel);
        pruefen(anspruch);
        EXPECT_EQ(std::filesystem::symlink_status(ziel).type(), art);
        EXPECT_EQ(inhaltVon(ziel), inhalt);
        EXPECT_EQ(inhaltVon(teil), "bytes");
    }
}

TEST_P(Namensuebergabe, WhateverSomebodyElsePutThereStaysHoweverItGotThere) {
    jeNachFremdem([this](adapter::gtk::Namensanspruch const& anspruch) {
        EXPECT_EQ(anspruch.ablegen(teil), Ausgang::vergeben);
    });
}

/// A plain renaming leaves a moment in which what comes is lost.
class Namenstausch : public Namensuebergabe {};
INSTANTIATE_TEST_SUITE_P(, Namenstausch, testing::Values(0));

TEST_P(Namenstausch, LeavesAloneEvenWhatComesAfterTheLook) {
    jeNachFremdem([this](adapter::gtk::Namensanspruch const& anspruch) {
        EXPECT_EQ(anspruch.tauschen(teil), Ausgang::vergeben);
    });
}

TEST_P(Namensuebergabe, WhatIsNotEmptyWhenTheNameIsGivenIsNoPlaceholder) {
    ordner.datei("rechnung.pdf", "alt");
    adapter::gtk::Namensanspruch const anspruch{ziel};
    EXPECT_EQ(anspruch.ablegen(teil), Ausgang::vergeben);
    EXPECT_EQ(inhaltVon(ziel), "alt");
}

TEST_P(Namensuebergabe, AFailureTellsWhyAndChangesNothing) {
    ordner.datei("rechnung.pdf");
    adapter::gtk::Namensanspruch const anspruch{ziel};
    EXPECT_EQ(anspruch.ablegen(ordner.pfad("gibt es nicht")), Ausgang::gescheitert);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_TRUE(std::filesystem::exists(ziel));
    std::filesystem::remove(ziel);
    EXPECT_EQ(adapter::gtk::Namensanspruch{ordner.pfad("gibt/es/nicht")}.ablegen(teil), Ausgang::gescheitert);
    EXPECT_EQ(inhaltVon(teil), "bytes");
}

} // namespace
} // namespace quillmate::adapter::gtk
