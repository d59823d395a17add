#include "adapter/linux/buendel.h"
#include "adapter/linux/dateiwerk_linux.h"
#include "adapter/linux/voreinstellungen_plist.h"
#include "umzug/umzug.h"
#include "werkzeug/probebuendel.h"
#include "werkzeug/systemstoerung.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

using namespace quillmate;
using werkzeug::abbild;
using werkzeug::Stoerung;

namespace {

namespace fs = std::filesystem;

class BuendelkundeAn final : public ports::Buendelkunde {
public:
    explicit BuendelkundeAn(std::string pfad)
        : laufendes_(std::move(pfad)) {}
    std::string laufend() override { return laufendes_; }
    std::optional<ports::Buendel> lesen(std::string const& pfad) override {
        return adapter::linux::buendelAn(pfad);
    }
    std::optional<std::string> originalPfad(std::string const&) override { return std::nullopt; }
    bool mitTeamSigniert(std::string const&) override { return false; }

private:
    std::string const laufendes_;
};

class StummeDialoge final : public ports::Dialoge {
public:
    void fragen(ports::Programmfenster&, ports::Frage const&, std::function<void(ports::Antwort)>) override {}
    ports::Antwort fragenUndWarten(ports::Frage const&) override { return {}; }
    void eingeben(
        ports::Programmfenster&, ports::Frage const&, std::string const&,
        std::function<void(std::optional<std::string>)>) override {}
    void zugang(
        ports::Programmfenster&, ports::Frage const&,
        std::function<void(std::optional<ports::Zugangsdaten>)> antwort) override {
        antwort(std::nullopt);
    }
    void dateienWaehlen(
        ports::Dateiwahl const&, std::function<void(std::optional<std::vector<std::string>>)>) override {}
};

class Nichts final : public ports::Menueeintrag, public ports::Neustart, public ports::Hauptschleife {
public:
    void eintragen(ports::Buendel const&) override {}
    void vorbereiten(ports::Buendel const&, std::string const&) override {}
    void spaeter(Arbeit) override {}
    void nach(std::chrono::milliseconds, Arbeit) override {}
    void beenden() override {}
};

/// A home folder with a bundle in Downloads.
class UmzugMitStoerung : public testing::Test {
protected:
    UmzugMitStoerung() {
        werkzeug::probebuendel(muster, "50");
        werkzeug::probebuendel(altesMuster, "49");
    }

    void aufstellen(bool mitAltem) {
        fs::remove_all(heim);
        fs::create_directories(heim + "/Downloads");
        fs::create_directories(heim + "/.local/share");
        fs::copy(muster, original, kopie);
        if (mitAltem) {
            fs::create_directories(heim + "/Applications");
            fs::copy(altesMuster, ziel, kopie);
        }
    }

    /// The move in a process of its own. Its exit code: 0 moved, 1 not moved, 128 + signal.
    int umziehen(std::string const& von, Stoerung stoerung, int beimAufruf) {
        auto const kind = ::fork();
        if (kind == 0) {
            ::setenv("HOME", heim.c_str(), 1);
            ::setenv("XDG_DATA_HOME", (heim + "/.local/share").c_str(), 1);
            ::setenv("GIO_USE_VFS", "local", 1);
            BuendelkundeAn kunde{von};
            adapter::linux::DateiwerkLinux werk;
            adapter::linux::VoreinstellungenPlist voreinstellungen{heim + "/.config/voreinstellungen.plist"};
            StummeDialoge dialoge;
            Nichts nichts;
            Umzug::Umzieher umzieher{
                {.buendelkunde = kunde,
                 .dateiwerk = werk,
                 .dialoge = dialoge,
                 .voreinstellungen = voreinstellungen,
                 .menueeintrag = nichts,
                 .neustart = nichts,
                 .hauptschleife = nichts},
                {.downloads = heim + "/Downloads", .zuhause = heim, .programme = heim + "/gibt es nicht"}};
            werkzeug::stoere(stoerung, beimAufruf);
            bool const umgezogen = umzieher.ausfuehren(umzieher.lage());
            ::_exit((umgezogen ? 0 : 1) + (werkzeug::aufrufe() < beimAufruf ? 2 : 0));
        }
        int ausgang = 0;
        ::waitpid(kind, &ausgang, 0);
        return WIFSIGNALED(ausgang) ? 128 + WTERMSIG(ausgang) : WEXITSTATUS(ausgang);
    }

