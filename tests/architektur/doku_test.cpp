// Documents name tests as proof; a proof that is not there is none.
#include "werkzeug/ordner_auf_zeit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

namespace quillmate::architektur {
namespace {

namespace fs = std::filesystem;

fs::path const wurzel{QUILLMATE_QUELLEN};

/// The files below tests/ whose paths end like this.
std::vector<fs::path> testdateien(std::string const& ende) {
    std::vector<fs::path> gefunden;
    for (auto const& eintrag : fs::recursive_directory_iterator{wurzel / "tests"}) {
        auto const pfad = "/" + fs::relative(eintrag.path(), wurzel).string();
        if (eintrag.is_regular_file() && pfad.ends_with("/" + ende))
            gefunden.push_back(eintrag.path());
    }
    return gefunden;
}

/// What a text names: a file in backticks, and then tests of it in backticks, with nothing but colons, commas and
/// "and" in between. Sentences about what is not there.
std::vector<std::string> fehlende(std::string const& text) {
    static std::regex const wort{"`([^`\n]+)`"};
    static std::regex const name{"[A-Z][A-Za-z0-9]*[a-z][A-Za-z0-9]*"};
    static std::regex const bindewort{"[:,\\s]*(and)?\\s*"};
    std::vector<std::string> saetze;
    std::string datei;
    std::string inhalt;
    auto ende = text.cbegin();
    for (std::sregex_iterator i{text.cbegin(), text.cend(), wort}, letztes; i != letztes; ++i) {
        auto const& treffer = *i;
        auto const inhaltWort = treffer[1].str();
        bool const schliesstAn = std::regex_match(std::string{ende, treffer[0].first}, bindewort);
        ende = treffer[0].second;
        if (inhaltWort.ends_with("_test.cpp")) {
            auto const dateien = testdateien(inhaltWort.substr(inhaltWort.starts_with("tests/") ? 6 : 0));
            datei = dateien.empty() ? std::string{} : inhaltWort;
            inhalt.clear();
            for (auto const& eine : dateien)
                inhalt += werkzeug::inhaltVon(eine.string());
            if (dateien.empty())
                saetze.push_back("no such file of tests: " + inhaltWort);
            continue;
        }
        if (datei.empty() || !schliesstAn || !std::regex_match(inhaltWort, name)) {
            datei.clear();
            continue;
        }
        std::regex const test{"TEST(_F|_P)?\\(\\s*\\w+,\\s*" + inhaltWort + "\\s*\\)"};
        if (!std::regex_search(inhalt, test))
            saetze.push_back("no such test in " + datei + ": " + inhaltWort);
    }
    return saetze;
}

TEST(Doku, NamesOnlyTestsThatAreThere) {
    std::vector<fs::path> dokumente;
    for (auto const& eintrag : fs::recursive_directory_iterator{wurzel / "docs"})
        if (eintrag.path().extension() == ".md")
            dokumente.push_back(eintrag.path());
    for (auto const* const name : {"README.md", "SECURITY.md"})
        dokumente.push_back(wurzel / name);
    for (auto const& dokument : dokumente)
        for (auto const& satz : fehlende(werkzeug::inhaltVon(dokument.string())))
            ADD_FAILURE() << fs::relative(dokument, wurzel).string() << ": " << satz;
}

TEST(Doku, ANameWithoutATestIsFound) {
    EXPECT_EQ(
        fehlende("`architektur/doku_test.cpp`: `ANameWithoutATestIsFound`, `ThisOneIsInvented`"),
        std::vector<std::string>{"no such test in architektur/doku_test.cpp: ThisOneIsInvented"});
    EXPECT_EQ(
        fehlende("`nirgendwo_test.cpp`"),
        std::vector<std::string>{"no such file of tests: nirgendwo_test.cpp"});
    EXPECT_EQ(fehlende("`architektur/doku_test.cpp` tries `WhatIsNoTest`"), std::vector<std::string>{});
}

} // namespace
} // namespace quillmate::architektur
