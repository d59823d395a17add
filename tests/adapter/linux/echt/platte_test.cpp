// A disk that is full, over its quota or read-only, and a process that is killed, at each system call with which the program
// keeps its small things. Afterwards the old content is there or the new one, the next write works, and nothing piles up.
#include "adapter/linux/einbaumarke.h"
#include "adapter/linux/schemahandler.h"
#include "adapter/linux/voreinstellungen_plist.h"
#include "texterkennung/zwischenspeicher.h"
#include "werkzeug/ordner_auf_zeit.h"
#include "werkzeug/systemstoerung.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

using namespace quillmate;
using werkzeug::Dauer;
using werkzeug::Stoerung;

namespace {

namespace fs = std::filesystem;

/// A thing that the program keeps, below a folder of the test's.
struct Sache {
    char const* name;
    std::function<void(std::string const& ordner, std::string const& wert)> schreiben;
    std::function<std::optional<std::string>(std::string const& ordner)> lesen;
    bool raeumtAuf; ///< What a killed writer has left is gone after the next write.
};

adapter::linux::Schemahandler handler(std::string const& ordner, std::string const& name) {
    return adapter::linux::Schemahandler{
        {.schema = "quillmate",
         .kennung = "de.tandemwerk.quillmate",
         .name = name,
         .programm = "/opt/quillmate"},
        {.daten = ordner + "/daten", .konfiguration = ordner + "/konfiguration"}};
}

std::vector<Sache> const& sachen() {
    static std::vector<Sache> const alle{
        {.name = "Voreinstellungen",
         .schreiben =
             [](std::string const& ordner, std::string const& wert) {
                 adapter::linux::VoreinstellungenPlist{ordner + "/v/voreinstellungen.plist"}.setzeText(
                     "a", wert);
             },
         .lesen =
             [](std::string const& ordner) {
                 return adapter::linux::VoreinstellungenPlist{ordner + "/v/voreinstellungen.plist"}.text("a");
             },
         .raeumtAuf = true},
        {.name = "Textspeicher",
         .schreiben =
             [](std::string const& ordner, std::string const& wert) {
                 Texterkennung::Zwischenspeicher{ordner + "/t"}.inZwischenspeicher("k", wert);
             },
         .lesen = [](std::string const& ordner) -> std::optional<std::string> {
             auto const eintrag = Texterkennung::Zwischenspeicher{ordner + "/t"}.ausZwischenspeicher("k");
             return eintrag ? eintrag->text : std::nullopt;
         },
         .raeumtAuf = false},
        {.name = "Einbaumarke",
         .schreiben =
             [](std::string const& ordner, std::string const& wert) {
                 adapter::linux::Markenplatz const platz{ordner + "/m", "/a/Quillmate.app"};
                 if (wert == "danach") // The end of the update before.
                     (void)platz.entfernen();
                 (void)platz.schreiben({.buendel = "/a/Quillmate.app", .neuesBuild = wert});
             },
         .lesen = [](std::string const& ordner) -> std::optional<std::string> {
             auto const marke = adapter::linux::Markenplatz{ordner + "/m", "/a/Quillmate.app"}.lesen();
             return marke ? std::optional{marke->neuesBuild} : std::nullopt;
         },
         .raeumtAuf = true},
        {.name = "Schemaeintrag",
         .schreiben = [](std::string const& ordner,
                         std::string const& wert) { (void)handler(ordner, wert).sicherstellen(); },
         .lesen = [](std::string const& ordner) -> std::optional<std::string> {
             auto const text =
                 werkzeug::inhaltVon(ordner + "/daten/applications/de.tandemwerk.quillmate.desktop");
             auto const stelle = text.find("Name=");
             if (stelle == std::string::npos || !text.ends_with("x-scheme-handler/quillmate;\n"))
                 return std::nullopt;
             return text.substr(stelle + 5, text.find('\n', stelle) - stelle - 5);
         },
         .raeumtAuf = false}};
    return alle;
}

struct Fall {
    char const* name;
    Stoerung art;
    int grund;
    Dauer dauer;
};

class Platte : public testing::TestWithParam<Fall> {
protected:
    /// True once the call to disturb is never reached.
    static bool gestoert(Sache const& sache, std::string const& ordner, int beimAufruf) {
        auto const kind = ::fork();
        if (kind == 0) {
            (void)!::freopen("/dev/null", "w", stderr); // A failure has its line in the log each time.
            werkzeug::stoere(GetParam().art, beimAufruf, GetParam().grund, GetParam().dauer);
            sache.schreiben(ordner, "neu");
            ::_exit(werkzeug::aufrufe() < beimAufruf ? 0 : 1);
        }
        int ausgang = 0;
        ::waitpid(kind, &ausgang, 0);
        return WIFEXITED(ausgang) && WEXITSTATUS(ausgang) == 0;
    }
    static std::size_t dateien(std::string const& ordner) {
        std::size_t anzahl = 0;
        for (auto const& eintrag : fs::recursive_directory_iterator{ordner})
            anzahl += eintrag.is_regular_file() ? 1U : 0U;
        return anzahl;
    }

