#include "dienst.h"

#include "grundlage/datei.h"
#include "leser/protokoll/ende.h"
#include "leser/protokoll/nachricht.h"
#include "notausgang.h"
#include "sandkasten.h"

#include <fcntl.h>
#include <malloc.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

namespace quillmate::leser::programm {

namespace {

// Where the main program puts the template's channel. A child puts its pipe there, so that one number serves both filters.
constexpr int kanal = 3;
constexpr int ersterFremder = 4;

/// Ends with the main program, and only with it: whatever a terminal or a session's end sends to everybody would
/// otherwise end a reading in the middle.
void andereSignaleUebergehen() {
    (void)::prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (int const signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE, SIGUSR1, SIGUSR2})
        (void)std::signal(signal, SIG_IGN);
}

/// When memory runs out on the machine, the kernel is to take the reader and not the window.
void alsErsterGehen() {
    int const datei = ::open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
    if (datei < 0)
        return;
    constexpr std::string_view hoechster = "1000";
    (void)!::write(datei, hoechster.data(), hoechster.size());
    ::close(datei);
}

bool istKanal() {
    int art = 0;
    socklen_t laenge = sizeof art;
    return ::getsockopt(kanal, SOL_SOCKET, SO_TYPE, &art, &laenge) == 0 && art == SOCK_SEQPACKET;
}

bool senden(std::string_view bytes) {
    while (!bytes.empty()) {
        auto const n = ::write(kanal, bytes.data(), bytes.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

bool senden(leser::protokoll::Kopfbytes const& bytes) {
    return senden({reinterpret_cast<char const*>(bytes.data()), bytes.size()});
}

struct Empfangen {
    leser::protokoll::Auftrag auftrag;
    Deskriptor datei;
    Deskriptor antwort;
};

/// Waits for the next file. Nothing at the end of the channel, and for what is no message with exactly two
/// descriptors: the main program sends nothing else.
std::optional<Empfangen> empfangen() {
    leser::protokoll::Kopfbytes bytes{};
    std::array<int, 2> beide{-1, -1};
    iovec stueck{bytes.data(), bytes.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof beide)> beilage{};
    msghdr nachricht{};
    nachricht.msg_iov = &stueck;
    nachricht.msg_iovlen = 1;
    nachricht.msg_control = beilage.data();
    nachricht.msg_controllen = beilage.size();
    ssize_t n = 0;
    do
        n = ::recvmsg(kanal, &nachricht, MSG_CMSG_CLOEXEC);
    while (n < 0 && errno == EINTR);
    auto const* const kopf = n > 0 ? CMSG_FIRSTHDR(&nachricht) : nullptr;
    if (kopf == nullptr || kopf->cmsg_level != SOL_SOCKET || kopf->cmsg_type != SCM_RIGHTS ||
        kopf->cmsg_len != CMSG_LEN(sizeof beide))
        return std::nullopt;
    std::memcpy(beide.data(), CMSG_DATA(kopf), sizeof beide);
    Deskriptor datei{beide[0]};
    Deskriptor antwort{beide[1]};
    auto const auftrag = leser::protokoll::auftragAus({bytes.data(), static_cast<std::size_t>(n)});
    if (!auftrag || (nachricht.msg_flags & (MSG_CTRUNC | MSG_TRUNC)) != 0)
        return std::nullopt;
    return Empfangen{*auftrag, std::move(datei), std::move(antwort)};
}

/// Several children are at work at once. The allocator's own limits move up with the first large picture, and what
/// is freed below a block that is still in use stays; fixed limits keep large blocks apart and give them back.
void sparsamSein() {
    constexpr int eigenesStueck = 128 << 10;
    constexpr int freilassen = 1 << 20;
    (void)::mallopt(M_MMAP_THRESHOLD, eigenesStueck);
    (void)::mallopt(M_TRIM_THRESHOLD, freilassen);
}

/// Tells a signal that somebody sent from one that a fault of this process raised: the former says nothing about the
/// file. Async-signal-safe.
void vonAussen(int signal, siginfo_t* lage, void* /*zustand*/) {
    if (lage->si_code <= 0 && lage->si_pid != ::getpid())
        ::_exit(protokoll::endeVonAussen);
    (void)::signal(signal, SIG_DFL);
    if (lage->si_code <= 0)
        (void)::raise(signal); // Comes when this returns; a fault comes again by itself.
}

/// On a stack of its own, since a fault may be the end of the other one.
void signaleUnterscheiden() {
    if (protokoll::mitSanitizer)
        return; // They have handlers of their own.
    constexpr std::size_t genug = std::size_t{64} << 10U;
    static std::array<std::byte, genug> stapel;
    stack_t const eigener{.ss_sp = stapel.data(), .ss_flags = 0, .ss_size = stapel.size()};
    (void)::sigaltstack(&eigener, nullptr);
    struct sigaction handlung {};
    handlung.sa_sigaction = vonAussen;
    handlung.sa_flags = SA_SIGINFO | SA_ONSTACK;
    for (int const signal :
         {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS, SIGALRM, SIGVTALRM, SIGPROF, SIGXCPU,
          SIGXFSZ, SIGPOLL, SIGSTKFLT, SIGPWR})
        (void)::sigaction(signal, &handlung, nullptr);
}

/// What a child needs to know of its template.
struct Vorlage {
    Texterkennung::Leser& leser;
    Filterprogramm kindfilter;
    pid_t hauptprogramm;
};

[[noreturn]] void kindsein(Vorlage const& vorlage, Empfangen auftrag) {
    (void)::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != vorlage.hauptprogramm) // It was gone before it could be tied to.
        ::_exit(protokoll::endeGut);
    if (::dup2(auftrag.antwort.get(), kanal) != kanal) // And the template's channel is closed.
        ::_exit(protokoll::endeOhneKanal);
    auftrag.antwort = Deskriptor{};
    signaleUnterscheiden();
    if (!notausgangEinrichten(kanal, auftrag.auftrag.nummer) ||
        !kindEinschliessen(vorlage.kindfilter, auftrag.auftrag.art))
        ::_exit(protokoll::endeOhneRiegel);
    auto const lesung = mangelBeurteilt(
        vorlage.leser.lesen(auftrag.datei.get(), auftrag.auftrag.art), !protokoll::mitSanitizer);
    notausgangSchliessen();
    (void)senden(leser::protokoll::antwortBytes(auftrag.auftrag.nummer, lesung));
    // Nothing is tidied up: what runs then would be code on a heap that the file has shaped.
    ::_exit(protokoll::endeGut);
}

/// A child of the main program, not of this process: whoever parses foreign files has nothing to do with the template
/// any more, and the main program itself sees how it ends. By the bare call, since fork() knows no such child; this
/// process has one thread, so no lock can be held.
pid_t gabeln() {
    return static_cast<pid_t>(::syscall(SYS_clone, forkflaggen, nullptr, nullptr, nullptr, nullptr));
}

bool bedienen(Vorlage const& vorlage) {
    while (auto auftrag = empfangen()) {
        auto const nummer = auftrag->auftrag.nummer;
        auto const pid = gabeln();
        if (pid == 0)
            kindsein(vorlage, *std::move(auftrag));
        auto const geburt =
            pid > 0 ? leser::protokoll::Geburt{nummer, pid, 0} : leser::protokoll::Geburt{nummer, 0, errno};
        auftrag.reset(); // Before it is known, so that the pipe ends with the child.
        if (!senden(leser::protokoll::alsBytes(geburt)))
            return false;
    }
    return true;
}

/// Whether a child can lock itself up here: tried once, in one that reads nothing.
bool kindRiegelHaelt(Filterprogramm const& filter) {
    auto const pid = ::fork();
    if (pid == 0)
        ::_exit(
            kindEinschliessen(filter, Texterkennung::Dateiart::pdf) ? protokoll::endeGut
                                                                    : protokoll::endeOhneRiegel);
    int status = 0;
    return pid > 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) &&
           WEXITSTATUS(status) == protokoll::endeGut;
}

} // namespace

Texterkennung::Lesung mangelBeurteilt(Texterkennung::Lesung lesung, bool begrenzt) {
    if (lesung.art != Texterkennung::Lesung::Art::ohneMittel || !begrenzt)
        return lesung;
    // More than an ordinary file needs; if it is to be had now, it was the file that used it up.
    constexpr std::size_t probe = std::size_t{256} << 20U;
    auto* const stueck = ::mmap(nullptr, probe, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (stueck == MAP_FAILED)
        return lesung;
    ::munmap(stueck, probe);
    lesung.art = Texterkennung::Lesung::Art::gelesen;
    return lesung;
}

int alsLeserDienen(std::function<Werkzeug()> const& bau) {
    (void)::close_range(ersterFremder, ~0U, 0);
    (void)::prctl(PR_SET_NAME, "quillmate-leser");
    andereSignaleUebergehen();
    auto const hauptprogramm = ::getppid();
    alsErsterGehen();
    if (!istKanal())
        return protokoll::endeOhneKanal;
    sparsamSein();
    auto const werkzeug = bau();
    (void)::malloc_trim(0);
    Vorlage const vorlage{
        *werkzeug.leser, protokoll::mitSanitizer ? Filterprogramm{} : kindfilter(kanal), hauptprogramm};
    auto const eigener = protokoll::mitSanitizer ? Filterprogramm{} : vorlagenfilter(kanal);
    // No privilege is gained from here on: without that the kernel takes no filter.
    privilegienAblegen();
    bool const kinder = protokoll::mitSanitizer || kindRiegelHaelt(vorlage.kindfilter);
    auto riegel = vorlageEinschliessen(eigener);
    riegel.speichergrenze = kinder && !protokoll::mitSanitizer;
    riegel.seccomp = riegel.seccomp && kinder;
    if (senden(leser::protokoll::alsBytes(leser::protokoll::Bereitschaft{werkzeug.sprachstand, riegel})))
        (void)bedienen(vorlage);
    // Nothing is tidied up: it would cost time, and calls that the lock-up denies.
    ::_exit(protokoll::endeGut);
}

} // namespace quillmate::leser::programm
