// The built program as a process, as a script would call it.
#include "werkzeug/ordner_auf_zeit.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

using quillmate::werkzeug::OrdnerAufZeit;

namespace {

struct Ausgang {
    int status{-1};
    std::string ausgabe; ///< Standard output.
};

/// Runs the program with nothing in its environment but what `umgebung` sets.
Ausgang programm(
    std::string const& argumente, std::string const& umgebung = {},
    std::string const& datei = QUILLMATE_PROGRAMM) {
    auto const befehl = "env -i " + umgebung + " '" + datei + "' 2>/dev/null </dev/null " + argumente;
    Ausgang ausgang;
    auto* const rohr = ::popen(befehl.c_str(), "r");
    std::array<char, 4096> puffer{};
    for (std::size_t n = 0; (n = std::fread(puffer.data(), 1, puffer.size(), rohr)) > 0;)
        ausgang.ausgabe.append(puffer.data(), n);
    ausgang.status = WEXITSTATUS(::pclose(rohr));
    return ausgang;
}

} // namespace

TEST(Programm, ScanPrintsOneLineWithoutDisplayBusOrHome) {
    OrdnerAufZeit const ordner;
    ordner.datei("a.pdf", "12");
    ordner.datei("node_modules/b.pdf", "12");
    auto const [status, ausgabe] = programm("--scan " + ordner.pfad());
    EXPECT_EQ(status, 0);
    ASSERT_TRUE(ausgabe.ends_with("}\n"));
    EXPECT_EQ(std::ranges::count(ausgabe, '\n'), 1);
    EXPECT_EQ(nlohmann::json::parse(ausgabe)["anzahl"], 1);
}

TEST(Programm, TextPrintsOneLineWithoutDisplayBusOrHome) {
    OrdnerAufZeit const ordner;
    auto const [status, ausgabe] =
        programm("--text " + ordner.datei("notes.txt", "Rechnung"), "XDG_CACHE_HOME=" + ordner.pfad("cache"));
    EXPECT_EQ(status, 0);
    EXPECT_EQ(
        ausgabe,
        R"({"datei":")" + ordner.pfad("notes.txt") +
            R"(","zeichen":0,"beleg":false,"verlaesslich":false,"entscheidung":"hochladen","text":""})"
            "\n");
}

TEST(Programm, BothModesRunOnlyTheScan) {
    OrdnerAufZeit const ordner;
    auto const [status, ausgabe] = programm("--text /x.pdf --scan " + ordner.pfad());
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(ausgabe.starts_with("{\"wurzel\":"));
}

TEST(Programm, ScanAsTheLastArgumentIsIgnored) {
    OrdnerAufZeit const ordner;
    EXPECT_TRUE(programm("--text /fehlt.txt --scan").ausgabe.starts_with("{\"datei\":"));
}

TEST(Programm, AForeignLocaleDoesNotChangeTheLine) {
    OrdnerAufZeit const ordner;
    ordner.datei("ü.pdf", std::string(1'234'567, 'x'));
    auto const ausgabe = programm("--scan " + ordner.pfad(), "LC_ALL=de_DE.ISO-8859-1 LANG=C").ausgabe;
    EXPECT_NE(ausgabe.find("/ü.pdf\",\"groesse\":1234567}"), std::string::npos);
}

