// The web page's files: what may not stand in them, how they hang together, and what its requests hold. The
// requests are made by the page's own script, in the web engine's script engine.
#include "demo/seite_dateien.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <jsc/jsc.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <string>

namespace quillmate::demo {
namespace {

using nlohmann::json;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;

std::string datei(std::string_view name) {
    for (auto const& d : seitendateien())
        if (d.name == name)
            return std::string{d.inhalt};
    ADD_FAILURE() << "no such file: " << name;
    return {};
}

std::set<std::string> alleTreffer(std::string const& text, char const* muster) {
    std::set<std::string> treffer;
    std::regex const regel{muster};
    for (std::sregex_iterator i{text.begin(), text.end(), regel}; i != std::sregex_iterator{}; ++i)
        treffer.insert((*i)[1].str());
    return treffer;
}

std::string skripte() {
    std::string alle;
    for (auto const& d : seitendateien())
        if (d.name.ends_with(".js"))
            alle += d.inhalt;
    return alle;
}

TEST(Seite, EveryFileOfTheFolderIsCompiledIn) {
    std::set<std::string> imOrdner;
    for (auto const& eintrag : std::filesystem::directory_iterator{QUILLMATE_SEITE})
        imOrdner.insert(eintrag.path().filename().string());
    std::set<std::string> eingebettet;
    for (auto const& d : seitendateien()) {
        eingebettet.insert(std::string{d.name});
        EXPECT_FALSE(d.inhalt.empty()) << d.name;
    }
    EXPECT_EQ(eingebettet, imOrdner);
}

TEST(Seite, NothingComesFromElsewhere) {
    for (auto const& d : seitendateien()) {
        std::string text{d.inhalt};
        // A name space, not an address.
        if (auto const stelle = text.find("http://www.w3.org/2000/svg"); stelle != std::string::npos)
            text.erase(stelle, 26);
        EXPECT_FALSE(std::regex_search(text, std::regex{R"((https?:|wss?:|["'(=]\s*//\w|@import|url\())"}))
            << d.name;
    }
}

TEST(Seite, NothingNeedsALaxerPolicy) {
    for (auto const& d : seitendateien()) {
        std::string const text{d.inhalt};
        if (d.name.ends_with(".html")) {
            EXPECT_FALSE(std::regex_search(text, std::regex{R"(\s(style|on[a-z]+)\s*=)"})) << d.name;
            EXPECT_FALSE(std::regex_search(text, std::regex{R"(<style|javascript:)"})) << d.name;
            for (auto const& merkmale : alleTreffer(text, R"(<script([^>]*)>)"))
                EXPECT_TRUE(
                    merkmale.find("src=\"/seite/") != std::string::npos ||
                    merkmale.find("application/json") != std::string::npos)
                    << merkmale;
        }
        EXPECT_FALSE(std::regex_search(
            text,
            std::regex{R"(innerHTML|outerHTML|insertAdjacentHTML|document\.write|\beval\(|new Function)"}))
            << d.name;
    }
}

TEST(Seite, EveryElementThatTheScriptsLookForExists) {
    auto const kennungen = alleTreffer(datei("uebersicht.html"), R"re(\bid="([^"]+)")re");
    for (auto const& gesucht : alleTreffer(skripte(), R"re(finde\('([^']+)'\))re"))
        EXPECT_THAT(kennungen, Contains(gesucht));
}

TEST(Seite, LabelsAndTabsPointToExistingElements) {
    auto const text = datei("uebersicht.html");
    auto const kennungen = alleTreffer(text, R"re(\bid="([^"]+)")re");
    for (auto const& ziel : alleTreffer(text, R"re(\baria-(?:labelledby|controls)="([^"]+)")re"))
        EXPECT_THAT(kennungen, Contains(ziel));
    // Every field of a form stands in a label.
    for (std::string const feld : {"<input", "<select"})
        for (auto stelle = text.find(feld); stelle != std::string::npos; stelle = text.find(feld, stelle + 1))
            EXPECT_GT(text.rfind("<label", stelle) + 1, text.rfind("</label>", stelle) + 1)
                << text.substr(stelle, 60);
}

TEST(Seite, ScriptsAndImportsFormAClosedSet) {
    std::set<std::string> namen;
    for (auto const& d : seitendateien())
        namen.insert(std::string{d.name});
    for (auto const& eingebunden : alleTreffer(skripte(), R"re(from '\./([^']+)')re"))
        EXPECT_THAT(namen, Contains(eingebunden));
    for (auto const& html : {"uebersicht.html", "karte.html"})
        for (auto const& eingebunden : alleTreffer(datei(html), R"re("/seite/([^"]+)")re"))
            EXPECT_THAT(namen, Contains(eingebunden));
}

TEST(Seite, OnlyActionsOfTheProgramAreCalled) {
    std::set<std::string> const aktionen{"ordnerWaehlen",          "gemerkterOrdner",  "gemerkteOrdner",
                                         "ordnerVergessen",        "portalOeffnen",    "macScannen",
                                         "gezieltSuchen",          "bilderZaehlen",    "suchStand",
                                         "inProgrammeVerschieben", "nachUpdatesSuchen"};
    auto const gerufen = alleTreffer(skripte(), R"re(rufe\('([^']+)')re");
    EXPECT_THAT(aktionen, IsSupersetOf(gerufen));
    // All but the one that "gemerkteOrdner" makes superfluous.
    EXPECT_EQ(gerufen.size() + 1, aktionen.size());
    // The two whose arguments do not come from anfragen.js.
    EXPECT_THAT(skripte(), HasSubstr("rufe('ordnerVergessen', {kennung: "));
    EXPECT_THAT(skripte(), HasSubstr("rufe('bilderZaehlen', {kennung}"));
    EXPECT_THAT(skripte(), HasSubstr("window.__quillmatePortalEreignis = "));
}

/// The page's functions that make its requests, run for real.
class Anfragen : public testing::Test {
protected:
    void SetUp() override {
        auto const skript = std::regex_replace(datei("anfragen.js"), std::regex{"\\bexport "}, "");
        werte(skript);
    }
    /// Evaluates an expression; its value as JSON.
    json rechne(std::string const& ausdruck) {
        auto const text = werte("JSON.stringify(" + ausdruck + ")");
        return json::parse(text, nullptr, false);
    }
    std::string const zugang = R"({client_id: 7, token: 't', server: 'http://127.0.0.1:1'})";

private:
    std::string werte(std::string const& skript) {
        std::unique_ptr<JSCValue, decltype(&g_object_unref)> const wert{
            jsc_context_evaluate(kontext_.get(), skript.c_str(), static_cast<gssize>(skript.size())),
            g_object_unref};
        if (auto* const ausnahme = jsc_context_get_exception(kontext_.get())) {
            ADD_FAILURE() << jsc_exception_get_message(ausnahme);
            jsc_context_clear_exception(kontext_.get());
        }
        std::unique_ptr<char, decltype(&g_free)> const text{jsc_value_to_string(wert.get()), g_free};
        return text ? std::string{text.get()} : std::string{};
    }
    std::unique_ptr<JSCContext, decltype(&g_object_unref)> kontext_{jsc_context_new(), g_object_unref};
};

TEST_F(Anfragen, FullScanCarriesAccessAndOptionsUnderTheProgramsKeys) {
    EXPECT_EQ(
        rechne("scanAnfrage(" + zugang + ")"), (json{
                                                   {"client_id", 7},
                                                   {"token", "t"},
                                                   {"server", "http://127.0.0.1:1"},
                                                   {"alles", false},
                                                   {"fotos", false}}));
    EXPECT_EQ(rechne("scanAnfrage(" + zugang + ", {alles: true, fotos: true}).alles"), true);
}

TEST_F(Anfragen, ImageSearchNamesOneFolderAndBoundsItsCount) {
    EXPECT_EQ(
        rechne("bilderAnfrage(" + zugang + ", 'abc', 43)"), (json{
                                                                {"client_id", 7},
                                                                {"token", "t"},
                                                                {"server", "http://127.0.0.1:1"},
                                                                {"fotos", true},
                                                                {"nurOrdner", "abc"},
                                                                {"hoechstensBilder", 43}}));
    std::map<std::string, int> const grenzen{{"0", 1},   {"'12'", 12},     {"10000", 500},
                                             {"7.9", 7}, {"'viele'", 500}, {"-4", 1}};
    for (auto const& [eingabe, erwartet] : grenzen)
        EXPECT_EQ(rechne("bilderAnfrage(" + zugang + ", 'abc', " + eingabe + ").hoechstensBilder"), erwartet)
            << eingabe;
}

TEST_F(Anfragen, TargetedSearchDescribesTheBooking) {
    EXPECT_EQ(
        rechne("gezieltAnfrage(" + zugang + R"(, {id: 12, datum: '2026-03-05', betrag_cent: -123456,
            gegenpartei: 'Nordlicht Bürobedarf GmbH', zweck: 'Rechnung NB-2026-1007'}))"),
        (json{
            {"client_id", 7},
            {"token", "t"},
            {"server", "http://127.0.0.1:1"},
            {"transaction_id", 12},
            {"stichworte", {"Nordlicht", "Bürobedarf", "NB-2026-1007"}},
            {"betrag_texte", {"1.234,56", "1234,56", "1,234.56", "1234.56"}},
            {"datum", "2026-03-05"}}));
}

TEST_F(Anfragen, KeywordsLeaveOutShortGeneralAndMissingWords) {
    EXPECT_EQ(rechne("stichworte({gegenpartei: 'DB AG', zweck: null})"), json::array());
    EXPECT_EQ(
        rechne("stichworte({gegenpartei: 'Firma Meier & Söhne, Meier', zweck: 'Miete März'})"),
        (json{"Meier", "Söhne"}));
    EXPECT_EQ(rechne("stichworte({})"), json::array());
}

TEST_F(Anfragen, AmountsAreWrittenTheGermanAndTheEnglishWay) {
    EXPECT_EQ(rechne("betragTexte(-549)"), (json{"5,49", "5.49"}));
    EXPECT_EQ(rechne("betragTexte(-5)"), (json{"0,05", "0.05"}));
    EXPECT_EQ(rechne("betragTexte(100)"), (json{"1,00", "1.00"}));
    EXPECT_EQ(rechne("betragTexte(-123456789)")[0], "1.234.567,89");
}

TEST_F(Anfragen, PortalNamesItsKeyAndOnlyWhatWasGiven) {
    EXPECT_EQ(
        rechne("portalAnfrage(" + zugang + ", 'aws')"),
        (json{{"kennung", "aws"}, {"client_id", 7}, {"token", "t"}}));
    EXPECT_EQ(
        rechne("portalAnfrage(" + zugang + ", 'weiteres', {name: ' Stadtwerke ', buchung: 12})"),
        (json{
            {"kennung", "weiteres"},
            {"client_id", 7},
            {"token", "t"},
            {"name", "Stadtwerke"},
            {"transaction_id", 12}}));
}

} // namespace
} // namespace quillmate::demo
