#include "adapter/linux/buendel.h"
#include "adapter/linux/einbau_linux.h"
#include "adapter/linux/einbaumarke.h"
#include "werkzeug/probebuendel.h"
#include "werkzeug/systemstoerung.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace quillmate;
using adapter::linux::Einbauausgang;
using werkzeug::abbild;
using werkzeug::Stoerung;

namespace {

namespace fs = std::filesystem;

/// Version 50 in its place, 60 prepared beside it; the helper that exchanges them is disturbed.
class EinbauMitStoerung : public testing::Test {
protected:
    void aufstellen(std::string const& neuesProgramm) {
        fs::remove_all(ordner.pfad("Programme"));
        ordner.ordner("Programme");
        werkzeug::probebuendel(app, "50", "#!/bin/sh\nexit 0\n");
        fs::remove_all(ordner.pfad("marken"));
        adapter::linux::EinbauLinux einbau{marken};
        ASSERT_EQ(einbau.baustelle(app), neues);
        werkzeug::probebuendel(neues, "60", neuesProgramm);
        ASSERT_EQ(einbau.bereiten(app), std::nullopt);
        alt = abbild(app);
        neu = abbild(neues);
    }
    /// Exit code of the helper: 0 put in, 1 not, 2 taken back, 8 more when the call to disturb was never reached;
    /// 128 + signal when killed.
    int abschliessen(Stoerung stoerung, int beimAufruf) {
        auto const kind = ::fork();
        if (kind == 0) {
            werkzeug::stoere(stoerung, beimAufruf);
            auto const ausgang = adapter::linux::einbauAbschliessen(niemand, app, hilfen(), {.luecke = {}});
            auto const wert = ausgang == Einbauausgang::eingebaut        ? 0
                              : ausgang == Einbauausgang::nichtEingebaut ? 1
                                                                         : 2;
            ::_exit(wert + (werkzeug::aufrufe() < beimAufruf ? 8 : 0));
        }
        int ausgang = 0;
        ::waitpid(kind, &ausgang, 0);
        return WIFSIGNALED(ausgang) ? 128 + WTERMSIG(ausgang) : WEXITSTATUS(ausgang);
    }
    void stoereUeberall(Stoerung stoerung, std::string const& neuesProgramm, int ungestoert) {
        for (int aufruf = 1;; ++aufruf) {
            ASSERT_LT(aufruf, 1000);
            aufstellen(neuesProgramm);
            auto const ausgang = abschliessen(stoerung, aufruf);
            auto const wann = "call " + std::to_string(aufruf);
            auto const jetzt = abbild(app);
            EXPECT_TRUE(jetzt == alt || jetzt == neu) << wann << ": no whole bundle in its place";
            // The next start of whatever is there clears up, and never takes the bundle itself away.
            adapter::linux::EinbauLinux{marken}.bestaetigen(app);
            EXPECT_EQ(abbild(app), jetzt) << wann;
            bool const ungestoertGelaufen = ausgang >= 8 && ausgang < 128;
            if (stoerung == Stoerung::toeten || ungestoertGelaufen) {
                EXPECT_EQ(std::distance(fs::directory_iterator{ordner.pfad("Programme")}, {}), 1) << wann;
            }
            if (HasFailure())
                return;
            if (ungestoertGelaufen) {
                EXPECT_EQ(ausgang - 8, ungestoert);
                EXPECT_GT(aufruf, 5) << "hardly anything was disturbed: the calls do not reach the test";
                return;
            }
        }
    }

    adapter::linux::Einbauhilfen hilfen() const {
        return {
            .marken = marken,
            .zurueckgenommen = [](std::string const&) {},
            .einzelinstanz =
                [] {
                    return Deskriptor{::dup(STDERR_FILENO)};
                }};
    }
    /// A start without a helper that does not come up: ends with 7, or goes on as the old program, which ends with 0.
    int startDerNichtHochkommt() const {
        auto const kind = ::fork();
        if (kind == 0) {
            auto const probe = adapter::linux::selbstprobe(app, hilfen());
            ::_exit(7);
        }
        int ausgang = 0;
        ::waitpid(kind, &ausgang, 0);
        return WEXITSTATUS(ausgang);
    }