    /// Each place holds a whole bundle or nothing, and one of them holds the new one.
    void pruefeGanzes(std::string const& wann) {
        auto const neu = abbild(muster);
        auto const unten = abbild(original);
        auto const oben = abbild(ziel);
        EXPECT_TRUE(unten == neu || !fs::exists(original)) << wann << ": half a bundle in Downloads";
        EXPECT_TRUE(oben == neu || oben == abbild(altesMuster) || !fs::exists(ziel))
            << wann << ": half a bundle in Applications";
        EXPECT_TRUE(unten == neu || oben == neu) << wann << ": no whole bundle is left";
        if (fs::exists(heim + "/Applications"))
            for (auto const& eintrag : fs::directory_iterator{heim + "/Applications"}) {
                auto const name = eintrag.path().filename().string();
                EXPECT_TRUE(name == "Quillmate.app" || name == ".Quillmate.app.umzug")
                    << wann << ": " << name;
            }
    }

    /// What the user does after a crash: starts the program again, which moves itself.
    void pruefeNeuenVersuch(std::string const& wann) {
        auto const neu = abbild(muster);
        if (fs::exists(original)) {
            EXPECT_EQ(umziehen(original, Stoerung::keine, 0), 0) << wann;
        }
        EXPECT_EQ(abbild(ziel), neu) << wann;
        EXPECT_FALSE(fs::exists(original)) << wann;
        EXPECT_FALSE(fs::exists(heim + "/Applications/.Quillmate.app.umzug")) << wann;
    }

    void stoereUeberall(Stoerung stoerung, bool mitAltem) {
        for (int aufruf = 1;; ++aufruf) {
            ASSERT_LT(aufruf, 1000) << "the move never ends undisturbed";
            aufstellen(mitAltem);
            auto const ausgang = umziehen(original, stoerung, aufruf);
            auto const wann = "call " + std::to_string(aufruf);
            pruefeGanzes(wann);
            if (stoerung == Stoerung::scheitern && ausgang == 1) {
                EXPECT_EQ(abbild(original), abbild(muster))
                    << wann << ": a failed move took the original away";
            }
            pruefeNeuenVersuch(wann);
            if (HasFailure())
                return;
            if (ausgang == 2) { // moved, without having come to the call to be disturbed
                EXPECT_GT(aufruf, 30) << "hardly anything was disturbed: the calls do not reach the test";
                return;
            }
        }
    }

    static constexpr auto kopie = fs::copy_options::recursive | fs::copy_options::copy_symlinks;
    werkzeug::OrdnerAufZeit ordner;
    std::string const muster{ordner.pfad("Muster.app")};
    std::string const altesMuster{ordner.pfad("Altes Muster.app")};
    std::string const heim{ordner.pfad("heim ä")};
    std::string const original{heim + "/Downloads/Quillmate.app"};
    std::string const ziel{heim + "/Applications/Quillmate.app"};
};

} // namespace

TEST_F(UmzugMitStoerung, UndisturbedMovesTheWholeBundleAndTrashesTheOldOne) {
    aufstellen(false);
    EXPECT_EQ(umziehen(original, Stoerung::keine, 0), 0);
    EXPECT_EQ(abbild(ziel), abbild(muster));
    EXPECT_FALSE(fs::exists(original));
    EXPECT_EQ(abbild(heim + "/.local/share/Trash/files/Quillmate.app"), abbild(muster));
}

TEST_F(UmzugMitStoerung, AnOlderInstalledCopyGoesIntoTheTrash) {
    aufstellen(true);
    EXPECT_EQ(umziehen(original, Stoerung::keine, 0), 0);
    EXPECT_EQ(abbild(ziel), abbild(muster));
    EXPECT_EQ(abbild(heim + "/.local/share/Trash/files/Quillmate.app"), abbild(altesMuster));
}

TEST_F(UmzugMitStoerung, KilledAtAnyStepLeavesAWholeBundleAndTheNextStartFinishesTheMove) {
    stoereUeberall(Stoerung::toeten, false);
}

TEST_F(UmzugMitStoerung, KilledAtAnyStepOverAnOlderCopyLeavesAWholeBundle) {
    stoereUeberall(Stoerung::toeten, true);
}

TEST_F(UmzugMitStoerung, AFullDiskAtAnyStepLeavesAWholeBundleAndTheNextStartFinishesTheMove) {
    stoereUeberall(Stoerung::scheitern, false);
}

TEST_F(UmzugMitStoerung, AFullDiskAtAnyStepOverAnOlderCopyLeavesAWholeBundle) {
    stoereUeberall(Stoerung::scheitern, true);
}
