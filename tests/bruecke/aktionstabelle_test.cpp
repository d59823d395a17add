#include "bruecke/einspielung.h"
#include "brueckenprobe.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

using namespace quillmate;
using namespace quillmate::proben;
using bruecke::Aktion;
using bruecke::Angabe;
using bruecke::Wertart;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class Aktionstabelle : public Brueckenprobe {};

/// A value that the argument counts as given with.
Json passend(Wertart art) {
    switch (art) {
    case Wertart::text:
    case Wertart::nichtleererText:
        return "http://127.0.0.1:1/";
    case Wertart::ganzzahl:
    case Wertart::positiveZahl:
        return 1;
    case Wertart::wahrheit:
        return true;
    case Wertart::liste:
        return {"a"};
    }
    return nullptr;
}

/// Values that count as absent for the argument.
std::vector<Json> unpassend(Wertart art) {
    switch (art) {
    case Wertart::text:
        return {nullptr, 7, true, {"a"}};
    case Wertart::nichtleererText:
        return {nullptr, 7, true, {"a"}, ""};
    case Wertart::ganzzahl:
        return {nullptr, "7", 1.5, 1e19, true};
    case Wertart::positiveZahl:
        return {nullptr, "7", 1.5, 1e19, true, 0, -1};
    case Wertart::wahrheit:
        return {nullptr, "true", 1};
    case Wertart::liste:
        return {nullptr, "a", {1}};
    }
    return {};
}

Json vollstaendige(Aktion const& aktion) {
    auto daten = Json::object();
    for (auto const& angabe : aktion.angaben)
        daten[std::string{angabe.schluessel}] = passend(angabe.art);
    return daten;
}

bruecke::Argumente gelesen(Json daten) {
    daten["aktion"] = "x";
    daten["id"] = 1;
    return bruecke::entschluesseln(daten.dump()).value().argumente;
}

} // namespace

TEST_F(Aktionstabelle, HoldsTheElevenActionsInTheOrderOfTheDispatcher) {
    std::vector<std::string> namen;
    for (auto const& aktion : bruecke::aktionen())
        namen.emplace_back(aktion.name);
    EXPECT_THAT(
        namen, ElementsAre(
                   "ordnerWaehlen", "gemerkterOrdner", "gemerkteOrdner", "ordnerVergessen", "portalOeffnen",
                   "macScannen", "bilderZaehlen", "gezieltSuchen", "inProgrammeVerschieben", "suchStand",
                   "nachUpdatesSuchen"));
}

TEST_F(Aktionstabelle, ARowIsFoundByItsExactNameOnly) {
    for (auto const& aktion : bruecke::aktionen()) {
        EXPECT_EQ(bruecke::aktionNamens(aktion.name), &aktion);
        EXPECT_EQ(bruecke::aktionNamens(std::string{aktion.name} + ' '), nullptr);
    }
    EXPECT_EQ(bruecke::aktionNamens("MACSCANNEN"), nullptr);
    EXPECT_EQ(bruecke::aktionNamens(""), nullptr);
}

TEST_F(Aktionstabelle, EveryRowHasOnePlaceInTheScriptAndItsFunctionThere) {
    auto const skript =
        bruecke::einspielungsskript({.kurzfassung = {}, .buildnummer = {}, .ort = "anderswo"});
    std::set<unsigned> stellen;
    for (auto const& aktion : bruecke::aktionen()) {
        EXPECT_TRUE(stellen.insert(aktion.skriptstelle).second) << aktion.name;
        EXPECT_THAT(skript, HasSubstr("    " + std::string{aktion.name} + ": ("));
    }
    EXPECT_EQ(*stellen.begin(), 1U);
    EXPECT_EQ(*stellen.rbegin(), bruecke::aktionen().size());
}

TEST_F(Aktionstabelle, DecodingKeepsEveryArgumentOfARowAndNoOther) {
    for (auto const& aktion : bruecke::aktionen())
        for (auto const& angabe : aktion.angaben)
            EXPECT_TRUE(bruecke::istAngabe(angabe.schluessel)) << angabe.schluessel;
    EXPECT_FALSE(bruecke::istAngabe("aktion"));
    EXPECT_FALSE(bruecke::istAngabe("fremdes"));
    EXPECT_FALSE(gelesen({{"fremdes", "x"}}).text("fremdes").has_value());
    EXPECT_EQ(gelesen({{"datum", "x"}}).text("datum"), "x");
}

TEST_F(Aktionstabelle, ACallThatLacksAnythingNeededIsIncomplete) {
    for (auto const& aktion : bruecke::aktionen()) {
        auto const daten = vollstaendige(aktion);
        EXPECT_TRUE(bruecke::vollstaendig(aktion, gelesen(daten))) << aktion.name;
        for (auto const& angabe : aktion.angaben) {
            auto ohne = daten;
            ohne.erase(std::string{angabe.schluessel});
            EXPECT_EQ(bruecke::vollstaendig(aktion, gelesen(ohne)), !angabe.noetig)
                << aktion.name << ' ' << angabe.schluessel;
            for (auto const& wert : unpassend(angabe.art)) {
                auto falsch = daten;
                falsch[std::string{angabe.schluessel}] = wert;
                EXPECT_EQ(bruecke::vollstaendig(aktion, gelesen(falsch)), !angabe.noetig)
                    << aktion.name << ' ' << falsch;
            }
        }
    }
}

TEST_F(Aktionstabelle, ARowThatNeedsSomethingSaysSoInGermanWhenItIsMissing) {
    for (auto const& aktion : bruecke::aktionen()) {
        bool const noetig = std::ranges::any_of(aktion.angaben, &Angabe::noetig);
        EXPECT_EQ(noetig, !aktion.ablehnung.empty()) << aktion.name;
        if (noetig) {
            EXPECT_EQ(rufe(std::string{aktion.name}), (Json{{"fehler", aktion.ablehnung}})) << aktion.name;
        }
    }
}

TEST_F(Aktionstabelle, TooLongAListSpoilsTheCall) {
    auto daten = gezielt();
    daten["stichworte"] = std::vector<std::string>(bruecke::Argumente::hoechsteListe + 1, "a");
    EXPECT_EQ(rufe("gezieltSuchen", daten), (Json{{"fehler", "Unvollständige Suchanfrage."}}));
}
