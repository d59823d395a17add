#include "adapter/linux/buendel.h"
#include "aktualisierung/werkbank.h"
#include "werkzeug/http_attrappe.h"
#include "werkzeug/warten.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace quillmate;
using werkzeug::HttpAnfrage;
using werkzeug::HttpAntwort;

namespace {

namespace fs = std::filesystem;

/// A bundle with a real program in a home of its own, and a server that offers the next version of it.
class Update : public testing::Test {
protected:
    Update() {
        auto const info = "<key>SUFeedURL</key><string>" + server.adresse() +
                          "/appcast.xml</string><key>SUPublicEDKey</key><string>" + h.eins.oeffentlich() +
                          "</string>";
        werkzeug::probebuendel(app, "50", "", info);
        fs::remove(app + "/Contents/Linux/quillmate");
        fs::copy_file(PROBEPROGRAMM, app + "/Contents/Linux/quillmate");
        neueInfo = werkzeug::infoPlist("60", "de.tandemwerk.quillmate", info);
        veroeffentliche({});
    }
    /// Version 60 with the same program and these entries more.
    void veroeffentliche(std::vector<werkzeug::Eintrag> weitere) {
        auto eintraege = werkzeug::buendeleintraege("60");
        eintraege[1].inhalt = neueInfo;
        eintraege[2].inhalt = werkzeug::inhaltVon(PROBEPROGRAMM);
        eintraege.insert(eintraege.end(), weitere.begin(), weitere.end());
        h.setzeArchiv(werkzeug::archivAus(eintraege));
        h.liste.eintraege[0].adresse = server.adresse() + "/archiv";
        h.liste.gueltigBis = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()) +
                             std::chrono::hours{24};
        appcast = h.appcast();
    }
    /// Starts the program and waits until it and everything that follows from it is over.
    std::vector<std::string> laufeBis(std::string const& letzteZeile) {
        auto const kind = ::fork();
        if (kind == 0) {
            ::setenv("HOME", ordner.pfad("heim").c_str(), 1);
            ::setenv("XDG_CONFIG_HOME", ordner.pfad("heim/.config").c_str(), 1);
            ::setenv("XDG_STATE_HOME", ordner.ordner("heim/zustand").c_str(), 1);
            ::setenv("PROBE_LOG", logdatei.c_str(), 1);
            ::unsetenv("LANGUAGE"); // None of the later starts may have got ours.
            auto const programm = app + "/Contents/Linux/quillmate";
            ::execl(programm.c_str(), programm.c_str(), nullptr);
            ::_exit(127);
        }
        int ausgang = -1;
        ::waitpid(kind, &ausgang, 0);
        EXPECT_EQ(ausgang, 0);
        EXPECT_TRUE(werkzeug::wartenBis(
            [&] {
                auto const alle = zeilen();
                return !alle.empty() && alle.back() == letzteZeile && daneben() == 0;
            },
            std::chrono::seconds{60}))
            << werkzeug::inhaltVon(logdatei);
        return zeilen();
    }
    std::vector<std::string> zeilen() const {
        std::vector<std::string> alle;
        std::istringstream strom{werkzeug::inhaltVon(logdatei)};
        for (std::string zeile; std::getline(strom, zeile);)
            alle.push_back(zeile);
        return alle;
    }
    std::ptrdiff_t daneben() const {
        std::error_code fehler;
        return std::distance(fs::directory_iterator{fs::path{app}.parent_path(), fehler}, {}) - 1;
    }

    werkzeug::OrdnerAufZeit ordner;
    werkzeug::Herausgeber h;
    std::string appcast;
    std::string neueInfo;
    werkzeug::HttpAttrappe server{[this](HttpAnfrage const& anfrage) -> HttpAntwort {
        return {.koerper = anfrage.pfad == "/appcast.xml" ? appcast : h.archiv};
    }};
    std::string const logdatei{ordner.pfad("log")};
    std::string const app{ordner.ordner("Programme ä") + "/Quillmate.app"};
};

} // namespace

TEST_F(Update, FromOneVersionToTheNextWithTheProgramRunning) {
    EXPECT_THAT(
        laufeBis("ende 60"), testing::ElementsAre(
                                 "start 50", "ende 50", "start 60", "Quillmate wurde aktualisiert",
                                 "Quillmate ist aktuell", "ende 60"));
    EXPECT_EQ(adapter::linux::buendelAn(app)->buildnummer, "60");
    EXPECT_EQ(werkzeug::inhaltVon(app + "/Contents/Resources/Größe.txt"), "Fassung 60");
}

TEST_F(Update, ToAVersionThatDoesNotStartIsTakenBackAndTold) {
    auto const vorher = werkzeug::abbild(app);
    veroeffentliche({{.name = "Quillmate.app/Contents/Resources/kaputt", .inhalt = "x"}});
    auto const alle = laufeBis("ende 50");
    // The old version, back again, tells what happened; as its window here always installs, that is its end.
    EXPECT_THAT(
        std::vector(alle.begin(), alle.begin() + 4),
        testing::ElementsAre("start 50", "ende 50", "start 60 kaputt", "start 50"));
    EXPECT_THAT(alle, testing::Contains("Die neue Fassung ließ sich nicht starten"));
    EXPECT_EQ(werkzeug::abbild(app), vorher);
}
