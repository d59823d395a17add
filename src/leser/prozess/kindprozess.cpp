#include "kindprozess.h"

#include "leser/protokoll/sanitizer.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

namespace quillmate::leser::prozess {

namespace {

constexpr int wegenProzess = 1; // IOPRIO_WHO_PROCESS, which glibc does not name.
constexpr int programmImLeser = 4;
constexpr int ueberDenFesten = 10; // So that no descriptor is overwritten while the fixed ones are filled.

/// The folder of the language data is all that the template takes over. OMP_THREAD_LIMIT: the recognition engine
/// would start threads for each line of text and be several times slower for it.
std::vector<std::string> umgebung() {
    std::vector<std::string> alle{"OMP_THREAD_LIMIT=1", "LC_ALL=C.UTF-8"};
    auto uebernehmen = [&](char const* name) {
        if (auto const* const wert = std::getenv(name); wert != nullptr)
            alle.push_back(std::string{name} + "=" + wert);
    };
    uebernehmen("TESSDATA_PREFIX");
    if (protokoll::mitSanitizer)
        for (auto const* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS"})
            uebernehmen(name);
    return alle;
}

Deskriptor hochgelegt(int deskriptor) {
    return Deskriptor{::fcntl(deskriptor, F_DUPFD_CLOEXEC, ueberDenFesten)};
}

/// posix_spawn's two lists; they need freeing on every way out.
class Startplan {
public:
    Startplan() {
        ::posix_spawn_file_actions_init(&schritte_);
        ::posix_spawnattr_init(&eigenschaften_);
    }
    ~Startplan() {
        ::posix_spawn_file_actions_destroy(&schritte_);
        ::posix_spawnattr_destroy(&eigenschaften_);
    }
    Startplan(Startplan const&) = delete;
    Startplan& operator=(Startplan const&) = delete;

    bool fuellen(int kanal, int programm) {
        sigset_t keine{};
        sigset_t alle{};
        ::sigemptyset(&keine);
        ::sigfillset(&alle);
        // A session of its own: Ctrl-C in the terminal is for the main program, which ends its readers itself.
        bool gut =
            ::posix_spawnattr_setflags(
                &eigenschaften_,
                static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID)) == 0;
        gut = gut && ::posix_spawnattr_setsigmask(&eigenschaften_, &keine) == 0;
        gut = gut && ::posix_spawnattr_setsigdefault(&eigenschaften_, &alle) == 0;
        gut = gut && nach(kanal, kanalImLeser) && nach(programm, programmImLeser);
        gut = gut && leer(STDIN_FILENO, O_RDONLY) && leer(STDOUT_FILENO, O_WRONLY);
        // What a reader says on standard error is said by foreign bytes. A sanitizer's report is worth it.
        gut = gut && (protokoll::mitSanitizer || leer(STDERR_FILENO, O_WRONLY));
        return gut && ::posix_spawn_file_actions_addclosefrom_np(&schritte_, programmImLeser + 1) == 0;
    }
    [[nodiscard]] posix_spawn_file_actions_t const* schritte() const { return &schritte_; }
    [[nodiscard]] posix_spawnattr_t const* eigenschaften() const { return &eigenschaften_; }

private:
    bool nach(int von, int ziel) { return ::posix_spawn_file_actions_adddup2(&schritte_, von, ziel) == 0; }
    bool leer(int ziel, int flaggen) {
        return ::posix_spawn_file_actions_addopen(&schritte_, ziel, "/dev/null", flaggen, 0) == 0;
    }
    posix_spawn_file_actions_t schritte_{};
    posix_spawnattr_t eigenschaften_{};
};

std::vector<char*> zeiger(std::vector<std::string>& texte) {
    std::vector<char*> alle;
    for (auto& text : texte)
        alle.push_back(text.data());
    alle.push_back(nullptr);
    return alle;
}

} // namespace

Rang Rang::desFadens() noexcept {
    return {
        .nice = ::getpriority(PRIO_PROCESS, static_cast<id_t>(::gettid())),
        .ioprio = static_cast<int>(::syscall(SYS_ioprio_get, wegenProzess, 0))};
}

void rangGeben(pid_t pid, Rang rang) noexcept {
    (void)::setpriority(PRIO_PROCESS, static_cast<id_t>(pid), rang.nice);
    (void)::syscall(SYS_ioprio_set, wegenProzess, pid, rang.ioprio);
}

std::optional<Kindprozess> kindStarten(int programm) {
    std::array<int, 2> enden{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, enden.data()) != 0)
        return std::nullopt;
    Kindprozess kind;
    kind.kanal = Deskriptor{enden[0]};
    Deskriptor const anderes{enden[1]};
    (void)::fcntl(kind.kanal.get(), F_SETFL, O_NONBLOCK); // Of this end only.
    auto const kanal = hochgelegt(anderes.get());
    auto const datei = hochgelegt(programm);
    Startplan plan;
    if (!kanal || !datei || !plan.fuellen(kanal.get(), datei.get()))
        return std::nullopt;
    auto umgebungstexte = umgebung();
    std::vector<std::string> argumente{"quillmate-leser"};
    // Through the descriptor: when an update has put a new bundle in place of the running one, the readers
    // still are those of the running program.
    auto const pfad = fmt::format("/proc/self/fd/{}", programmImLeser);
    int const fehler = ::posix_spawn(
        &kind.pid, pfad.c_str(), plan.schritte(), plan.eigenschaften(), zeiger(argumente).data(),
        zeiger(umgebungstexte).data());
    if (fehler != 0) {
        errno = fehler;
        return std::nullopt;
    }
    return kind;
}

std::chrono::nanoseconds rechenzeit(pid_t pid) noexcept {
    clockid_t uhr{};
    timespec zeit{};
    if (::clock_getcpuclockid(pid, &uhr) != 0 || ::clock_gettime(uhr, &zeit) != 0)
        return {};
    return std::chrono::seconds{zeit.tv_sec} + std::chrono::nanoseconds{zeit.tv_nsec};
}

std::size_t groesse(pid_t pid) noexcept {
    std::array<char, 64> pfad{};
    (void)std::snprintf(pfad.data(), pfad.size(), "/proc/%d/statm", static_cast<int>(pid));
    Deskriptor const datei{::open(pfad.data(), O_RDONLY | O_CLOEXEC)};
    std::array<char, 128> zeile{};
    unsigned long gesamt = 0;
    unsigned long anwesend = 0;
    // Size and resident size in pages, in decimal.
    if (!datei || ::read(datei.get(), zeile.data(), zeile.size() - 1) <= 0 ||
        std::sscanf(zeile.data(), "%lu %lu", &gesamt, &anwesend) != 2)
        return 0;
    return anwesend * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

bool istKind(pid_t pid) noexcept {
    siginfo_t lage{};
    return ::waitid(P_PID, static_cast<id_t>(pid), &lage, WEXITED | WNOHANG | WNOWAIT) == 0;
}

bool geendet(pid_t pid, int& status) noexcept {
    pid_t wer = 0;
    do
        wer = ::waitpid(pid, &status, WNOHANG);
    while (wer < 0 && errno == EINTR);
    return wer != 0; // An error means that there is nothing to wait for.
}

std::string todesursache(int status) {
    if (WIFSIGNALED(status)) {
        auto const* const name = ::sigdescr_np(WTERMSIG(status));
        return fmt::format("Signal {} ({})", WTERMSIG(status), name != nullptr ? name : "?");
    }
    return fmt::format("Rückgabewert {}", WEXITSTATUS(status));
}

} // namespace quillmate::leser::prozess