    static constexpr pid_t niemand = 1'000'000'000; ///< A parent that is not ours counts as ended.
    werkzeug::OrdnerAufZeit ordner;
    std::string const app{ordner.pfad("Programme/Quillmate.app")};
    std::string const neues{ordner.pfad("Programme/.Quillmate.app.neu")};
    std::string const marken{ordner.pfad("marken")};
    /// A program that comes up.
    std::string const kommtHoch{"#!/bin/sh\nrm '" + adapter::linux::Markenplatz{marken, app}.datei() + "'\n"};
    std::map<std::string, std::string> alt;
    std::map<std::string, std::string> neu;
};

} // namespace

TEST_F(EinbauMitStoerung, KilledAtAnyStepLeavesAWholeBundleInItsPlace) {
    stoereUeberall(Stoerung::toeten, kommtHoch, 0);
}

TEST_F(EinbauMitStoerung, KilledAtAnyStepOfTakingBackLeavesAWholeBundleInItsPlace) {
    stoereUeberall(Stoerung::toeten, "#!/bin/sh\nexit 1\n", 2);
}

TEST_F(EinbauMitStoerung, AFailureAtAnyStepLeavesAWholeBundleInItsPlace) {
    stoereUeberall(Stoerung::scheitern, kommtHoch, 0);
}

TEST_F(EinbauMitStoerung, AFailureAtAnyStepOfTakingBackLeavesAWholeBundleInItsPlace) {
    stoereUeberall(Stoerung::scheitern, "#!/bin/sh\nexit 1\n", 2);
}

TEST_F(EinbauMitStoerung, KilledAtAnyStepAVersionThatNeverComesUpIsGoneAfterItsSecondStart) {
    bool zurueckgenommen = false;
    for (int aufruf = 1;; ++aufruf) {
        ASSERT_LT(aufruf, 1000);
        aufstellen("#!/bin/sh\nexit 1\n");
        auto const ausgang = abschliessen(Stoerung::toeten, aufruf);
        if (ausgang < 128)
            break;
        bool const neuesDa = abbild(app) == neu;
        // The first one takes it back where the helper had already found that it does not start.
        auto const erster = startDerNichtHochkommt();
        auto const zweiter = startDerNichtHochkommt();
        EXPECT_EQ(erster == 0 || zweiter == 0, neuesDa) << aufruf;
        EXPECT_EQ(abbild(app), alt) << aufruf;
        zurueckgenommen |= neuesDa;
        if (HasFailure())
            return;
    }
    EXPECT_TRUE(zurueckgenommen) << "the helper was never killed in between";
}

TEST_F(EinbauMitStoerung, KilledOrFailingAtAnyStepAConfirmedUpdateIsNotLost) {
    ::prctl(PR_SET_CHILD_SUBREAPER, 1); // Versions that a killed helper has started are waited for.
    auto const zeichen = ordner.pfad("hochgekommen");
    int bestaetigte = 0;
    for (auto const art : {Stoerung::toeten, Stoerung::scheitern})
        for (int aufruf = 1;; ++aufruf) {
            ASSERT_LT(aufruf, 1000);
            fs::remove(zeichen);
            aufstellen(
                kommtHoch + "[ -e '" + adapter::linux::Markenplatz{marken, app}.datei() + "' ] || : > '" +
                zeichen + "'\n");
            auto const ausgang = abschliessen(art, aufruf);
            while (::waitpid(-1, nullptr, 0) > 0) {
            }
            if (fs::exists(zeichen)) {
                ++bestaetigte;
                EXPECT_EQ(abbild(app), neu) << aufruf;
                // Nor do starts take it back that end before they have come up.
                (void)startDerNichtHochkommt();
                (void)startDerNichtHochkommt();
                EXPECT_EQ(abbild(app), neu) << aufruf;
            }
            if (HasFailure())
                return;
            if (ausgang >= 8 && ausgang < 128)
                break;
        }
    EXPECT_GT(bestaetigte, 2) << "hardly ever did a version come up before the helper was disturbed";
}
