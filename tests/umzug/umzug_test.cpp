#include "ports/programmfenster.h"
#include "umzugswelt.h"
#include "werkzeug/fehlerausgabe.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace quillmate;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr auto ausDownloads = "/home/anna/Downloads/Quillmate.app";
constexpr auto inProgramme = "/Applications/Quillmate.app";
constexpr auto inEigenenProgrammen = "/home/anna/Applications/Quillmate.app";

class Umzieher : public testing::Test {
protected:
    Umzieher() { w.werk.beschreibbare.insert("/Applications"); }
    werkzeug::Umzugswelt w;
};

class Fenster final : public ports::Programmfenster {
public:
    void titel(std::string const&) override {}
    void inhalt(ports::Webansicht&) override {}
    void groesseMerken(std::string const&) override {}
    void zeigen() override {}
    void schliessen() override {}
    bool sichtbar() const override { return true; }
    void beimSchliessen(std::function<void()>) override {}
    void fusszeile(std::optional<ports::Fusszeile>) override {}
};

} // namespace

// ------------------------------------------------------------------------------------------------- offer

TEST_F(Umzieher, AsksNothingWhereNoMoveIsNeeded) {
    w.laeuftAus(inProgramme);
    EXPECT_FALSE(w.umzieher.pruefenUndAnbieten());
    EXPECT_THAT(w.dialoge.gestellt, IsEmpty());
    EXPECT_THAT(w.werk.schritte, ElementsAre("reste /Applications/Quillmate.app"));
}

TEST_F(Umzieher, ForgetsAnEarlierWishNotToBeAskedAtEveryStart) {
    w.voreinstellungen.setzeWahrheitswert("quillmate.umzug.nichtMehrFragen", true);
    w.laeuftAus(ausDownloads);
    EXPECT_FALSE(w.umzieher.pruefenUndAnbieten());
    EXPECT_FALSE(w.voreinstellungen.wahrheitswert("quillmate.umzug.nichtMehrFragen"));
    EXPECT_EQ(w.dialoge.gestellt.size(), 1U);
    w.voreinstellungen.setzeWahrheitswert("quillmate.umzug.nichtMehrFragen", true);
    w.laeuftAus(inProgramme);
    (void)w.umzieher.pruefenUndAnbieten();
    EXPECT_FALSE(w.voreinstellungen.wahrheitswert("quillmate.umzug.nichtMehrFragen"));
}

TEST_F(Umzieher, OffersTheMoveInTheseWords) {
    w.laeuftAus(ausDownloads);
    (void)w.umzieher.pruefenUndAnbieten();
    ASSERT_EQ(w.dialoge.gestellt.size(), 1U);
    auto const& frage = w.dialoge.gestellt[0];
    EXPECT_EQ(frage.meldung, "Quillmate nach „Programme“ verschieben?");
    EXPECT_EQ(
        frage.erklaerung, "Quillmate läuft gerade aus dem Downloads-Ordner. Von dort kann es sich nicht "
                          "aktualisieren und ist nach "
                          "dem Beenden nicht mehr zu finden. In „Programme“ findest du es im Launchpad, und "
                          "es hält sich von selbst "
                          "aktuell.");
    EXPECT_THAT(frage.knoepfe, ElementsAre("In „Programme“ verschieben", "Später"));
}

TEST_F(Umzieher, OffersTheInstalledCopyInTheseWords) {
    w.laeuftAus(ausDownloads);
    w.buendel(inProgramme);
    (void)w.umzieher.pruefenUndAnbieten();
    ASSERT_EQ(w.dialoge.gestellt.size(), 1U);
    auto const& frage = w.dialoge.gestellt[0];
    EXPECT_EQ(frage.meldung, "Quillmate ist schon in „Programme“");
    EXPECT_EQ(
        frage.erklaerung, "Du hast gerade eine zweite Kopie geöffnet – aus dem Downloads-Ordner. Quillmate "
                          "öffnet stattdessen die "
                          "Fassung aus „Programme“ und räumt die Kopie weg.");
    EXPECT_THAT(frage.knoepfe, ElementsAre("Fassung aus „Programme“ öffnen", "Später"));
}

