// The long run's model must find what it is there for: each test shows it one thing that must not be.
#include "buch.h"
#include "grundlage/pruefsumme.h"
#include "werkzeug/ordner_auf_zeit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace quillmate::dauer {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char const* rechnung = "eine Rechnung";
constexpr char const* brief = "ein Brief";

class Buchprobe : public testing::Test {
protected:
    Buchprobe() {
        heim.datei("Desktop/a.pdf", rechnung);
        heim.datei("Desktop/b.pdf", brief);
        heim.datei(
            "beispiele.json",
            R"({"dateien":[{"pfad":"Desktop/a.pdf","art":"rechnung","entscheidung":"hochladen"},)"
            R"({"pfad":"Desktop/b.pdf","art":"brief","entscheidung":"keinBeleg"}]})");
        bestand.achteAuf(heim.pfad("Desktop"));
        bestand.uebernehmen(heim.pfad("beispiele.json"));
    }
    static std::string hash(std::string_view inhalt) { return hexadezimal(sha256(inhalt)); }
    Vorgang sendung(std::string const& datei, std::string_view inhalt) const {
        return {
            .methode = "POST",
            .pfad = "/clients/1/local-receipts/upload",
            .status = 200,
            .zugestellt = true,
            .quellpfad = heim.pfad(datei),
            .dateiname = datei,
            .hash = hash(inhalt)};
    }
    static Vorgang liste() {
        return {
            .methode = "GET", .pfad = "/clients/1/local-scan/seen-paths", .status = 200, .zugestellt = true};
    }
    std::vector<std::string> pruefe(
        std::vector<Vorgang> const& vorgaenge, std::vector<Eingang> const& da, bool ungestoert = false) {
        std::map<std::string, std::string> gesehen;
        for (auto const& eingang : da)
            if (eingang.hash == hash(rechnung))
                gesehen[heim.pfad("Desktop/a.pdf")] = eingang.hash;
        return buch.pruefe(
            {.art = Lauf::Art::voll, .ungestoert = ungestoert}, vorgaenge, da, gesehen, bestand);
    }
    std::vector<Eingang> const beleg{{.hash = hash(rechnung), .herkunft = "scan"}};

    werkzeug::OrdnerAufZeit heim;
    Bestand bestand{heim.pfad()};
    Buch buch;
};

TEST_F(Buchprobe, AReceiptThatArrivesOnceIsRight) {
    EXPECT_THAT(pruefe({liste(), sendung("Desktop/a.pdf", rechnung)}, beleg, true), IsEmpty());
    EXPECT_THAT(pruefe({liste()}, beleg, true), IsEmpty());
}

TEST_F(Buchprobe, AReceiptThatAQuietSearchLeavesOutIsLost) {
    EXPECT_THAT(pruefe({liste()}, {}, false), IsEmpty()); // disturbed: the next one sends it
    EXPECT_THAT(pruefe({liste()}, {}, true), ElementsAre(HasSubstr("lost:")));
}

TEST_F(Buchprobe, AnAnswerForWhatIsNotThereIsALie) {
    EXPECT_THAT(
        pruefe({sendung("Desktop/a.pdf", rechnung)}, {}),
        ElementsAre(HasSubstr("answered as taken, but not")));
}

TEST_F(Buchprobe, WhatTheServiceHadAndHasNotIsLost) {
    EXPECT_THAT(pruefe({}, beleg), IsEmpty());
    EXPECT_THAT(pruefe({}, {}), ElementsAre(HasSubstr("has lost it")));
}

TEST_F(Buchprobe, ALetterIsNotSent) {
    EXPECT_THAT(
        pruefe({sendung("Desktop/b.pdf", brief)}, {{.hash = hash(brief), .herkunft = "scan"}}),
        ElementsAre(HasSubstr("sent though it is keinBeleg")));
}

TEST_F(Buchprobe, BytesThatNoFileHadAreNotSent) {
    EXPECT_THAT(
        pruefe({sendung("Desktop/a.pdf", "halb")}, {{.hash = hash("halb"), .herkunft = "scan"}}),
        ElementsAre(HasSubstr("bytes that the file never had"), HasSubstr("but nobody's")));
}

TEST_F(Buchprobe, WhatArrivedIsNotSentAgainInTheSameSearch) {
    auto const eine = sendung("Desktop/a.pdf", rechnung);
    EXPECT_THAT(pruefe({eine, eine}, beleg), ElementsAre(HasSubstr("sent again though it had arrived")));
}

TEST_F(Buchprobe, WhatTheListNamesIsNotSentByTheNextSearch) {
    auto const eine = sendung("Desktop/a.pdf", rechnung);
    EXPECT_THAT(pruefe({liste(), eine}, beleg), IsEmpty());
    EXPECT_THAT(pruefe({eine}, beleg), IsEmpty()) << "without the list nobody can know";
    EXPECT_THAT(pruefe({liste(), eine}, beleg), ElementsAre(HasSubstr("the service's list names it")));
}

TEST_F(Buchprobe, AFileIsSentThreeTimesAtMost) {
    auto versuch = sendung("Desktop/a.pdf", rechnung);
    versuch.status = 0;
    versuch.zugestellt = false;
    EXPECT_THAT(pruefe({versuch, versuch, versuch}, {}), IsEmpty());
    EXPECT_THAT(
        pruefe({versuch, versuch, versuch, versuch}, {}), ElementsAre(HasSubstr("sent more than 3 times")));
}

TEST_F(Buchprobe, OneReceiptTwiceAtTheServiceIsFound) {
    EXPECT_THAT(pruefe({}, {beleg[0], beleg[0]}), ElementsAre(HasSubstr("twice at the service")));
}

TEST_F(Buchprobe, ATouchedAnotherAndAMissingFileAreFound) {
    EXPECT_THAT(bestand.abweichungen(), IsEmpty());
    heim.datei("Desktop/neu.pdf", "x");
    EXPECT_THAT(bestand.abweichungen(), ElementsAre(HasSubstr("nobody made")));
    std::filesystem::remove(heim.pfad("Desktop/neu.pdf"));
    std::filesystem::last_write_time(
        heim.pfad("Desktop/a.pdf"), std::filesystem::file_time_type::clock::now() + std::chrono::hours{1});
    EXPECT_THAT(bestand.abweichungen(), ElementsAre(HasSubstr("was written to")));
    std::filesystem::remove(heim.pfad("Desktop/a.pdf"));
    EXPECT_THAT(bestand.abweichungen(), ElementsAre(HasSubstr("has gone")));
}

TEST_F(Buchprobe, WhatIsOnADriveThatIsAwayIsNotMissed) {
    std::filesystem::rename(heim.pfad("Desktop"), heim.pfad("fort"));
    bestand.fort(heim.pfad("Desktop"));
    EXPECT_THAT(bestand.abweichungen(), IsEmpty());
    EXPECT_THAT(pruefe({liste()}, {}, true), IsEmpty());
    std::filesystem::rename(heim.pfad("fort"), heim.pfad("Desktop"));
    bestand.wiederDa(heim.pfad("Desktop"));
    EXPECT_THAT(bestand.abweichungen(), IsEmpty());
    EXPECT_THAT(pruefe({liste()}, {}, true), ElementsAre(HasSubstr("lost:")));
}

} // namespace
} // namespace quillmate::dauer