    werkzeug::OrdnerAufZeit ordner;
};

} // namespace

TEST_P(Platte, LeavesTheOldOrTheNewWholeAndTheNextWriteWorks) {
    for (auto const& sache : sachen()) {
        int aufruf = 1;
        for (bool fertig = false; !fertig; ++aufruf) {
            ASSERT_LT(aufruf, 200);
            auto const wo = ordner.ordner(std::string{sache.name} + std::to_string(aufruf));
            auto const wann = std::string{sache.name} + ", call " + std::to_string(aufruf);
            sache.schreiben(wo, "alt");
            ASSERT_EQ(sache.lesen(wo), "alt") << wann;
            auto const vorher = dateien(wo);
            fertig = gestoert(sache, wo, aufruf);
            auto const danach = sache.lesen(wo);
            EXPECT_TRUE(danach == "alt" || danach == "neu") << wann << ": " << danach.value_or("nothing");
            // On a disk that takes nothing any more, nothing can be removed either.
            bool const raeumbar = GetParam().art == Stoerung::scheitern && GetParam().dauer == Dauer::einmal;
            if (raeumbar) {
                EXPECT_LE(dateien(wo), vorher) << wann << ": a rest stays";
            }
            sache.schreiben(wo, "danach");
            EXPECT_EQ(sache.lesen(wo), "danach") << wann;
            if (raeumbar || sache.raeumtAuf) {
                EXPECT_LE(dateien(wo), vorher) << wann << ": a rest stays for ever";
            }
            fs::remove_all(wo);
            if (HasFailure())
                return;
        }
        EXPECT_GT(aufruf, 3) << sache.name << ": the calls do not reach the test";
    }
}

TEST_P(Platte, WhereNothingWasNothingOrTheWholeIsThere) {
    for (auto const& sache : sachen())
        for (int aufruf = 1;; ++aufruf) {
            ASSERT_LT(aufruf, 200);
            auto const wo = ordner.ordner(std::string{sache.name} + std::to_string(aufruf));
            bool const fertig = gestoert(sache, wo, aufruf);
            auto const danach = sache.lesen(wo);
            EXPECT_TRUE(!danach || danach == "neu") << sache.name << aufruf << ": " << danach.value_or("");
            sache.schreiben(wo, "danach");
            EXPECT_EQ(sache.lesen(wo), "danach") << sache.name << aufruf;
            fs::remove_all(wo);
            if (fertig || HasFailure())
                break;
        }
}

INSTANTIATE_TEST_SUITE_P(
    Bei, Platte,
    testing::Values(
        Fall{"Tod", Stoerung::toeten, 0, Dauer::einmal},
        Fall{"vollerPlatte", Stoerung::scheitern, ENOSPC, Dauer::einmal},
        Fall{"vollBleibender", Stoerung::scheitern, ENOSPC, Dauer::vonDaAn},
        Fall{"erreichterGrenze", Stoerung::scheitern, EDQUOT, Dauer::vonDaAn},
        Fall{"schreibgeschuetzter", Stoerung::scheitern, EROFS, Dauer::vonDaAn},
        Fall{"Lesefehler", Stoerung::scheitern, EIO, Dauer::einmal}),
    [](testing::TestParamInfo<Fall> const& fall) { return std::string{fall.param.name}; });