TEST_F(Umzieher, LaterLeavesTheProgramWhereItIsAndAsksAgainAtTheNextStart) {
    w.laeuftAus(ausDownloads);
    w.dialoge.knoepfe = {1, 1};
    EXPECT_FALSE(w.umzieher.pruefenUndAnbieten());
    EXPECT_FALSE(w.umzieher.pruefenUndAnbieten());
    EXPECT_EQ(w.dialoge.gestellt.size(), 2U);
    EXPECT_THAT(w.werk.schritte, IsEmpty());
    EXPECT_TRUE(w.werk.vorhanden(ausDownloads));
}

// -------------------------------------------------------------------------------------------- whole moves

TEST_F(Umzieher, FromDownloadsCopiesThenTrashesTheOldOneThenRelaunches) {
    w.laeuftAus(ausDownloads);
    w.dialoge.knoepfe = {0};
    EXPECT_TRUE(w.umzieher.pruefenUndAnbieten());
    EXPECT_THAT(
        w.werk.schritte, ElementsAre(
                             "kopieren /home/anna/Downloads/Quillmate.app -> /Applications/Quillmate.app",
                             "marken /Applications/Quillmate.app", "menue /Applications/Quillmate.app",
                             "papierkorb /home/anna/Downloads/Quillmate.app",
                             "neustart /Applications/Quillmate.app", "beenden"));
    EXPECT_TRUE(w.neustart.merkerBeimNeustart);
}

TEST_F(Umzieher, ASecondMoveWhileTheRelaunchIsUnderWayTouchesNothing) {
    w.laeuftAus(ausDownloads);
    auto const lage = w.umzieher.lage();
    ASSERT_TRUE(w.umzieher.ausfuehren(lage));
    auto const nachDemErsten = w.werk.schritte;
    EXPECT_TRUE(w.umzieher.ausfuehren(lage));
    EXPECT_EQ(w.werk.schritte, nachDemErsten);
    EXPECT_THAT(w.dialoge.gestellt, IsEmpty());
}

TEST_F(Umzieher, FromADiskImageEjectsItAfterTheRelaunchAndTrashesNothing) {
    w.laeuftAus("/Volumes/Quillmate/Quillmate.app");
    w.werk.traeger = {.pfad = "/Volumes/Quillmate", .nurLesen = true};
    w.dialoge.knoepfe = {0};
    EXPECT_TRUE(w.umzieher.pruefenUndAnbieten());
    EXPECT_THAT(
        w.werk.schritte, ElementsAre(
                             "kopieren /Volumes/Quillmate/Quillmate.app -> /Applications/Quillmate.app",
                             "marken /Applications/Quillmate.app", "menue /Applications/Quillmate.app",
                             "neustart /Applications/Quillmate.app auswerfen /Volumes/Quillmate", "beenden"));
}

TEST_F(Umzieher, FromDownloadsWithAnInstalledCopyCopiesNothingAndStartsThatOne) {
    w.laeuftAus(ausDownloads);
    w.buendel(inProgramme, "51");
    w.dialoge.knoepfe = {0};
    EXPECT_TRUE(w.umzieher.pruefenUndAnbieten());
    EXPECT_THAT(
        w.werk.schritte,
        ElementsAre(
            "menue /Applications/Quillmate.app", "papierkorb /home/anna/Downloads/Quillmate.app",
            "neustart /Applications/Quillmate.app", "beenden"));
}

TEST_F(Umzieher, WithoutRightsGoesToTheUsersOwnApplicationsFolderWhichItCreates) {
    w.werk.beschreibbare.clear();
    w.laeuftAus(ausDownloads);
    EXPECT_TRUE(w.umzieher.ausfuehren(w.umzieher.lage()));
    EXPECT_EQ(w.werk.schritte[0], "anlegen /home/anna/Applications");
    EXPECT_EQ(
        w.werk.schritte[1],
        "kopieren /home/anna/Downloads/Quillmate.app -> /home/anna/Applications/Quillmate.app");
    EXPECT_TRUE(w.geschah("neustart /home/anna/Applications/Quillmate.app"));
}

TEST_F(Umzieher, PutsAnOlderInstalledCopyIntoTheTrashFirst) {
    w.laeuftAus(ausDownloads);
    w.buendel(inProgramme, "49");
    EXPECT_TRUE(w.umzieher.ausfuehren(w.umzieher.lage()));
    EXPECT_EQ(w.werk.schritte[0], "papierkorb /Applications/Quillmate.app");
    EXPECT_EQ(
        w.werk.schritte[1], "kopieren /home/anna/Downloads/Quillmate.app -> /Applications/Quillmate.app");
}

