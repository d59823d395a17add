// The layers of src/ as the includes really draw them. The order is the one of the top CMakeLists.txt; the picture in
// docs/architecture.md is made of the same data (SCHICHTENBILD_SCHREIBEN=1 writes it).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

fs::path const wurzel{QUILLMATE_QUELLEN};

std::string inhalt(fs::path const& datei) {
    std::ifstream strom{datei, std::ios::binary};
    return {std::istreambuf_iterator<char>{strom}, {}};
}

/// The folders below src/ in the order of the build files, lowest first.
std::vector<std::string> schichten() {
    auto const text = inhalt(wurzel / "CMakeLists.txt");
    std::smatch treffer;
    std::vector<std::string> ergebnis;
    if (!std::regex_search(text, treffer, std::regex{R"(foreach\(ordner IN ITEMS([^)]*)\))"}))
        return ergebnis;
    std::istringstream worte{treffer[1].str()};
    for (std::string wort; worte >> wort;)
        ergebnis.push_back(wort);
    return ergebnis;
}

struct Einbindung {
    fs::path datei;   ///< Below src/.
    std::string kopf; ///< As it is written.
};

bool istQuelle(fs::path const& datei) {
    return datei.extension() == ".cpp" || datei.extension() == ".h";
}

std::vector<Einbindung> einbindungen() {
    std::vector<Einbindung> ergebnis;
    static std::regex const muster{R"re(^[ \t]*#[ \t]*include[ \t]*"([^"]+)")re", std::regex::multiline};
    for (auto const& eintrag : fs::recursive_directory_iterator{wurzel / "src"}) {
        if (!istQuelle(eintrag.path()))
            continue;
        auto const text = inhalt(eintrag.path());
        for (std::sregex_iterator i{text.begin(), text.end(), muster}, ende; i != ende; ++i)
            // A folder's own page scripts become headers of the same name in the build folder.
            if (!(*i)[1].str().starts_with("skripte/"))
                ergebnis.push_back({fs::relative(eintrag.path(), wurzel / "src"), (*i)[1].str()});
    }
    return ergebnis;
}

/// Folder -> folders that it includes from.
std::map<std::string, std::set<std::string>> pfeile() {
    std::map<std::string, std::set<std::string>> ergebnis;
    for (auto const& e : einbindungen())
        if (auto const ziel = fs::path{e.kopf}.parent_path().string(); !ziel.empty())
            ergebnis[e.datei.parent_path().string()].insert(ziel);
    return ergebnis;
}

/// The picture: each folder stands above all that it uses.
std::string schichtenbild() {
    auto const alle = pfeile();
    std::map<std::string, std::size_t> stufe;
    for (auto const& ordner : schichten()) {
        std::size_t hoehe = 0;
        if (auto const i = alle.find(ordner); i != alle.end())
            for (auto const& ziel : i->second)
                hoehe = std::max(hoehe, stufe[ziel] + 1);
        stufe[ordner] = hoehe;
    }
    std::size_t hoechste = 0;
    for (auto const& [ordner, hoehe] : stufe)
        hoechste = std::max(hoechste, hoehe);
    std::string bild = "```\n";
    for (std::size_t hoehe = hoechste + 1; hoehe-- > 0;) {
        std::string zeile;
        for (auto const& ordner : schichten())
            if (stufe[ordner] == hoehe)
                zeile += (zeile.empty() ? "" : "   ") + ordner;
        bild += zeile + '\n';
    }
    bild += "```\n\n| folder | uses |\n|---|---|\n";
    auto ordnung = schichten();
    std::ranges::reverse(ordnung);
    for (auto const& ordner : ordnung) {
        std::string ziele;
        if (auto const i = alle.find(ordner); i != alle.end())
            for (auto const& ziel : i->second)
                ziele += (ziele.empty() ? "" : ", ") + ziel;
        bild += "| " + ordner + " | " + ziele + " |\n";
    }
    return bild;
}

TEST(Schichten, EveryFolderOfTheSourcesIsALayer) {
    auto const bekannt = schichten();
    ASSERT_GT(bekannt.size(), 15U);
    for (auto const& eintrag : fs::recursive_directory_iterator{wurzel / "src"})
        if (istQuelle(eintrag.path())) {
            auto const ordner = fs::relative(eintrag.path(), wurzel / "src").parent_path().string();
            EXPECT_NE(std::ranges::find(bekannt, ordner), bekannt.end()) << eintrag.path();
        }
}

TEST(Schichten, EveryArrowPointsDown) {
    auto const ordnung = schichten();
    auto const rang = [&](std::string const& ordner) {
        return std::ranges::find(ordnung, ordner) - ordnung.begin();
    };
    for (auto const& e : einbindungen()) {
        auto const ziel = fs::path{e.kopf}.parent_path().string();
        if (ziel.empty())
            continue;
        EXPECT_LT(rang(ziel), rang(e.datei.parent_path().string()))
            << "src/" << e.datei.string() << " includes \"" << e.kopf << '"';
    }
}

TEST(Schichten, OnlyTheTopKnowsTheAdapters) {
    for (auto const& e : einbindungen())
        if (e.kopf.starts_with("adapter/")) {
            auto const ordner = e.datei.parent_path().string();
            EXPECT_TRUE(ordner == "app" || ordner.starts_with("adapter/"))
                << "src/" << e.datei.string() << " includes \"" << e.kopf << '"';
        }
}

TEST(Schichten, AHeaderIsNamedByItsFolder) {
    for (auto const& e : einbindungen()) {
        auto const ordner = fs::path{e.kopf}.parent_path();
        auto const ort =
            ordner.empty() ? wurzel / "src" / e.datei.parent_path() / e.kopf : wurzel / "src" / e.kopf;
        EXPECT_TRUE(fs::exists(ort)) << "src/" << e.datei.string() << " includes \"" << e.kopf << '"';
        EXPECT_NE(ordner, e.datei.parent_path())
            << "src/" << e.datei.string() << ": within a folder the name is enough";
    }
}

TEST(Schichten, NoTwoFoldersHaveOneName) {
    std::set<std::string> namen;
    for (auto const& ordner : schichten())
        EXPECT_TRUE(namen.insert(fs::path{ordner}.filename().string()).second) << ordner;
}

// Four folders hold a group whose name is part of the program's language; the bottom has the program's own namespace.
TEST(Schichten, ANamespaceIsNamedByItsFolder) {
    std::map<std::string, std::string> const feste{
        {"grundlage", "quillmate"},
        {"macscan", "quillmate::MacScan"},
        {"ordner", "quillmate::Ordner"},
        {"texterkennung", "quillmate::Texterkennung"},
        {"umzug", "quillmate::Umzug"}};
    static std::regex const muster{R"(^namespace (quillmate[\w:]*) \{)", std::regex::multiline};
    for (auto const& eintrag : fs::recursive_directory_iterator{wurzel / "src"}) {
        if (eintrag.path().extension() != ".h")
            continue;
        auto const ordner = fs::relative(eintrag.path(), wurzel / "src").parent_path().string();
        auto const fest = feste.find(ordner);
        auto const erwartet = fest != feste.end()
                                  ? fest->second
                                  : "quillmate::" + std::regex_replace(ordner, std::regex{"/"}, "::");
        auto const text = inhalt(eintrag.path());
        for (std::sregex_iterator i{text.begin(), text.end(), muster}, ende; i != ende; ++i) {
            auto const name = (*i)[1].str();
            EXPECT_TRUE(name == erwartet || name.starts_with(erwartet + "::"))
                << eintrag.path() << ": " << name;
        }
    }
}

TEST(Schichten, ThePictureInTheDocumentsIsTheOneOfTheIncludes) {
    auto const datei = wurzel / "docs/architecture.md";
    auto text = inhalt(datei);
    std::string const anfang =
        "<!-- layers: made from the includes by tests/architektur/schichten_test.cpp -->\n";
    std::string const ende = "<!-- end of layers -->";
    auto const von = text.find(anfang);
    auto const bis = text.find(ende);
    ASSERT_NE(von, std::string::npos);
    ASSERT_NE(bis, std::string::npos);
    auto const soll = schichtenbild();
    if (std::getenv("SCHICHTENBILD_SCHREIBEN") != nullptr) {
        text.replace(von + anfang.size(), bis - von - anfang.size(), soll);
        std::ofstream{datei, std::ios::binary} << text;
        return;
    }
    EXPECT_EQ(text.substr(von + anfang.size(), bis - von - anfang.size()), soll)
        << "SCHICHTENBILD_SCHREIBEN=1 build/release/tests/test_schichten writes it anew";
}

} // namespace
