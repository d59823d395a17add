#include "ordner/orte.h"
#include "werkzeug/ohne_aufruf.h"
#include "werkzeug/ordner_auf_zeit.h"
#include "werkzeug/voreinstellungen.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

using namespace quillmate;

namespace {

class Orte : public testing::Test {
protected:
    werkzeug::OrdnerAufZeit heim;
    werkzeug::FesteStandardorte standardorte{heim.pfad()};

    std::vector<std::string> zustaende() {
        std::vector<std::string> ergebnis;
        for (auto const& lage : Ordner::zugriffsLage(standardorte))
            ergebnis.push_back(lage.zustand);
        return ergebnis;
    }
};

using Texte = std::vector<std::string>;

} // namespace

TEST_F(Orte, OnlyPlacesThatExistAreSearchedInFixedOrder) {
    heim.ordner("Downloads");
    heim.ordner("Desktop");
    EXPECT_EQ(Ordner::belegOrte(standardorte), (Texte{heim.pfad("Desktop"), heim.pfad("Downloads")}));
}

TEST_F(Orte, WithoutTheCloudDriveThereAreAtMostThreePlaces) {
    for (auto const* const name : {"Desktop", "Documents", "Downloads"})
        heim.ordner(name);
    EXPECT_EQ(Ordner::belegOrte(standardorte).size(), 3U);
    EXPECT_EQ(zustaende(), (Texte{"ok", "ok", "ok", "nicht_vorhanden"}));
}

TEST_F(Orte, RememberedFoldersFollowAndDuplicatesStay) {
    heim.ordner("Desktop");
    std::vector<Ordner::Gemerkt> const gemerkte{
        {.url = "/x", .kennung = "k"}, {.url = heim.pfad("Desktop"), .kennung = "k"}};
    EXPECT_EQ(
        Ordner::alleOrte(standardorte, gemerkte), (Texte{heim.pfad("Desktop"), "/x", heim.pfad("Desktop")}));
}

TEST_F(Orte, TheCloudDriveHasANameOfItsOwn) {
    EXPECT_EQ(Ordner::ortName("/home/a/Library/Mobile Documents/com~apple~CloudDocs"), "iCloud Drive");
    EXPECT_EQ(Ordner::ortName("/home/a/Schreibtisch"), "Schreibtisch");
}

TEST_F(Orte, MissingProtectedPlacesAreToldFromAMissingCloudDrive) {
    EXPECT_EQ(
        zustaende(),
        (Texte{"permission_missing", "permission_missing", "permission_missing", "nicht_vorhanden"}));
}

TEST_F(Orte, AFileInTheWayCountsAsMissing) {
    heim.datei("Documents", "kein Ordner");
    EXPECT_EQ(zustaende()[1], "permission_missing");
}

TEST_F(Orte, EveryPlaceIsReportedWithPathAndName) {
    auto const lagen = Ordner::zugriffsLage(standardorte);
    ASSERT_EQ(lagen.size(), 4U);
    EXPECT_EQ(lagen[0].ort, heim.pfad("Desktop"));
    EXPECT_EQ(lagen[0].name, "Desktop");
    EXPECT_EQ(lagen[3].name, "iCloud Drive");
}

TEST_F(Orte, APlaceThatMayNotBeListedIsReportedAsDenied) {
    heim.ordner("Documents");
    ASSERT_EQ(::chmod(heim.pfad("Documents").c_str(), 0), 0);
    // Root may list everything, so the question is asked as somebody else.
    auto const kind = ::fork();
    if (kind == 0) {
        if (::geteuid() == 0 && (::chmod(heim.pfad().c_str(), 0755) != 0 || ::seteuid(65534) != 0))
            ::_exit(2);
        ::_exit(zustaende()[1] == "permission_denied" ? 0 : 1);
    }
    int ausgang = -1;
    ::waitpid(kind, &ausgang, 0);
    EXPECT_EQ(ausgang, 0);
    ::chmod(heim.pfad("Documents").c_str(), 0700);
}

TEST_F(Orte, APlaceThatCannotBeLookedAtNowIsNotMissing) {
    heim.ordner("Desktop");
    for (auto const& [fehler, erwartet] : {std::pair{EIO, 4}, std::pair{ENOMEM, 4}, std::pair{ENOENT, 0}}) {
        auto const kind = ::fork();
        if (kind == 0)
            ::_exit(
                werkzeug::ohneAufruf(SYS_newfstatat, fehler)
                    ? static_cast<int>(Ordner::belegOrte(standardorte).size())
                    : 99);
        int ausgang = -1;
        ::waitpid(kind, &ausgang, 0);
        EXPECT_EQ(WEXITSTATUS(ausgang), erwartet) << fehler;
    }
}