TEST_F(Umzieher, CopiesTheOriginalNotTheTemporaryCopy) {
    w.laeuftAus("/tmp/AppTranslocation/1/Quillmate.app");
    w.buendel(ausDownloads);
    w.kunde.originale[w.kunde.laufendes] = ausDownloads;
    EXPECT_TRUE(w.umzieher.ausfuehren(w.umzieher.lage()));
    EXPECT_TRUE(w.geschah("kopieren /home/anna/Downloads/Quillmate.app -> /Applications/Quillmate.app"));
    EXPECT_TRUE(w.geschah("papierkorb /home/anna/Downloads/Quillmate.app"));
}

TEST_F(Umzieher, NeverTrashesATemporaryCopy) {
    w.laeuftAus("/tmp/AppTranslocation/1/Quillmate.app");
    EXPECT_TRUE(w.umzieher.ausfuehren(w.umzieher.lage()));
    EXPECT_FALSE(w.geschah("papierkorb /tmp/AppTranslocation/1/Quillmate.app"));
}

TEST_F(Umzieher, IsNotFooledByALinkThatMakesBothPlacesOne) {
    w.laeuftAus(ausDownloads);
    w.buendel(inProgramme);
    w.werk.gleiche.insert({inProgramme, ausDownloads});
    EXPECT_FALSE(w.umzieher.vorhandeneFassung(ausDownloads));
    EXPECT_TRUE(w.umzieher.ausfuehren(w.umzieher.lage()));
    EXPECT_FALSE(w.geschah("papierkorb /Applications/Quillmate.app"));
    EXPECT_FALSE(w.geschah("papierkorb /home/anna/Downloads/Quillmate.app"));
}

// --------------------------------------------------------------------------------------- installed copies

TEST_F(Umzieher, LooksForAnInstalledCopyInTheCommonFolderFirst) {
    w.laeuftAus(ausDownloads);
    w.buendel(inEigenenProgrammen);
    EXPECT_EQ(w.umzieher.vorhandeneFassung(ausDownloads), inEigenenProgrammen);
    w.buendel(inProgramme);
    EXPECT_EQ(w.umzieher.vorhandeneFassung(ausDownloads), inProgramme);
}

TEST_F(Umzieher, TakesOnlyInstalledCopiesThatAreAtLeastAsNew) {
    w.laeuftAus(ausDownloads, "50");
    struct Fall {
        std::optional<std::string> nummer;
        bool passt;
    };
    for (auto const& [nummer, passt] : std::vector<Fall>{
             {"50", true},
             {"51", true},
             {"+50", true},
             {"100", true},
             {"49", false},
             {"9", false},
             {"-51", false},
             {"51.0", false},
             {" 51", false},
             {"51 ", false},
             {"", false},
             {"+", false},
             {"+-51", false},
             {"neu", false},
             {"99999999999999999999", false},
             {std::nullopt, false}}) {
        w.buendel(inProgramme, nummer);
        EXPECT_EQ(w.umzieher.vorhandeneFassung(ausDownloads).has_value(), passt) << nummer.value_or("ohne");
    }
}

TEST_F(Umzieher, ARunningBuildWithoutNumberCountsAsZero) {
    for (auto const& nummer : {std::optional<std::string>{}, std::optional<std::string>{"1.2"}}) {
        w.laeuftAus(ausDownloads, nummer);
        w.buendel(inProgramme, "0");
        EXPECT_EQ(w.umzieher.vorhandeneFassung(ausDownloads), inProgramme);
        w.buendel(inProgramme, "-1");
        EXPECT_FALSE(w.umzieher.vorhandeneFassung(ausDownloads));
        w.buendel(inProgramme, std::nullopt);
        EXPECT_FALSE(w.umzieher.vorhandeneFassung(ausDownloads));
    }
}

