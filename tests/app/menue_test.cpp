#include "app/menue.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

using namespace quillmate::app::menue;

namespace {

char const* nameVon(Befehl befehl) {
    switch (befehl) {
    case Befehl::ueber:
        return "ueber";
    case Befehl::nachUpdatesSuchen:
        return "nachUpdatesSuchen";
    case Befehl::ausblenden:
        return "ausblenden";
    case Befehl::beenden:
        return "beenden";
    case Befehl::neuLaden:
        return "neuLaden";
    case Befehl::zurueck:
        return "zurueck";
    case Befehl::vorwaerts:
        return "vorwaerts";
    case Befehl::drucken:
        return "drucken";
    case Befehl::fensterSchliessen:
        return "fensterSchliessen";
    case Befehl::widerrufen:
        return "widerrufen";
    case Befehl::wiederholen:
        return "wiederholen";
    case Befehl::ausschneiden:
        return "ausschneiden";
    case Befehl::kopieren:
        return "kopieren";
    case Befehl::einsetzen:
        return "einsetzen";
    case Befehl::allesAuswaehlen:
        return "allesAuswaehlen";
    }
    return "?";
}

char const* nameVon(Ziel ziel) {
    switch (ziel) {
    case Ziel::aktualisierer:
        return "aktualisierer";
    case Ziel::haupt:
        return "haupt";
    case Ziel::ersterEmpfaenger:
        return "ersterEmpfaenger";
    }
    return "?";
}

/// The whole bar, one line per entry.
std::vector<std::string> zeilen() {
    std::vector<std::string> alle;
    for (auto const& menue : menueleiste()) {
        alle.push_back("[" + std::string{menue.titel} + "]");
        for (std::size_t i = 0; i < menue.abschnitte.size(); ++i) {
            if (i > 0)
                alle.emplace_back("-");
            for (auto const& eintrag : menue.abschnitte[i])
                alle.push_back(
                    std::string{eintrag.titel} + " | " + nameVon(eintrag.befehl) + " | " +
                    (eintrag.taste ? std::string(1, eintrag.taste->zeichen) : "") + " | " +
                    nameVon(eintrag.ziel));
        }
    }
    return alle;
}

} // namespace

TEST(Menue, TheBarIsThePromisedOneToTheLetter) {
    std::vector<std::string> const erwartet{
        "[]",
        "Über Quillmate | ueber |  | ersterEmpfaenger",
        "Nach Updates suchen … | nachUpdatesSuchen |  | aktualisierer",
        "-",
        "Quillmate ausblenden | ausblenden | h | ersterEmpfaenger",
        "Quillmate beenden | beenden | q | ersterEmpfaenger",
        "[Ablage]",
        "Neu laden | neuLaden | r | haupt",
        "Zurück | zurueck | [ | haupt",
        "Vorwärts | vorwaerts | ] | haupt",
        "-",
        "Drucken … | drucken | p | haupt",
        "-",
        "Fenster schließen | fensterSchliessen | w | ersterEmpfaenger",
        "[Bearbeiten]",
        "Widerrufen | widerrufen | z | ersterEmpfaenger",
        "Wiederholen | wiederholen | Z | ersterEmpfaenger",
        "-",
        "Ausschneiden | ausschneiden | x | ersterEmpfaenger",
        "Kopieren | kopieren | c | ersterEmpfaenger",
        "Einsetzen | einsetzen | v | ersterEmpfaenger",
        "Alles auswählen | allesAuswaehlen | a | ersterEmpfaenger"};
    EXPECT_EQ(zeilen(), erwartet);
}

TEST(Menue, NoKeyAndNoCommandIsThereTwice) {
    std::set<char> tasten;
    std::set<Befehl> befehle;
    for (auto const& menue : menueleiste())
        for (auto const& abschnitt : menue.abschnitte)
            for (auto const& eintrag : abschnitt) {
                EXPECT_TRUE(befehle.insert(eintrag.befehl).second) << eintrag.titel;
                EXPECT_TRUE(!eintrag.taste || tasten.insert(eintrag.taste->zeichen).second) << eintrag.titel;
            }
}

TEST(Menue, OnlyACapitalLetterIsPressedWithShift) {
    EXPECT_TRUE(Taste{'Z'}.umschalt());
    EXPECT_FALSE(Taste{'z'}.umschalt());
    EXPECT_FALSE(Taste{'['}.umschalt());
}
