#include "adapter/linux/verzeichnisse.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <map>

using namespace quillmate;

namespace {

/// Sets the variables for one test; all others of the family are unset.
class Verzeichnisse : public testing::Test {
protected:
    void SetUp() override { setze({}); }
    static void setze(std::map<std::string, std::string> const& werte) {
        for (auto const* const name :
             {"HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME", "TMPDIR", "XDG_RUNTIME_DIR"})
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
    setze({{"HOME", "/h"}, {"XDG_CACHE_HOME", "relativ"}, {"TMPDIR", ""}});
    EXPECT_EQ(adapter::linux::cacheordner(), "/h/.cache");
    EXPECT_EQ(adapter::linux::temporaererOrdner(), "/tmp");
}

TEST_F(Verzeichnisse, WithoutHomeTheUserDatabaseKnowsIt) {
    EXPECT_TRUE(adapter::linux::heimordner().starts_with('/'));
}

TEST_F(Verzeichnisse, TemporaryFolderIsTmpdirThenRuntimeDirThenTmp) {
    setze({{"TMPDIR", "/t"}, {"XDG_RUNTIME_DIR", "/r"}});
    EXPECT_EQ(adapter::linux::temporaererOrdner(), "/t");
    setze({{"XDG_RUNTIME_DIR", "/r"}});
    EXPECT_EQ(adapter::linux::temporaererOrdner(), "/r");
    setze({});
    EXPECT_EQ(adapter::linux::temporaererOrdner(), "/tmp");
}
