#include "programm.h"

#include "werkzeug/warten.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace quillmate::fenster_echt {
namespace {

constexpr std::string_view beginnJederZeile = "[Quillmate] ";

std::vector<char*> zeigerVon(std::vector<std::string>& texte) {
    std::vector<char*> zeiger;
    for (auto& text : texte)
        zeiger.push_back(text.data());
    zeiger.push_back(nullptr);
    return zeiger;
}

/// The parent's number and the program's name, from /proc.
std::optional<std::pair<pid_t, std::string>> herkunft(std::string const& nummer) {
    std::ifstream datei{"/proc/" + nummer + "/stat"};
    std::string zeile;
    std::getline(datei, zeile);
    auto const ende = zeile.rfind(')'); // The name before it may hold anything.
    if (ende == std::string::npos || ende + 4 >= zeile.size())
        return std::nullopt;
    std::error_code fehler;
    auto const programm = std::filesystem::read_symlink("/proc/" + nummer + "/exe", fehler);
    return std::pair{static_cast<pid_t>(std::stol(zeile.substr(ende + 4))), programm.filename().string()};
}

} // namespace

Programm::Programm(std::string datei, std::vector<std::string> argumente, Umgebung const& umgebung) {
    argumente.insert(argumente.begin(), std::move(datei));
    std::vector<std::string> variablen;
    for (auto const& [name, wert] : umgebung)
        variablen.push_back(name + '=' + wert);
    auto const argumentzeiger = zeigerVon(argumente);
    auto const variablenzeiger = zeigerVon(variablen);
    std::array<int, 2> rohr{};
    if (::pipe2(rohr.data(), O_CLOEXEC) != 0)
        throw std::runtime_error{"pipe2"};
    int const nichts = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    pid_t const eltern = ::getpid();
    nummer_ = ::fork();
    if (nummer_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != eltern)
            ::_exit(1);
        ::dup2(nichts, STDIN_FILENO);
        ::dup2(nichts, STDOUT_FILENO);
        ::dup2(rohr[1], STDERR_FILENO);
        ::execve(argumentzeiger[0], argumentzeiger.data(), variablenzeiger.data());
        ::_exit(127);
    }
    ::close(nichts);
    ::close(rohr[1]);
    if (nummer_ < 0) {
        ::close(rohr[0]);
        throw std::runtime_error{"fork"};
    }
    rohr_ = rohr[0];
    ::fcntl(rohr_, F_SETFL, O_NONBLOCK);
    leser_ = std::thread{[this] {
        lesen();
    }};
}

Programm::~Programm() {
    if (laeuft())
        beenden(SIGTERM);
    if (!werkzeug::wartenBis([this] { return !laeuft(); }, std::chrono::seconds{10})) {
        beenden(SIGKILL);
        (void)werkzeug::wartenBis([this] { return !laeuft(); });
    }
    // Helpers hold the same standard error, so its end says that they have gone and write into no folder any more.
    leser_.join();
    ::close(rohr_);
}

void Programm::lesen() {
    pollfd warten{.fd = rohr_, .events = POLLIN, .revents = 0};
    constexpr int nachfragen = 200; // milliseconds
    constexpr int geduld = 20'000;  // milliseconds for the helpers of a program that has ended
    for (int gewartet = 0; gewartet < geduld;) {
        if (::poll(&warten, 1, nachfragen) == 0) {
            if (::kill(nummer_, 0) != 0)
                gewartet += nachfragen;
            continue;
        }
        std::lock_guard const schutz{sperre_};
        if (!abholen())
            return;
    }
}

bool Programm::abholen() const {
    std::array<char, 4096> stueck{};
    for (;;) {
        auto const n = ::read(rohr_, stueck.data(), stueck.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return n < 0 && errno == EAGAIN;
        ausgabe_.append(stueck.data(), static_cast<std::size_t>(n));
    }
}

std::vector<pid_t> Programm::kinder(std::string_view name) const {
    std::map<pid_t, std::pair<pid_t, std::string>> alle;
    std::error_code fehler;
    for (auto const& eintrag : std::filesystem::directory_iterator{"/proc", fehler}) {
        auto const text = eintrag.path().filename().string();
        if (!std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; }))
            continue;
        if (auto gefunden = herkunft(text))
            alle.emplace(static_cast<pid_t>(std::stol(text)), *std::move(gefunden));
    }
    std::vector<pid_t> treffer;
    for (auto const& [nummer, woher] : alle) {
        if (woher.second != name)
            continue;
        auto vorfahr = alle.find(woher.first);
        while (vorfahr != alle.end() && vorfahr->first != nummer_)
            vorfahr = alle.find(vorfahr->second.first);
        if (vorfahr != alle.end())
            treffer.push_back(nummer);
    }
    return treffer;
}

std::string Programm::fehlerausgabe() const {
    std::lock_guard const schutz{sperre_};
    abholen();
    return ausgabe_;
}

std::vector<std::string> Programm::zeilen() const {
    auto const text = fehlerausgabe();
    std::vector<std::string> ergebnis;
    for (std::size_t anfang = 0; anfang < text.size();) {
        auto const ende = text.find('\n', anfang);
        if (ende == std::string::npos)
            break; // still being written
        std::string_view const zeile{text.data() + anfang, ende - anfang};
        if (zeile.starts_with(beginnJederZeile))
            ergebnis.emplace_back(zeile.substr(beginnJederZeile.size()));
        anfang = ende + 1;
    }
    return ergebnis;
}

std::size_t Programm::anzahlZeilen(std::string_view beginn) const {
    auto const alle = zeilen();
    return static_cast<std::size_t>(
        std::ranges::count_if(alle, [&](auto const& zeile) { return zeile.starts_with(beginn); }));
}

bool Programm::hatZeile(std::string_view ganze) const {
    auto const alle = zeilen();
    return std::ranges::find(alle, ganze) != alle.end();
}

bool Programm::warteAufZeile(std::string_view beginn, std::chrono::seconds grenze) const {
    return werkzeug::wartenBis([&] { return anzahlZeilen(beginn) > 0; }, grenze);
}

bool Programm::laeuft() {
    if (ende_)
        return false;
    int status = 0;
    if (::waitpid(nummer_, &status, WNOHANG) == nummer_)
        ende_ = status;
    return !ende_;
}

std::optional<int> Programm::warteAufEnde(std::chrono::seconds grenze) {
    if (!werkzeug::wartenBis([this] { return !laeuft(); }, grenze) || !WIFEXITED(*ende_))
        return std::nullopt;
    return WEXITSTATUS(*ende_);
}

void Programm::beenden(int signal) {
    ::kill(nummer_, signal);
}

} // namespace quillmate::fenster_echt
