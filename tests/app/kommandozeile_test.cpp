#include "app/kommandozeile.h"
#include "grundlage/prozesswerte.h"

#include <gtest/gtest.h>

#include <vector>

using namespace quillmate;

namespace {

std::optional<app::kommandozeile::Antwort> antwort(std::vector<char const*> argumente) {
    argumente.insert(argumente.begin(), "quillmate");
    return app::kommandozeile::antwort(argumente, "6");
}

} // namespace

TEST(Kommandozeile, WithoutOptionsTheProgramStarts) {
    EXPECT_FALSE(antwort({}));
    EXPECT_FALSE(antwort({"quillmate:x"}));
    EXPECT_FALSE(antwort({""}));
    EXPECT_FALSE(app::kommandozeile::antwort({}, ""));
}

TEST(Kommandozeile, ADiagnosticModeWithoutValueIsAsGoodAsNotGiven) {
    EXPECT_FALSE(antwort({"--scan"}));
    EXPECT_FALSE(antwort({"--text"}));
}

TEST(Kommandozeile, HelpAndVersionAreAnswered) {
    auto const hilfe = antwort({"--help"});
    ASSERT_TRUE(hilfe);
    EXPECT_EQ(hilfe->status, 0);
    for (auto const* const wort : {"--scan", "--text", "--version", "QUILLMATE_URL"})
        EXPECT_NE(hilfe->text.find(wort), std::string::npos) << wort;
    auto const fassung = antwort({"--version"});
    ASSERT_TRUE(fassung);
    EXPECT_EQ(fassung->status, 0);
    EXPECT_EQ(fassung->text, "Quillmate " + std::string{fassungstext} + " (6)\n");
}

TEST(Kommandozeile, AnUnknownOptionIsAWrongCall) {
    for (auto const* const option : {"--hlep", "-x", "--scan=x", "--"}) {
        auto const falsch = antwort({option});
        ASSERT_TRUE(falsch) << option;
        EXPECT_EQ(falsch->status, 2);
        EXPECT_NE(falsch->text.find(option), std::string::npos);
    }
}
