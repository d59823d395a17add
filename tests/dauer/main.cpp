// quillmate-dauer: drives the built program for as long as one likes, does to it what a bad day does, and compares
// after each step what is at the service with what must be there.
//
//   leitung     between program and service: faults and records; the page that drives the program
//   bestand     the user's files as they must be
//   buch        what the service must have, may have, must not get again
//   prozesse    what /proc says
//   welt        home, display, service, program
//   fahrt       the series of steps, and the look at everything after each; schritte: what they do
#include "fahrt.h"

#include <fmt/format.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <atomic>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <random>
#include <span>
#include <string_view>

namespace {

using namespace quillmate::dauer;

constexpr int endeGut = 0;
constexpr int endeVerloren = 1;
constexpr int endeAufruf = 2;

std::atomic<bool> unterbrochen{false};

struct Argumente {
    double minuten{2};
    std::uint64_t saat{0};
    bool behalten{false};
};

template<class Zahl>
bool lies(std::string_view text, Zahl& ziel) {
    auto const [ende, fehler] = std::from_chars(text.data(), text.data() + text.size(), ziel);
    return fehler == std::errc{} && ende == text.data() + text.size();
}

std::optional<Argumente> argumenteAus(std::span<char* const> worte) {
    Argumente ergebnis;
    ergebnis.saat = std::random_device{}() % 1'000'000;
    for (std::size_t i = 1; i < worte.size(); ++i) {
        std::string_view const wort = worte[i];
        if (wort == "--behalten") {
            ergebnis.behalten = true;
            continue;
        }
        if (i + 1 == worte.size())
            return std::nullopt;
        std::string_view const wert = worte[++i];
        bool const gut = (wort == "--minuten" && lies(wert, ergebnis.minuten) && ergebnis.minuten > 0) ||
                         (wort == "--saat" && lies(wert, ergebnis.saat));
        if (!gut)
            return std::nullopt;
    }
    return ergebnis;
}

int fahre(Argumente const& argumente) {
    auto vorlage = (std::filesystem::temp_directory_path() / "quillmate-dauer-XXXXXX").string();
    if (::mkdtemp(vorlage.data()) == nullptr) {
        fmt::print(stderr, "Kein Platz in {}\n", std::filesystem::temp_directory_path().string());
        return endeVerloren;
    }
    fmt::print("Dauerlauf: {} Minuten, SAAT={}, {}\n", argumente.minuten, argumente.saat, vorlage);
    std::fflush(stdout);
    auto const beginn = std::chrono::steady_clock::now();
    auto const minuten = [&] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - beginn).count() / 60;
    };
    bool const lang = argumente.minuten >= 20;
    std::vector<std::string> klagen;
    {
        Welt welt{
            {.bau = QUILLMATE_BAU, .arbeit = vorlage}, fmt::format("{}-{}", argumente.saat, ::getpid())};
        Fahrt fahrt{
            welt,
            argumente.saat,
            {.dateien = lang ? 3000 : 200,
             .haltHoechstens = lang ? 20 : 3,
             .zuwachs = lang ? 40 : 12,
             .bilder = lang}};
        try {
            fahrt.vorbereiten();
            fahrt.nachlese();
            while (minuten() < argumente.minuten && !unterbrochen)
                fahrt.schritt();
            fahrt.abschluss();
        } catch (std::exception const& fehler) {
            welt.klage(fmt::format("the run broke off: {}", fehler.what()));
        }
        fmt::print("\n{:.1f} Minuten, {} Schritte, SAAT={}\n", minuten(), fahrt.schritte(), argumente.saat);
        for (auto const& [was, wieoft] : welt.gezaehlt)
            fmt::print("  {:>6}  {}\n", wieoft, was);
        fmt::print(
            "  {:>6}  Dateien der Nutzerin\n  {:>6}  Belege beim Dienst\n  {:>6}  Sendungen\n",
            welt.bestand.dateien().size(), welt.buch.belege(), welt.buch.sendungen());
        klagen = welt.klagen();
    }
    fmt::print("\nVerloren oder falsch: {}\n", klagen.empty() ? "nichts" : std::to_string(klagen.size()));
    for (auto const& klage : klagen)
        fmt::print("  {}\n", klage.substr(0, 400));
    if (argumente.behalten)
        fmt::print("Liegt noch da: {}\n", vorlage);
    else {
        std::error_code fehler;
        std::filesystem::remove_all(vorlage, fehler);
    }
    return klagen.empty() ? endeGut : endeVerloren;
}

} // namespace

int main(int argc, char** argv) {
    auto const argumente = argumenteAus({argv, static_cast<std::size_t>(argc)});
    if (!argumente) {
        fmt::print(stderr, "Aufruf: quillmate-dauer [--minuten N] [--saat N] [--behalten]\n");
        return endeAufruf;
    }
    std::signal(SIGPIPE, SIG_IGN); // The line lives in this process.
    // Once for the end after the step that runs, twice for now.
    for (int const signal : {SIGINT, SIGTERM})
        std::signal(signal, [](int) {
            if (unterbrochen.exchange(true))
                ::_exit(endeVerloren);
        });
    // The drives that come and go are nobody else's, and go with this process.
    if (::geteuid() == 0 && ::unshare(CLONE_NEWNS) == 0)
        (void)::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
    return fahre(*argumente);
}