TEST_F(Umzieher, SkipsOtherProgramsAndItself) {
    w.laeuftAus(ausDownloads);
    w.buendel(inProgramme, "50", "de.anderswer.programm");
    EXPECT_FALSE(w.umzieher.vorhandeneFassung(ausDownloads));
    w.buendel(inProgramme, "50", std::nullopt);
    EXPECT_FALSE(w.umzieher.vorhandeneFassung(ausDownloads));
    w.buendel(inEigenenProgrammen);
    EXPECT_EQ(w.umzieher.vorhandeneFassung(ausDownloads), inEigenenProgrammen) << "the next candidate";
    w.laeuftAus(inProgramme);
    w.kunde.buendel.erase(inEigenenProgrammen);
    EXPECT_FALSE(w.umzieher.vorhandeneFassung(inProgramme));
}

// ----------------------------------------------------------------------------------------------- failures

TEST_F(Umzieher, TellsWhyCopyingFailedAndLeavesEverythingAsItWas) {
    struct Fall {
        char const* scheitertBei;
        char const* text;
    };
    for (auto const& [scheitertBei, text] :
         {Fall{"anlegen", "Der Ordner konnte nicht angelegt werden."},
          Fall{"papierkorb /home/anna/Applications", "Der Papierkorb ist voll."},
          Fall{"kopieren", "Auf dem Datenträger ist kein Platz mehr."}}) {
        werkzeug::Umzugswelt welt;
        welt.laeuftAus(ausDownloads);
        welt.buendel(inEigenenProgrammen, "3");
        welt.werk.scheitertBei = scheitertBei;
        EXPECT_FALSE(welt.umzieher.ausfuehren(welt.umzieher.lage())) << scheitertBei;
        ASSERT_EQ(welt.dialoge.gestellt.size(), 1U) << scheitertBei;
        EXPECT_EQ(welt.dialoge.gestellt[0].meldung, "Verschieben hat nicht geklappt");
        EXPECT_EQ(
            welt.dialoge.gestellt[0].erklaerung,
            std::string{text} +
                "\n\nZieh Quillmate bitte selbst in den Ordner „Programme“ und starte es von dort.");
        EXPECT_EQ(welt.dialoge.gestellt[0].knoepfe.size(), 1U);
        EXPECT_TRUE(welt.werk.vorhanden(ausDownloads)) << scheitertBei;
        EXPECT_FALSE(welt.voreinstellungen.wahrheitswert(Umzug::schluesselGeradeUmgezogen)) << scheitertBei;
        EXPECT_FALSE(welt.geschah("beenden")) << scheitertBei;
    }
}

TEST_F(Umzieher, AFailedMoveLetsTheProgramStartNormally) {
    w.laeuftAus(ausDownloads);
    w.werk.scheitertBei = "kopieren";
    w.dialoge.knoepfe = {0};
    EXPECT_FALSE(w.umzieher.pruefenUndAnbieten());
}

TEST_F(Umzieher, OnlyLogsThatTheOldCopyCouldNotBeTrashed) {
    w.laeuftAus(ausDownloads);
    w.werk.scheitertBei = "papierkorb";
    bool gelungen = false;
    auto const ausgabe =
        werkzeug::fehlerausgabe([&] { gelungen = w.umzieher.ausfuehren(w.umzieher.lage()); });
    EXPECT_TRUE(gelungen);
    EXPECT_EQ(
        ausgabe, "[Quillmate] Umzug: Original nicht in den Papierkorb gelegt: Der Papierkorb ist voll.\n");
    EXPECT_THAT(w.dialoge.gestellt, IsEmpty());
    EXPECT_TRUE(w.geschah("beenden"));
}

// ------------------------------------------------------------------------------------------------ clean-up

TEST_F(Umzieher, EjectsOnlyReadOnlyVolumesBelowVolumes) {
    w.laeuftAus("/Volumes/Quillmate/Quillmate.app");
    auto const lage = w.umzieher.lage();
    EXPECT_EQ(w.umzieher.aufraeumen(inProgramme, lage), std::nullopt) << "no volume known";
    w.werk.traeger = {.pfad = "/Volumes/Quillmate", .nurLesen = false};
    EXPECT_EQ(w.umzieher.aufraeumen(inProgramme, lage), std::nullopt);
    w.werk.traeger = {.pfad = "/", .nurLesen = true};
    EXPECT_EQ(w.umzieher.aufraeumen(inProgramme, lage), std::nullopt);
    w.werk.traeger = {.pfad = "/Volumes/Quillmate", .nurLesen = true};
    EXPECT_EQ(w.umzieher.aufraeumen(inProgramme, lage), "/Volumes/Quillmate");
    EXPECT_THAT(w.werk.schritte, IsEmpty());
}

