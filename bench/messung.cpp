#include "messung.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <stop_token>
#include <string_view>
#include <thread>
#include <utility>

extern "C" char** environ; // NOLINT: POSIX leaves its declaration to the program

namespace quillmate::bench {

namespace {

std::vector<Kennzahl>& angemeldete() {
    static std::vector<Kennzahl> liste;
    return liste;
}

Sekunden alsSekunden(timeval const& zeit) {
    return std::chrono::seconds{zeit.tv_sec} + std::chrono::microseconds{zeit.tv_usec};
}

std::string allesVon(int deskriptor) {
    std::string alles;
    std::array<char, 65536> puffer{};
    for (;;) {
        auto const n = ::read(deskriptor, puffer.data(), puffer.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return alles;
        alles.append(puffer.data(), static_cast<std::size_t>(n));
    }
}

/// A value in kB of /proc/PID/status, in bytes; 0 when it is not there.
std::size_t ausStatus(std::string const& status, std::string_view name) {
    auto const stelle = status.find(name);
    auto const zahl = stelle == std::string::npos ? stelle : status.find_first_of("0123456789", stelle);
    return zahl == std::string::npos ? 0 : std::stoul(status.substr(zahl)) * 1024;
}

std::string dateiinhalt(std::string const& pfad) {
    std::ifstream datei{pfad};
    return {std::istreambuf_iterator<char>{datei}, {}};
}

/// Keeps lauf.familienspeicher at the highest that is seen until `halt`.
void familieBeobachten(pid_t wurzel, Lauf& lauf, std::stop_token const& halt) {
    constexpr std::chrono::milliseconds takt{5};
    while (!halt.stop_requested()) {
        auto const eigenes = dateiinhalt(fmt::format("/proc/{}/status", wurzel));
        auto summe = ausStatus(eigenes, "RssAnon:") + ausStatus(eigenes, "RssFile:");
        std::size_t programm = 0;
        for (auto const kind : kinder(wurzel)) {
            auto const status = dateiinhalt(fmt::format("/proc/{}/status", kind));
            summe += ausStatus(status, "RssAnon:");
            programm = std::max(programm, ausStatus(status, "RssFile:"));
        }
        lauf.familienspeicher = std::max(lauf.familienspeicher, summe + programm);
        std::this_thread::sleep_for(takt);
    }
}

} // namespace

std::vector<pid_t> kinder(pid_t pid) {
    std::vector<pid_t> alle;
    std::error_code fehler;
    for (auto const& faden : std::filesystem::directory_iterator{fmt::format("/proc/{}/task", pid), fehler}) {
        std::ifstream datei{faden.path() / "children"};
        for (pid_t kind = 0; datei >> kind;)
            alle.push_back(kind);
    }
    return alle;
}

std::size_t hoechststand(pid_t pid) {
    return ausStatus(dateiinhalt(fmt::format("/proc/{}/status", pid)), "VmHWM:");
}

std::vector<Kennzahl> const& kennzahlen() {
    std::ranges::sort(angemeldete(), {}, &Kennzahl::name);
    return angemeldete();
}

Anmeldung::Anmeldung(Kennzahl kennzahl) {
    angemeldete().push_back(std::move(kennzahl));
}

Lauf ausfuehren(std::vector<std::string> const& befehl, Ausgabe ausgabe, Familie familie) {
    std::array<int, 2> rohr{-1, -1};
    if (ausgabe == Ausgabe::behalten && ::pipe2(rohr.data(), O_CLOEXEC) != 0)
        return {};
    std::vector<char*> argumente;
    argumente.reserve(befehl.size() + 1);
    for (auto const& teil : befehl)
        argumente.push_back(const_cast<char*>(teil.c_str())); // posix_spawn() does not write to them
    argumente.push_back(nullptr);

    posix_spawn_file_actions_t schritte;
    ::posix_spawn_file_actions_init(&schritte);
    ::posix_spawn_file_actions_addopen(&schritte, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (ausgabe == Ausgabe::behalten)
        ::posix_spawn_file_actions_adddup2(&schritte, rohr[1], STDOUT_FILENO);
    else
        ::posix_spawn_file_actions_addopen(&schritte, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);

    Lauf lauf;
    auto const beginn = std::chrono::steady_clock::now();
    pid_t kind = -1;
    int const fehler =
        ::posix_spawnp(&kind, argumente.front(), &schritte, nullptr, argumente.data(), environ);
    ::posix_spawn_file_actions_destroy(&schritte);
    if (rohr[1] >= 0)
        ::close(rohr[1]);
    if (fehler == 0) {
        std::jthread schau;
        if (familie == Familie::beobachten)
            schau = std::jthread{[&](std::stop_token const& halt) {
                familieBeobachten(kind, lauf, halt);
            }};
        if (rohr[0] >= 0)
            lauf.ausgabe = allesVon(rohr[0]);
        int stand = 0;
        rusage verbrauch{};
        while (::wait4(kind, &stand, 0, &verbrauch) < 0 && errno == EINTR) {
        }
        lauf.dauer = std::chrono::steady_clock::now() - beginn;
        lauf.benutzerzeit = alsSekunden(verbrauch.ru_utime);
        lauf.systemzeit = alsSekunden(verbrauch.ru_stime);
        lauf.hoechstspeicher = static_cast<std::size_t>(verbrauch.ru_maxrss) * 1024;
        lauf.gelungen = WIFEXITED(stand) && WEXITSTATUS(stand) == 0;
    }
    if (rohr[0] >= 0)
        ::close(rohr[0]);
    return lauf;
}

bool installiert(std::string const& programm) {
    auto const* const suchpfad = std::getenv("PATH");
    std::string_view rest = suchpfad != nullptr ? suchpfad : "";
    while (!rest.empty()) {
        auto const ende = std::min(rest.find(':'), rest.size());
        auto const kandidat = std::filesystem::path{rest.substr(0, ende)} / programm;
        if (::access(kandidat.c_str(), X_OK) == 0)
            return true;
        rest.remove_prefix(std::min(ende + 1, rest.size()));
    }
    hinweis(fmt::format("übersprungen: {} nicht installiert", programm));
    return false;
}

std::filesystem::path nachbarprogramm(std::string const& name) {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
}

std::vector<double> abwechselnd(std::size_t runden, std::vector<std::function<double()>> const& laeufe) {
    std::vector<std::vector<double>> werte(laeufe.size());
    for (std::size_t runde = 0; runde <= runden; ++runde)
        for (std::size_t i = 0; i < laeufe.size(); ++i)
            if (auto const wert = laeufe[i](); runde > 0)
                werte[i].push_back(wert);
    std::vector<double> mittlere;
    for (auto& liste : werte)
        mittlere.push_back(median(std::move(liste)));
    return mittlere;
}

double median(std::vector<double> werte) {
    if (werte.empty())
        throw std::invalid_argument{"median of nothing"};
    std::ranges::sort(werte);
    auto const mitte = werte.size() / 2;
    return werte.size() % 2 == 1 ? werte[mitte] : (werte[mitte - 1] + werte[mitte]) / 2;
}

std::string alsZeit(double sekunden) {
    return sekunden < 1 ? fmt::format("{:.1f} ms", sekunden * 1000) : fmt::format("{:.2f} s", sekunden);
}

void hinweis(std::string const& text) {
    fmt::print(stderr, "{}\n", text);
    std::fflush(stderr);
}

} // namespace quillmate::bench