TEST(Programm, TextOfARealDocumentIsReadJudgedAndCached) {
    // One page with a text layer, as small as it can be; the reader mends the missing table of objects.
    std::string const pdf = "%PDF-1.4\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n2 0 "
                            "obj<</Type/Pages/Kids[3 0 R]/Count 1>>endobj\n"
                            "3 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 300 200]/Contents 4 0 "
                            "R/Resources<</Font<</F1<</Type/Font"
                            "/Subtype/Type1/BaseFont/Helvetica>>>>>>>>endobj\n4 0 obj<</Length 62>>stream\n"
                            "BT /F1 12 Tf 20 100 Td (Rechnung 4711, Betrag 12,50 EUR) Tj ET\nendstream "
                            "endobj\ntrailer<</Root 1 0 R>>\n";
    OrdnerAufZeit const ordner;
    auto const pfad = ordner.datei("beleg.pdf", pdf);
    auto const aufruf = [&] {
        return programm("--text " + pfad, "XDG_CACHE_HOME=" + ordner.pfad("cache"));
    };
    auto const [status, ausgabe] = aufruf();
    EXPECT_EQ(status, 0);
    auto const zeile = nlohmann::json::parse(ausgabe);
    EXPECT_TRUE(zeile["text"].get<std::string>().starts_with("Rechnung 4711, Betrag 12,50 EUR\n")) << ausgabe;
    EXPECT_EQ(zeile["entscheidung"], "hochladen");
    EXPECT_EQ(zeile["verlaesslich"], true);
    EXPECT_EQ(aufruf().ausgabe, ausgabe);
    // Once by path, and once by content.
    auto const texte = ordner.pfad("cache/de.tandemwerk.quillmate/texte");
    auto const dateien = [](std::string const& ort) {
        return std::ranges::count_if(std::filesystem::directory_iterator{ort}, [](auto const& eintrag) {
            return eintrag.is_regular_file();
        });
    };
    EXPECT_EQ(dateien(texte), 1);
    EXPECT_EQ(dateien(texte + "/inhalt"), 1);
}

TEST(Programm, TextWithoutAReaderSaysSoAndEndsWithAStatus) {
    // The program looks for its reader beside itself; here there is none, then one that cannot be started.
    OrdnerAufZeit const ordner;
    auto const kopie = ordner.pfad("quillmate");
    std::filesystem::copy_file(QUILLMATE_PROGRAMM, kopie);
    auto const pfad = ordner.datei("beleg.pdf", "%PDF-1.4");
    auto const aufruf = [&] {
        return programm(
            "--text " + pfad + " 2>'" + ordner.pfad("log") + "'", "XDG_CACHE_HOME=" + ordner.pfad("cache"),
            kopie);
    };
    for (auto const* inhalt : {"", "kein Programm"}) {
        if (*inhalt != '\0')
            ordner.datei("quillmate-leser", inhalt);
        auto const [status, ausgabe] = aufruf();
        EXPECT_EQ(status, 1);
        EXPECT_TRUE(ausgabe.starts_with("{\"datei\":")) << ausgabe;
        std::ifstream log{ordner.pfad("log")};
        std::string const text{std::istreambuf_iterator<char>{log}, {}};
        EXPECT_NE(text.find("Belege können nicht gelesen werden"), std::string::npos) << text;
        EXPECT_NE(text.find(ordner.pfad("quillmate-leser")), std::string::npos)
            << text; // Where, for the log.
        EXPECT_FALSE(std::filesystem::exists(ordner.pfad("cache/de.tandemwerk.quillmate/texte")));
    }
}

TEST(Programm, OutputThatCannotBeWrittenIsAnError) {
    OrdnerAufZeit const ordner;
    EXPECT_EQ(programm("--scan " + ordner.pfad() + " >/dev/full").status, 1);
}

TEST(Programm, HelpVersionAndAnUnknownOptionNeedNeitherDisplayNorLock) {
    OrdnerAufZeit const ordner;
    auto const umgebung = "TMPDIR=" + ordner.pfad() + " HOME=" + ordner.pfad();
    auto const hilfe = programm("--help", umgebung);
    EXPECT_EQ(hilfe.status, 0);
    EXPECT_TRUE(hilfe.ausgabe.starts_with("Aufruf: quillmate")) << hilfe.ausgabe;
    auto const fassung = programm("--version", umgebung);
    EXPECT_EQ(fassung.status, 0);
    EXPECT_TRUE(fassung.ausgabe.starts_with("Quillmate 0.")) << fassung.ausgabe;
    auto const falsch = programm("--hlep", umgebung);
    EXPECT_EQ(falsch.status, 2);
    EXPECT_EQ(falsch.ausgabe, "");
    EXPECT_EQ(programm("--help >/dev/full", umgebung).status, 1);
    EXPECT_TRUE(std::filesystem::is_empty(ordner.pfad())) << "a lock, or more";
}

TEST(Programm, AValueOfADiagnosticModeMayLookLikeAnOption) {
    EXPECT_TRUE(programm("--scan --help").ausgabe.starts_with("{\"wurzel\":\"--help\""));
}
