#include "adapter/linux/verzeichnisse.h"
#include "werkzeug/ordner_auf_zeit.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <map>

using namespace quillmate;

namespace {

/// Sets the variables for one test; all others of the family are unset.
class Verzeichnisse : public testing::Test {
protected:
    void SetUp() override { setze({}); }
    void TearDown() override { setze({}); }
    static void setze(std::map<std::string, std::string> const& werte) {
        for (auto const* const name :
             {"XDG_STATE_HOME", "HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME", "TMPDIR",
              "XDG_RUNTIME_DIR"})
            ::unsetenv(name);
        for (auto const& [name, wert] : werte)
            ::setenv(name.c_str(), wert.c_str(), 1);
    }
};

} // namespace

TEST_F(Verzeichnisse, FollowTheXdgVariables) {
    setze({{"HOME", "/h"}, {"XDG_CONFIG_HOME", "/k"}, {"XDG_CACHE_HOME", "/c"}, {"XDG_DATA_HOME", "/d"}});
    EXPECT_EQ(adapter::linux::datenordner(), "/d");
    EXPECT_EQ(adapter::linux::heimordner(), "/h");
    EXPECT_EQ(adapter::linux::konfigurationsordner(), "/k");
    EXPECT_EQ(adapter::linux::zwischenspeicherOrdner(), "/c/de.tandemwerk.quillmate/texte");
}

TEST_F(Verzeichnisse, HaveDefaultsBelowTheHomeFolder) {
    setze({{"HOME", "/h"}});
    EXPECT_EQ(adapter::linux::konfigurationsordner(), "/h/.config");
    EXPECT_EQ(adapter::linux::datenordner(), "/h/.local/share");
    EXPECT_EQ(adapter::linux::cacheordner(), "/h/.cache");
}

TEST_F(Verzeichnisse, RelativeValuesCountAsUnset) {
    setze(
        {{"HOME", "/h"},
         {"XDG_CACHE_HOME", "relativ"},
         {"XDG_STATE_HOME", "./z"},
         {"XDG_DATA_HOME", "d"},
         {"XDG_CONFIG_HOME", "k"},
         {"XDG_RUNTIME_DIR", "r"},
         {"TMPDIR", ""}});
    EXPECT_EQ(adapter::linux::cacheordner(), "/h/.cache");
    EXPECT_EQ(adapter::linux::zustandsordner(), "/h/.local/state");
    EXPECT_EQ(adapter::linux::datenordner(), "/h/.local/share");
    EXPECT_EQ(adapter::linux::konfigurationsordner(), "/h/.config");
    EXPECT_EQ(adapter::linux::temporaererOrdner(), "/tmp/quillmate-" + std::to_string(::geteuid()));
    EXPECT_EQ(adapter::linux::laufzeitordner(), adapter::linux::temporaererOrdner());
}

TEST_F(Verzeichnisse, WithoutHomeTheUserDatabaseKnowsIt) {
    EXPECT_TRUE(adapter::linux::heimordner().starts_with('/'));
}

TEST_F(Verzeichnisse, TemporaryFilesLieInTmpdirWhereNobodyElseWrites) {
    quillmate::werkzeug::OrdnerAufZeit const ordner;
    setze({{"TMPDIR", ordner.pfad()}, {"XDG_RUNTIME_DIR", "/r"}});
    EXPECT_EQ(adapter::linux::temporaererOrdner(), ordner.pfad());
}

TEST_F(Verzeichnisse, TemporaryFilesLieInAFolderOfTheirOwnWhereOthersWrite) {
    quillmate::werkzeug::OrdnerAufZeit const ordner;
    auto const eigener = ordner.pfad("quillmate-" + std::to_string(::geteuid()));
    ASSERT_EQ(::chmod(ordner.pfad().c_str(), 01777), 0);
    setze({{"TMPDIR", ordner.pfad()}});
    EXPECT_EQ(adapter::linux::temporaererOrdner(), eigener);
    struct stat lage {};
    ASSERT_EQ(::stat(eigener.c_str(), &lage), 0);
    EXPECT_EQ(lage.st_mode & 07777U, 0700U);
    // Planted in its place.
    std::filesystem::remove(eigener);
    std::filesystem::create_directory_symlink(ordner.ordner("fremd"), eigener);
    EXPECT_FALSE(adapter::linux::temporaererOrdner()) << "followed a link";
    std::filesystem::remove(eigener);
    ASSERT_EQ(::mkfifo(eigener.c_str(), 0600), 0);
    EXPECT_FALSE(adapter::linux::temporaererOrdner());
    std::filesystem::remove(eigener);
    ASSERT_EQ(::mkdir(eigener.c_str(), 0700), 0);
    ASSERT_EQ(::chmod(eigener.c_str(), 0750), 0);
    auto const offen = adapter::linux::temporaererOrdner();
    ASSERT_FALSE(offen);
    EXPECT_EQ(offen.error().text(), "Der Ordner steht auch anderen offen: " + eigener);
    if (::geteuid() == 0) {
        ASSERT_EQ(::chmod(eigener.c_str(), 0700), 0);
        ASSERT_EQ(::chown(eigener.c_str(), 65534, 65534), 0);
        EXPECT_EQ(
            adapter::linux::temporaererOrdner().error().text(),
            "Der Ordner gehört einem anderen Benutzer: " + eigener);
    }
}

TEST_F(Verzeichnisse, ATmpdirThatIsNotThereIsNotMade) {
    quillmate::werkzeug::OrdnerAufZeit const ordner;
    setze({{"TMPDIR", ordner.pfad("fehlt")}});
    EXPECT_EQ(adapter::linux::temporaererOrdner(), "/tmp/quillmate-" + std::to_string(::geteuid()));
    EXPECT_FALSE(std::filesystem::exists(ordner.pfad("fehlt")));
}

TEST_F(Verzeichnisse, LockAndSocketsLieInTheRuntimeFolderWhereItIsTheUsersOwn) {
    quillmate::werkzeug::OrdnerAufZeit const ordner;
    auto const laufzeit = ordner.ordner("laufzeit");
    ASSERT_EQ(::chmod(laufzeit.c_str(), 0700), 0);
    auto const temporaer = ordner.ordner("temporaer");
    setze({{"XDG_RUNTIME_DIR", laufzeit}, {"TMPDIR", temporaer}});
    EXPECT_EQ(adapter::linux::laufzeitordner(), laufzeit);
    ASSERT_EQ(::chmod(laufzeit.c_str(), 0770 | S_IWOTH), 0);
    EXPECT_EQ(adapter::linux::laufzeitordner(), temporaer);
    ASSERT_EQ(::chmod(laufzeit.c_str(), 0700), 0);
    if (::geteuid() == 0) {
        ASSERT_EQ(::chown(laufzeit.c_str(), 65534, 65534), 0);
        EXPECT_EQ(adapter::linux::laufzeitordner(), temporaer) << "another user's";
    }
}