TEST_F(Umzieher, TrashesNeitherTheDestinationNorACopyInProgrammeNorAnotherProgram) {
    w.laeuftAus(ausDownloads);
    auto lage = w.umzieher.lage();
    (void)w.umzieher.aufraeumen(ausDownloads, lage);
    EXPECT_THAT(w.werk.schritte, IsEmpty()) << "the destination itself";

    lage.original = inEigenenProgrammen;
    w.buendel(inEigenenProgrammen);
    (void)w.umzieher.aufraeumen(inProgramme, lage);
    EXPECT_THAT(w.werk.schritte, IsEmpty()) << "already in programme";

    lage.original = "/home/anna/Downloads/Anderes.app";
    w.buendel(lage.original, "50", "de.anderswer.programm");
    (void)w.umzieher.aufraeumen(inProgramme, lage);
    EXPECT_THAT(w.werk.schritte, IsEmpty()) << "another program";

    w.kunde.buendel.erase(lage.original);
    (void)w.umzieher.aufraeumen(inProgramme, lage);
    EXPECT_THAT(w.werk.schritte, IsEmpty()) << "no bundle";
}

// -------------------------------------------------------------------------------------------- confirmation

TEST_F(Umzieher, ConfirmsTheMoveOnceInTheseWords) {
    w.laeuftAus(inProgramme);
    w.voreinstellungen.setzeWahrheitswert("quillmate.umzug.geradeUmgezogen", true);
    Fenster fenster;
    w.umzieher.bestaetigenFallsUmgezogen(&fenster);
    w.umzieher.bestaetigenFallsUmgezogen(&fenster);
    ASSERT_EQ(w.dialoge.gestellt.size(), 1U);
    EXPECT_THAT(w.dialoge.blattfenster, ElementsAre(&fenster));
    EXPECT_EQ(w.dialoge.gestellt[0].meldung, "Quillmate ist jetzt in „Programme“");
    EXPECT_EQ(
        w.dialoge.gestellt[0].erklaerung, "Ab jetzt bleibt es auf deinem Mac und aktualisiert sich von "
                                          "selbst.\n\nDamit du es schnell wiederfindest: "
                                          "Rechtsklick auf das Quillmate-Symbol im Dock → Optionen → „Im "
                                          "Dock behalten“. Steht dort noch ein altes "
                                          "Symbol mit Fragezeichen, zieh es einfach aus dem Dock.");
    EXPECT_THAT(w.dialoge.gestellt[0].knoepfe, ElementsAre("Alles klar"));
    EXPECT_FALSE(w.voreinstellungen.wahrheitswert("quillmate.umzug.geradeUmgezogen"));
}

TEST_F(Umzieher, ConfirmsWithoutWindowInADialogOfItsOwn) {
    w.laeuftAus(inProgramme);
    w.voreinstellungen.setzeWahrheitswert("quillmate.umzug.geradeUmgezogen", true);
    w.umzieher.bestaetigenFallsUmgezogen(nullptr);
    EXPECT_EQ(w.dialoge.gestellt.size(), 1U);
    EXPECT_THAT(w.dialoge.blattfenster, IsEmpty());
}

TEST_F(Umzieher, ConfirmsNothingWithoutAMoveBefore) {
    w.laeuftAus(inProgramme);
    w.umzieher.bestaetigenFallsUmgezogen(nullptr);
    w.voreinstellungen.setzeWahrheitswert("quillmate.umzug.geradeUmgezogen", false);
    w.umzieher.bestaetigenFallsUmgezogen(nullptr);
    EXPECT_THAT(w.dialoge.gestellt, IsEmpty());
}

TEST_F(Umzieher, ConfirmsNothingWhereAMoveIsStillNeededAndForgetsTheOldOne) {
    w.laeuftAus(ausDownloads);
    w.voreinstellungen.setzeWahrheitswert("quillmate.umzug.geradeUmgezogen", true);
    w.umzieher.bestaetigenFallsUmgezogen(nullptr);
    EXPECT_THAT(w.dialoge.gestellt, IsEmpty());
    EXPECT_FALSE(w.voreinstellungen.wahrheitswert("quillmate.umzug.geradeUmgezogen"));
}
