// Does the program do anything of its own while nobody does anything? See README.md.

#include "messung.h"
#include "pruefstand.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>

namespace quillmate::bench {

namespace {

namespace fs = std::filesystem;

/// After the page is there, the engine tidies up for a while: its caches, its connection, its helpers.
constexpr std::chrono::seconds beruhigung{15};
constexpr std::chrono::seconds messzeit{20};
/// Once in ten seconds: no program can promise that a library's timer does not fall into the time of the measurement.
constexpr double hoechstensMehrJeSekunde = 0.1;
/// A round takes more than half a minute.
constexpr std::size_t hoechstensRunden = 3;

/// How often each thread of the process has gone to sleep of its own accord, by its number.
std::map<std::string, long> eingeschlafen(pid_t nummer) {
    std::map<std::string, long> alle;
    std::error_code fehler;
    for (auto const& faden : fs::directory_iterator{fmt::format("/proc/{}/task", nummer), fehler}) {
        std::ifstream datei{faden.path() / "status"};
        constexpr std::string_view feld = "voluntary_ctxt_switches:";
        for (std::string zeile; std::getline(datei, zeile);)
            if (zeile.starts_with(feld))
                alle[faden.path().filename()] = std::stol(zeile.substr(feld.size()));
    }
    if (alle.empty())
        throw std::runtime_error{"a program has ended"};
    return alle;
}

double unterschied(std::map<std::string, long> const& vorher, std::map<std::string, long> const& nachher) {
    long summe = 0;
    for (auto const& [faden, anzahl] : nachher) {
        auto const alt = vorher.find(faden);
        summe += alt == vorher.end() ? anzahl : anzahl - alt->second;
    }
    return static_cast<double>(summe);
}

std::vector<Zeile> messen(Umgebung const& umgebung) {
    if (!Pruefstand::moeglich())
        return {};
    std::array<std::vector<double>, 2> jeSekunde;
    for (std::size_t runde = 0; runde < std::min(umgebung.runden, hoechstensRunden); ++runde) {
        // A display for each, or the one's window would lie over the other's.
        Pruefstand standUnser{umgebung.arbeitsordner / "ruhe-unser"};
        Pruefstand::Fenster unser{standUnser, Fensterart::unser, Antwort::sofort};
        (void)unser.gemalt();
        Pruefstand standAllein{umgebung.arbeitsordner / "ruhe-allein"};
        Pruefstand::Fenster allein{standAllein, Fensterart::mitLadeseite, Antwort::sofort};
        (void)allein.gemalt();
        std::this_thread::sleep_for(beruhigung);
        std::array const vorher{eingeschlafen(unser.nummer()), eingeschlafen(allein.nummer())};
        std::this_thread::sleep_for(messzeit);
        std::array const nachher{eingeschlafen(unser.nummer()), eingeschlafen(allein.nummer())};
        for (std::size_t i = 0; i < jeSekunde.size(); ++i)
            jeSekunde.at(i).push_back(
                unterschied(vorher.at(i), nachher.at(i)) / static_cast<double>(messzeit.count()));
    }
    auto const unsere = median(jeSekunde[0]);
    auto const vergleich = median(jeSekunde[1]);
    return {
        {.kennzahl = "wake-ups per second, page loaded, nobody there",
         .unsere = fmt::format("{:.2f}", unsere),
         .vergleich = fmt::format("{:.2f} a bare window with a web view", vergleich),
         .verhaeltnis = std::nullopt,
         .ziel = std::nullopt},
        {.kennzahl = "… more than the peer's",
         .unsere = fmt::format("{:.2f}", unsere - vergleich),
         .vergleich = fmt::format("{}, fixed", hoechstensMehrJeSekunde),
         .verhaeltnis = (unsere - vergleich) / hoechstensMehrJeSekunde,
         .ziel = 1}};
}

Anmeldung const anmeldung{
    {.name = "ruhe",
     .frage = "Does the program do anything of its own while nobody does anything?",
     .messen = messen}};

} // namespace

} // namespace quillmate::bench
