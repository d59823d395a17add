// The terminal scan as a process, against a service under the test's control.
#include "attrappen/http_attrappe.h"
#include "attrappen/ordner_auf_zeit.h"
#include "attrappen/warten.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

using namespace quillmate::attrappen;

namespace {

class SuchlaufProzess : public testing::Test {
protected:
    void starte(std::string const& server) {
        kind = ::fork();
        if (kind != 0)
            return;
        ::setenv("HOME", heim.pfad().c_str(), 1);
        for (auto const* const name : {"XDG_CONFIG_HOME", "XDG_CACHE_HOME"})
            ::unsetenv(name);
        int const datei = ::open(heim.pfad("ausgabe").c_str(), O_WRONLY | O_CREAT, 0600);
        ::dup2(datei, STDOUT_FILENO);
        ::dup2(datei, STDERR_FILENO);
        ::execl(
            QUILLMATE_SUCHLAUF, "quillmate-suchlauf", "--server", server.c_str(), "--client", "1", "--token",
            "streng-geheim", nullptr);
        ::_exit(127);
    }
    /// Exit status, or nothing when the process does not end in time.
    std::optional<int> ausgang() {
        int status = 0;
        if (!wartenBis([&] { return ::waitpid(kind, &status, WNOHANG) == kind; })) {
            ::kill(kind, SIGKILL);
            ::waitpid(kind, &status, 0);
            return std::nullopt;
        }
        return WIFEXITED(status) ? std::optional{WEXITSTATUS(status)} : std::nullopt;
    }

    OrdnerAufZeit heim;
    pid_t kind{-1};
};

} // namespace

TEST_F(SuchlaufProzess, TellsTheSummaryAndNeverTheToken) {
    heim.datei("Desktop/a.txt");
    HttpAttrappe server{[](HttpAnfrage const&) {
        return HttpAntwort{.koerper = "{}"};
    }};
    starte(server.adresse());
    EXPECT_EQ(ausgang(), 0);
    auto const text = inhaltVon(heim.pfad("ausgabe"));
    EXPECT_NE(text.find("Geprüfte Dateien: 0"), std::string::npos) << text;
    EXPECT_EQ(text.find("streng-geheim"), std::string::npos) << text;
}

TEST_F(SuchlaufProzess, OneInterruptStopsCleanlyAndASecondEndsACallThatHangs) {
    heim.datei("Desktop/a.pdf"); // an empty document has no text and is sent
    HttpAttrappe server{[](HttpAnfrage const& anfrage) {
        return anfrage.pfad.ends_with("/upload") ? HttpAntwort{.haengen = true}
                                                 : HttpAntwort{.koerper = "{}"};
    }};
    starte(server.adresse());
    ASSERT_TRUE(wartenBis([&] { return !server.anfragenAn("/upload").empty(); }));
    ::kill(kind, SIGINT);
    ASSERT_TRUE(
        wartenBis([&] { return inhaltVon(heim.pfad("ausgabe")).find("angehalten …") != std::string::npos; }));
    ::kill(kind, SIGINT);
    EXPECT_EQ(ausgang(), 130);
}

TEST_F(SuchlaufProzess, AKillAtAnyMomentLeavesNoHalfWrittenCacheEntry) {
    for (int i = 0; i < 30; ++i)
        heim.datei("Desktop/" + std::to_string(i) + ".pdf", "kein PDF");
    HttpAttrappe server{[](HttpAnfrage const&) {
        return HttpAntwort{.koerper = "{}"};
    }};
    for (int versuch = 0; versuch < 5; ++versuch) {
        starte(server.adresse());
        auto const bisher = server.anfragen().size();
        ASSERT_TRUE(wartenBis(
            [&] { return server.anfragen().size() > bisher + static_cast<std::size_t>(versuch) * 3; }));
        ::kill(kind, SIGTERM);
        ::kill(kind, SIGKILL);
        int status = 0;
        ::waitpid(kind, &status, 0);
        std::error_code fehler;
        for (auto const& eintrag :
             std::filesystem::directory_iterator{heim.pfad(".cache/de.tandemwerk.quillmate/texte"), fehler})
            if (eintrag.path().extension() == ".txt") {
                EXPECT_EQ(eintrag.file_size(), 0U); // these files have no text
            }
    }
}
