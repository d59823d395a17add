// How much memory does a whole scan take at its peak, and how much more with 100,000 files? See README.md.

#include "grundlage/pruefsumme.h"
#include "messung.h"
#include "scanheim.h"
#include "senke.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace quillmate::bench {

namespace {

namespace fs = std::filesystem;

constexpr double MB = 1e6;
constexpr double erlaubt = 150 * MB;
constexpr double erlaubtesWachstum = 60 * MB;
constexpr std::size_t hoechstensRunden = 3;
/// A scan takes at most 25,000 files of each place; these four places are scanned without being asked for.
constexpr std::array<std::string_view, 4> orte{
    "Desktop", "Documents", "Downloads", "Library/Mobile Documents/com~apple~CloudDocs"};
constexpr std::size_t jeOrt = 25'000;

double verbrauch(Scanheim const& heim, Senke const& senke) {
    // Without the cache that the last scan left, everything is read anew.
    fs::remove_all(heim.pfad() / ".cache");
    auto const lauf = heim.suchlauf(senke.zugang(), "quillmate-suchlauf", Familie::beobachten);
    return static_cast<double>(lauf.familienspeicher);
}

/// Fills the four places up with empty files; returns the service's answer that it has seen all of them.
std::string vieleAnlegen(fs::path const& heim) {
    constexpr std::array<std::string_view, 5> namen{
        "Rechnung", "Kontoauszug Geschaeftskonto", "Scan", "Lieferschein", "Quittung Bewirtung"};
    auto const leer = hexadezimal(sha256(""));
    std::string pfade;
    std::string hashes;
    for (auto const ort : orte) {
        std::size_t nummer = 0;
        if (fs::is_directory(heim / ort))
            nummer = static_cast<std::size_t>(
                std::ranges::count_if(fs::recursive_directory_iterator{heim / ort}, [](auto const& e) {
                    return e.is_regular_file();
                }));
        for (; nummer < jeOrt; ++nummer) {
            auto const ordner = heim / ort / fmt::format("Buchhaltung {}", 1990 + nummer / 1000);
            if (nummer % 1000 == 0 || !fs::exists(ordner))
                fs::create_directories(ordner);
            auto const pfad = ordner / fmt::format("{} 2024-{:05}.pdf", namen[nummer % namen.size()], nummer);
            int const deskriptor = ::open(pfad.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
            if (deskriptor < 0)
                throw std::system_error{errno, std::generic_category(), pfad};
            ::close(deskriptor);
            auto const* const komma = pfade.empty() ? "" : ",";
            pfade += fmt::format("{}\"{}\"", komma, pfad.string());
            hashes += fmt::format("{}\"{}\":\"{}\"", komma, pfad.string(), leer);
        }
    }
    return fmt::format(R"({{"paths":[{}],"path_hashes":{{{}}}}})", pfade, hashes);
}

Zeile zeile(std::string kennzahl, double unsere, double grenze) {
    return {
        .kennzahl = std::move(kennzahl),
        .unsere = fmt::format("{:.1f} MB", unsere / MB),
        .vergleich = fmt::format("{:.0f} MB, fixed", grenze / MB),
        .verhaeltnis = unsere / grenze,
        .ziel = 1};
}

std::vector<Zeile> messen(Umgebung const& umgebung) {
    if (!fs::exists(nachbarprogramm("quillmate-suchlauf"))) {
        hinweis("  übersprungen: quillmate-suchlauf ist nicht gebaut");
        return {};
    }
    ZweiProzessoren const zwei;
    Scanheim const kleines{umgebung, "klein"};
    Scanheim const grosses{umgebung, "gross"};
    hinweis("  legt 100.000 Dateien an ...");
    Senke const leere;
    Senke const volle{vieleAnlegen(grosses.pfad())};
    std::vector<double> klein;
    std::vector<double> wachstum;
    auto const runden = std::min(umgebung.runden, hoechstensRunden);
    for (std::size_t runde = 1; runde <= runden; ++runde) {
        hinweis(fmt::format("  Runde {} von {} ...", runde, runden));
        klein.push_back(verbrauch(kleines, leere));
        wachstum.push_back(verbrauch(grosses, volle) - klein.back());
    }
    return {
        zeile("peak memory of a full scan, two readers", median(klein), erlaubt),
        zeile("growth of it with 100,000 files, all seen", median(wachstum), erlaubtesWachstum)};
}

Anmeldung const anmeldung{
    {.name = "speicher",
     .frage = "How much memory does a whole scan take at its peak, and how much more with 100,000 files?",
     .messen = messen}};

} // namespace

} // namespace quillmate::bench
