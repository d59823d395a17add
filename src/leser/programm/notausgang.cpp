#include "notausgang.h"

#include "leser/protokoll/ende.h"
#include "leser/protokoll/nachricht.h"
#include "leser/protokoll/sanitizer.h"

#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <memory>
#include <string>
#include <utility>

namespace quillmate::leser::programm {

namespace {

using Zeit = std::chrono::nanoseconds;

// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables): a signal's handler has no argument of its own
int kanal = -1;
std::uint32_t nummer = 0;
std::unique_ptr<std::string const> bereit; // Keeps what `antwort` points to.
std::atomic<std::string const*> antwort{nullptr};
constexpr Zeit::rep geschlossen = Zeit::max().count();
std::atomic<Zeit::rep> ende{geschlossen};
// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)
static_assert(
    std::atomic<Zeit::rep>::is_always_lock_free && std::atomic<std::string const*>::is_always_lock_free);

/// Async-signal-safe.
Zeit::rep gerechnet() noexcept {
    constexpr Zeit::rep jeSekunde = 1'000'000'000;
    timespec zeit{};
    (void)::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &zeit);
    return zeit.tv_sec * jeSekunde + zeit.tv_nsec;
}

/// Async-signal-safe: neither memory is taken nor a lock.
void schlag(int /*signal*/, siginfo_t* lage, void* /*zustand*/) {
    if (lage->si_code <= 0) { // Not the timer's.
        if (lage->si_pid != ::getpid())
            ::_exit(protokoll::endeVonAussen);
        return;
    }
    auto const* const text = antwort.load();
    if (text == nullptr || gerechnet() < ende.load())
        return;
    for (std::size_t geschrieben = 0; geschrieben < text->size();) {
        auto const n = ::write(kanal, text->data() + geschrieben, text->size() - geschrieben);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        geschrieben += static_cast<std::size_t>(n);
    }
    ::_exit(protokoll::endeGut);
}

} // namespace

bool notausgangEinrichten(int neuerKanal, std::uint32_t neueNummer) {
    if (protokoll::mitSanitizer)
        return true;
    kanal = neuerKanal;
    nummer = neueNummer;
    notausgangAntwort({});
    struct sigaction handlung {};
    handlung.sa_sigaction = schlag;
    handlung.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
    constexpr suseconds_t zehntelsekunde = 100'000;
    itimerval const takt{{0, zehntelsekunde}, {0, zehntelsekunde}};
    return ::sigaction(SIGPROF, &handlung, nullptr) == 0 && ::setitimer(ITIMER_PROF, &takt, nullptr) == 0;
}

void notausgangOeffnen(std::chrono::milliseconds frist) noexcept {
    ende = gerechnet() + Zeit{frist}.count();
}

void notausgangAntwort(Texterkennung::Lesung const& lesung) {
    auto neue = std::make_unique<std::string const>(protokoll::antwortBytes(nummer, lesung));
    antwort = neue.get();
    bereit = std::move(neue); // The former one goes after nobody points to it any more.
}

void notausgangSchliessen() noexcept {
    ende = geschlossen;
}

} // namespace quillmate::leser::programm
