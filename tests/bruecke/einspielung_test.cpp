#include "bruecke/bruecke.h"
#include "bruecke/einspielung.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

using quillmate::bruecke::Bruecke;
using quillmate::bruecke::einspielungsskript;
using quillmate::bruecke::ganzzahlAus;
using quillmate::bruecke::Programmangaben;

namespace {

/// Pages of every age rely on this text, byte for byte.
constexpr std::string_view vorlage = R"vorlage((() => {
  const offen = new Map();
  let zaehler = 0;
  window.__quillmateAntwort = (id, ergebnis) => {
    const p = offen.get(id);
    if (!p) return;
    offen.delete(id);
    ergebnis && ergebnis.fehler ? p.ab(new Error(ergebnis.fehler)) : p.auf(ergebnis);
  };
  const ruf = (aktion, daten = {}) => new Promise((auf, ab) => {
    const id = ++zaehler;
    offen.set(id, {auf, ab});
    window.webkit.messageHandlers.quillmate.postMessage({...daten, aktion, id});
  });
  window.quillmateApp = {
    fassung: 3,
    plattform: 'macos',
    version: "0.5.0",
    build: 50,
    ort: "programme",
    aktualisierbar: true,
    inProgrammeVerschieben: () => ruf('inProgrammeVerschieben'),
    nachUpdatesSuchen: () => ruf('nachUpdatesSuchen'),
    ordnerWaehlen: () => ruf('ordnerWaehlen'),
    gemerkterOrdner: () => ruf('gemerkterOrdner'),
    gemerkteOrdner: () => ruf('gemerkteOrdner'),
    ordnerVergessen: (daten) => ruf('ordnerVergessen', daten),
    portalOeffnen: (daten) => ruf('portalOeffnen', daten),
    macScannen: (daten) => ruf('macScannen', daten),
    gezieltSuchen: (daten) => ruf('gezieltSuchen', daten),
    // Erweiterte Bildersuche (0.4.7): zaehlt lokal. Die Seite zeigt den
    // Abschnitt ueberhaupt erst, wenn es diese Funktion gibt.
    bilderZaehlen: (daten) => ruf('bilderZaehlen', daten),
    // Was die App gerade tut (0.4.12) - die Seite fragt jede Sekunde, lokal, ohne Server.
    suchStand: () => ruf('suchStand'),
  };
})();)vorlage";

Programmangaben angaben() {
    return {.kurzfassung = "0.5.0", .buildnummer = "50", .ort = "programme", .umzugNoetig = false};
}

bool hatZeile(std::string const& skript, std::string_view zeile) {
    return ('\n' + skript + '\n').find('\n' + std::string{zeile} + '\n') != std::string::npos;
}

} // namespace

TEST(Einspielung, ScriptIsThePromisedTextToTheByte) {
    EXPECT_EQ(einspielungsskript(angaben()), vorlage);
    EXPECT_EQ(std::ranges::count(vorlage, '\n'), 36);
    EXPECT_FALSE(vorlage.ends_with('\n'));
}

TEST(Einspielung, ScriptRunsInTheMainFrameOnly) {
    auto const skript = Bruecke::einspielung(angaben());
    EXPECT_TRUE(skript.nurHauptrahmen);
    EXPECT_EQ(skript.quelltext, vorlage);
}

TEST(Einspielung, EachReadingMakesTheScriptAfresh) {
    auto werte = angaben();
    auto const erstes = einspielungsskript(werte);
    werte.ort = "downloads";
    EXPECT_NE(einspielungsskript(werte), erstes);
}

TEST(Einspielung, MissingVersionsAreAnEmptyTextAndZero) {
    auto const skript = einspielungsskript({.kurzfassung = {}, .buildnummer = {}, .ort = "anderswo"});
    EXPECT_TRUE(hatZeile(skript, "    version: \"\","));
    EXPECT_TRUE(hatZeile(skript, "    build: 0,"));
}

TEST(Einspielung, TextsOfTheBundleCannotLeaveTheirLiteral) {
    auto werte = angaben();
    werte.kurzfassung = "1\"; alert(1); \"\\\n";
    EXPECT_TRUE(hatZeile(einspielungsskript(werte), R"(    version: "1\"; alert(1); \"\\\n",)"));
}

TEST(Einspielung, AProgramThatHasToMoveIsNotUpdatable) {
    auto werte = angaben();
    werte.ort = "dmg";
    werte.umzugNoetig = true;
    auto const skript = einspielungsskript(werte);
    EXPECT_TRUE(hatZeile(skript, "    ort: \"dmg\","));
    EXPECT_TRUE(hatZeile(skript, "    aktualisierbar: false,"));
}

TEST(Einspielung, BuildIsABase10NumberWithOptionalSignAndOtherwiseZero) {
    struct Fall {
        std::string_view text;
        std::int64_t zahl;
    };
    for (auto const& [text, zahl] :
         {Fall{"50", 50}, Fall{"+5", 5}, Fall{"-3", -3}, Fall{"007", 7}, Fall{"12a", 0}, Fall{"a12", 0},
          Fall{"", 0}, Fall{"+", 0}, Fall{"-", 0}, Fall{"+-5", 0}, Fall{"-+5", 0}, Fall{"++5", 0},
          Fall{" 5", 0}, Fall{"5 ", 0}, Fall{"1.5", 0}, Fall{"0x10", 0},
          Fall{"9223372036854775807", 9223372036854775807}, Fall{"9223372036854775808", 0},
          Fall{"-9223372036854775808", std::int64_t{-9223372036854775807} - 1}})
        EXPECT_EQ(ganzzahlAus(text), zahl) << text;
}

TEST(Einspielung, HandlerIsCalledQuillmate) {
    EXPECT_EQ(Bruecke::name, "quillmate");
}
