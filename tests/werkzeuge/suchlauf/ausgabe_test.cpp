#include "ausgabe.h"

#include <gtest/gtest.h>

using namespace quillmate;
using suchlauf::Ausgabe;

namespace {

Json schritt(char const* schluessel, char const* name, bool fertig, int anzahl) {
    return {
        {"schluessel", schluessel},
        {"fertig", fertig},
        {"sekunden", 0.5},
        {"name", name},
        {"anzahl", anzahl}};
}

} // namespace

TEST(SuchlaufAusgabe, EachFinishedStepIsToldOnce) {
    Ausgabe ausgabe;
    Json bericht{
        {"schritte",
         Json::array({schritt("ordner", "Desktop", true, 12), schritt("lesen", "Belege lesen", false, 3)})}};
    EXPECT_EQ(ausgabe.neueSchritte(bericht), "     12  Dateien in Desktop (0.50 s)\n");
    EXPECT_EQ(ausgabe.neueSchritte(bericht), "");
    bericht["schritte"][1]["fertig"] = true;
    EXPECT_EQ(ausgabe.neueSchritte(bericht), "      3  Belege lesen (0.50 s)\n");
}

TEST(SuchlaufAusgabe, TheRunningStepIsALineOfItsOwn) {
    auto lesen = schritt("lesen", "Belege lesen", false, 3);
    lesen["gesamt"] = 9;
    EXPECT_EQ(Ausgabe::laufend({{"schritte", Json::array({lesen})}}), "      3 von 9  Belege lesen …");
    EXPECT_EQ(Ausgabe::laufend({{"schritte", Json::array()}}), "");
}

TEST(SuchlaufAusgabe, ExaminedIsWhatWasJudged) {
    auto const satz = [](int gesamt, Json const& gruende) {
        return Ausgabe::zusammenfassung({{"gesamt", gesamt}, {"gruende", gruende}, {"orte", Json::object()}})
            .substr(1);
    };
    EXPECT_TRUE(satz(3, {{"hochladen", 1}, {"keinBeleg", 1}, {"keinBelegtext", 1}})
                    .starts_with("Geprüfte Dateien: 3\n"));
    EXPECT_TRUE(satz(9, {{"hochladen", 1}, {"nichtZumThema", 1}, {"nichtLesbar", 1}})
                    .starts_with("Geprüfte Dateien: 2 von 9\n"));
}

TEST(SuchlaufAusgabe, SummaryHoldsAllCounts) {
    auto const text = Ausgabe::zusammenfassung(
        {{"gesamt", 5},
         {"gruende", {{"hochladen", 3}, {"zuGross", 2}, {"uebersprungen", 1}}},
         {"orte", {{"Desktop", 7}}}});
    for (auto const* const teil :
         {"Geprüfte Dateien: 3 von 5", "      3  als Beleg erkannt", "      2  dem Dienst zu groß",
          "      1  dem Dienst schon bekannt", "      7  Desktop", "      0  kein Beleg"})
        EXPECT_NE(text.find(teil), std::string::npos) << teil << "\n" << text;
}
