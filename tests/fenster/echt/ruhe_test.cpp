#include "echtes_fenster.h"
#include "werkzeug/warten.h"

#include <filesystem>
#include <fstream>

namespace quillmate::fenster_echt {
namespace {

using Ruhe = EchtesFenster;

/// How often the threads of a process have gone to sleep of their own accord, and so been woken before.
long eingeschlafen(pid_t nummer) {
    long summe = 0;
    std::error_code fehler;
    constexpr std::string_view feld = "voluntary_ctxt_switches:";
    for (auto const& faden :
         std::filesystem::directory_iterator{"/proc/" + std::to_string(nummer) + "/task", fehler}) {
        std::ifstream datei{faden.path() / "status"};
        for (std::string zeile; std::getline(datei, zeile);)
            if (zeile.starts_with(feld))
                summe += std::stol(zeile.substr(feld.size()));
    }
    return summe;
}

TEST_F(Ruhe, NothingOfTheProgramsOwnRunsWhileNobodyDoesAnything) {
    using Uhr = std::chrono::steady_clock;
    // What rang once a second would be heard five times; the engine's own timers ring every few seconds.
    constexpr std::chrono::seconds spanne{5};
    constexpr long hoechstens = 4;
    oeffne();
    auto beginn = Uhr::now();
    auto stand = eingeschlafen(programm->nummer());
    long meiste = 0;
    EXPECT_TRUE(werkzeug::wartenBis(
        [&] {
            auto const jetzt = eingeschlafen(programm->nummer());
            // The engine tidies up after a load, and a thread that ends takes its number along: a new span.
            if (jetzt - stand > hoechstens || jetzt < stand) {
                meiste = std::max(meiste, jetzt - stand);
                beginn = Uhr::now();
                stand = jetzt;
            }
            return Uhr::now() - beginn > spanne;
        },
        std::chrono::seconds{90}))
        << "no quiet span; " << meiste << " wake-ups between two looks";
    EXPECT_GT(stand, 0) << "nothing was counted";
}

} // namespace
} // namespace quillmate::fenster_echt
