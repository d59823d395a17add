#include "app/diagnose.h"
#include "werkzeug/ordner_auf_zeit.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

using namespace quillmate;

namespace {

struct FesterLeser final : Texterkennung::Leser {
    Texterkennung::Lesung lesen(int, Texterkennung::Dateiart) override { return {.art = art, .text = text}; }
    Texterkennung::Lesung::Art art{Texterkennung::Lesung::Art::gelesen};
    std::optional<std::string> text;
};

std::string textZeile(std::string const& name, std::optional<std::string> text) {
    werkzeug::OrdnerAufZeit const ordner;
    FesterLeser leser;
    leser.text = std::move(text);
    Texterkennung::Zwischenspeicher const speicher{ordner.pfad("texte")};
    Texterkennung::Erkenner erkenner{leser, speicher};
    auto const pfad = ordner.datei(name, "x");
    auto bericht = app::diagnose::textbericht(pfad, erkenner);
    EXPECT_FALSE(bericht.fehler);
    auto zeile = std::move(bericht.zeile);
    zeile.replace(zeile.find(ordner.pfad()), ordner.pfad().size(), "ORDNER");
    return zeile;
}

} // namespace

TEST(DiagnoseText, AFileThatIsNotReadableNowHasItsLineAndTheReason) {
    werkzeug::OrdnerAufZeit const ordner;
    FesterLeser leser;
    leser.art = Texterkennung::Lesung::Art::ohneLeser;
    Texterkennung::Zwischenspeicher const speicher{ordner.pfad("texte")};
    Texterkennung::Erkenner erkenner{leser, speicher};
    auto const bericht = app::diagnose::textbericht(ordner.datei("a.pdf", "x"), erkenner);
    EXPECT_EQ(nlohmann::json::parse(bericht.zeile)["zeichen"], 0);
    ASSERT_TRUE(bericht.fehler);
    EXPECT_TRUE(Texterkennung::installationGestoert(*bericht.fehler));
    EXPECT_TRUE(app::diagnose::textbericht(ordner.pfad("fehlt.pdf"), erkenner).fehler);
}

TEST(DiagnoseArgumente, FirstOccurrenceCountsAndTheLastArgumentHasNoValue) {
    std::vector<char const*> const a{"quillmate", "--text", "t", "--scan", "s", "--scan", "z"};
    EXPECT_EQ(app::diagnose::wertNach(a, "--scan"), "s");
    EXPECT_EQ(app::diagnose::wertNach(a, "--text"), "t");
    std::vector<char const*> const b{"quillmate", "--scan"};
    EXPECT_EQ(app::diagnose::wertNach(b, "--scan"), std::nullopt);
    std::vector<char const*> const c{"--scan", "s"}; // position 0 counts too
    EXPECT_EQ(app::diagnose::wertNach(c, "--scan"), "s");
    EXPECT_EQ(app::diagnose::wertNach(c, "--text"), std::nullopt);
}

TEST(DiagnoseScan, LineIsCompactJsonInFixedOrder) {
    werkzeug::OrdnerAufZeit const ordner;
    ordner.datei("ä \"1\".pdf", "12345");
    ordner.datei("kein.txt", "x");
    EXPECT_EQ(
        app::diagnose::scanZeile(ordner.pfad()),
        R"({"wurzel":")" + ordner.pfad() + R"(","anzahl":1,"grenze_erreicht":false,"funde":[{"pfad":")" +
            ordner.pfad() + R"(/ä \"1\".pdf","groesse":5}]})");
}

TEST(DiagnoseScan, AFolderThatIsNoneHasNoFinds) {
    EXPECT_EQ(
        app::diagnose::scanZeile("/gibt/es/nicht"),
        R"({"wurzel":"/gibt/es/nicht","anzahl":0,"grenze_erreicht":false,"funde":[]})");
}

TEST(DiagnoseScan, TheLimitIsReachedWith5000FindsAndNotWith4999) {
    werkzeug::OrdnerAufZeit const ordner;
    for (int i = 0; i < 4999; ++i)
        ordner.datei(std::to_string(i) + ".pdf");
    auto zeile = nlohmann::json::parse(app::diagnose::scanZeile(ordner.pfad()));
    EXPECT_EQ(zeile["anzahl"], 4999);
    EXPECT_EQ(zeile["grenze_erreicht"], false);
    ordner.datei("noch einer.pdf");
    ordner.datei("und einer.pdf");
    zeile = nlohmann::json::parse(app::diagnose::scanZeile(ordner.pfad()));
    EXPECT_EQ(zeile["anzahl"], 5000);
    EXPECT_EQ(zeile["grenze_erreicht"], true);
    EXPECT_EQ(zeile["funde"].size(), 5000U);
}

TEST(DiagnoseText, LineIsCompactJsonInFixedOrder) {
    EXPECT_EQ(
        textZeile("a.pdf", "Rechnung über 12,50 €\n"),
        R"({"datei":"ORDNER/a.pdf","zeichen":22,"beleg":true,"verlaesslich":true,"entscheidung":"hochladen","text":"Rechnung über 12,50 €\n"})");
    EXPECT_EQ(
        textZeile("a.jpg", "kein Wort davon"),
        R"({"datei":"ORDNER/a.jpg","zeichen":15,"beleg":false,"verlaesslich":false,"entscheidung":"keinBelegtext","text":"kein Wort davon"})");
}

TEST(DiagnoseText, WithoutTextEverythingIsEmpty) {
    EXPECT_EQ(
        textZeile("a.pdf", std::nullopt),
        R"({"datei":"ORDNER/a.pdf","zeichen":0,"beleg":false,"verlaesslich":false,"entscheidung":"hochladen","text":""})");
}
