#include "sandkasten.h"

#include "grundlage/datei.h"

#include <linux/audit.h>
#include <linux/capability.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace quillmate::leser::programm {

namespace {

// Landlock has no wrappers in glibc, and Debian's headers know its first version only.
constexpr long landlockAnlegen = 444;
constexpr long landlockAnwenden = 446;
constexpr unsigned landlockFassung = 1; // Flag: tell the version and make nothing.

struct LandlockRegeln {
    std::uint64_t dateien{0};
    std::uint64_t netz{0};
    std::uint64_t reichweite{0};
};

/// What a version of Landlock can deny; all of it is denied, and no exception follows.
LandlockRegeln landlockRegeln(long fassung) {
    LandlockRegeln regeln;
    unsigned rechte = 13;
    if (fassung >= 2)
        ++rechte; // Moving files between folders.
    if (fassung >= 3)
        ++rechte; // Cutting files off.
    if (fassung >= 5)
        ++rechte; // Talking to devices.
    regeln.dateien = (std::uint64_t{1} << rechte) - 1;
    if (fassung >= 4)
        regeln.netz = 3; // Binding and connecting TCP.
    if (fassung >= 6)
        regeln.reichweite = 3; // Abstract sockets of, and signals to, processes outside.
    return regeln;
}

std::size_t landlockGroesse(long fassung) {
    if (fassung >= 6)
        return sizeof(LandlockRegeln);
    return fassung >= 4 ? offsetof(LandlockRegeln, reichweite) : offsetof(LandlockRegeln, netz);
}

bool grenzeSetzen(__rlimit_resource_t was, rlim_t wert) {
    rlimit grenze{};
    if (::getrlimit(was, &grenze) != 0)
        return false;
    grenze.rlim_max = std::min(grenze.rlim_max, wert);
    grenze.rlim_cur = grenze.rlim_max;
    return ::setrlimit(was, &grenze) == 0;
}

using Regelwerk = std::unique_ptr<void, decltype([](void* filter) { seccomp_release(filter); })>;

// The table of system calls ends below this number, with room for what comes.
constexpr int aufrufe = 512;

/// Calls that only memory, clocks and the end of the process are reached with.
constexpr std::array harmlos{
    SCMP_SYS(brk), SCMP_SYS(munmap), SCMP_SYS(mremap), SCMP_SYS(madvise), SCMP_SYS(futex),
    SCMP_SYS(clock_gettime), SCMP_SYS(clock_getres), SCMP_SYS(clock_nanosleep), SCMP_SYS(nanosleep),
    SCMP_SYS(gettimeofday), SCMP_SYS(getrandom), SCMP_SYS(getpid), SCMP_SYS(gettid), SCMP_SYS(sched_yield),
    SCMP_SYS(sched_getaffinity), SCMP_SYS(getrusage), SCMP_SYS(rt_sigreturn), SCMP_SYS(rt_sigprocmask),
    SCMP_SYS(rt_sigaction), SCMP_SYS(sigaltstack), SCMP_SYS(set_robust_list), SCMP_SYS(restart_syscall),
    SCMP_SYS(exit), SCMP_SYS(exit_group),
    // On descriptors that are there already; only the file that is read and the language data are files.
    SCMP_SYS(read), SCMP_SYS(pread64), SCMP_SYS(lseek), SCMP_SYS(close), SCMP_SYS(fstat)};

/// Calls that libraries make and get by without: they look for files, start threads, ask for the machine. They fail
/// with EPERM. Also the calls of which only some uses are allowed; every other call of the table is deadly, because
/// nobody but an attacker makes it.
constexpr std::array vergeblich{
    SCMP_SYS(open), SCMP_SYS(openat), SCMP_SYS(openat2), SCMP_SYS(stat), SCMP_SYS(lstat),
    SCMP_SYS(newfstatat), SCMP_SYS(statx), SCMP_SYS(statfs), SCMP_SYS(fstatfs), SCMP_SYS(access),
    SCMP_SYS(faccessat), SCMP_SYS(faccessat2), SCMP_SYS(readlink), SCMP_SYS(readlinkat), SCMP_SYS(getcwd),
    SCMP_SYS(getdents64), SCMP_SYS(unlink), SCMP_SYS(unlinkat), SCMP_SYS(mkdir), SCMP_SYS(mkdirat),
    SCMP_SYS(rename), SCMP_SYS(writev), SCMP_SYS(pwrite64), SCMP_SYS(readv), SCMP_SYS(preadv),
    SCMP_SYS(ftruncate), SCMP_SYS(fcntl), SCMP_SYS(ioctl), SCMP_SYS(dup), SCMP_SYS(dup2), SCMP_SYS(dup3),
    SCMP_SYS(poll), SCMP_SYS(ppoll), SCMP_SYS(select), SCMP_SYS(pselect6), SCMP_SYS(clone), SCMP_SYS(clone3),
    SCMP_SYS(fork), SCMP_SYS(vfork), SCMP_SYS(prctl), SCMP_SYS(arch_prctl), SCMP_SYS(rseq),
    SCMP_SYS(set_tid_address), SCMP_SYS(membarrier), SCMP_SYS(getppid), SCMP_SYS(getuid), SCMP_SYS(geteuid),
    SCMP_SYS(getgid), SCMP_SYS(getegid), SCMP_SYS(uname), SCMP_SYS(sysinfo), SCMP_SYS(times),
    SCMP_SYS(getcpu), SCMP_SYS(getrlimit), SCMP_SYS(setrlimit), SCMP_SYS(prlimit64), SCMP_SYS(getpriority),
    SCMP_SYS(setpriority), SCMP_SYS(sched_setaffinity), SCMP_SYS(sched_getparam),
    SCMP_SYS(sched_getscheduler), SCMP_SYS(get_mempolicy), SCMP_SYS(mbind), SCMP_SYS(mlock),
    SCMP_SYS(munlock), SCMP_SYS(mincore), SCMP_SYS(msync), SCMP_SYS(fsync), SCMP_SYS(fadvise64),
    SCMP_SYS(readahead), SCMP_SYS(flock), SCMP_SYS(umask), SCMP_SYS(pipe), SCMP_SYS(pipe2),
    SCMP_SYS(eventfd2), SCMP_SYS(memfd_create), SCMP_SYS(seccomp), SCMP_SYS(recvmsg), SCMP_SYS(sendto),
    SCMP_SYS(setitimer), SCMP_SYS(timer_create),
    // Some of their uses are allowed below.
    SCMP_SYS(mmap), SCMP_SYS(mprotect), SCMP_SYS(write), SCMP_SYS(tgkill)};

class Regeln {
public:
    explicit Regeln(Regelwerk werk)
        : werk_(std::move(werk)) {}
    static scmp_arg_cmp stelle(unsigned nummer, scmp_compare vergleich, scmp_datum_t a, scmp_datum_t b = 0) {
        return {nummer, vergleich, a, b};
    }
    template<typename... Bedingungen>
    void erlauben(int aufruf, Bedingungen... bedingungen) {
        std::array<scmp_arg_cmp, sizeof...(bedingungen)> const liste{bedingungen...};
        nimm(seccomp_rule_add_array(
            werk_.get(), SCMP_ACT_ALLOW, aufruf, static_cast<unsigned>(liste.size()), liste.data()));
        genannt_.push_back(aufruf);
    }
    void fuerKinder(int kanal) {
        for (int const aufruf : harmlos)
            erlauben(aufruf);
        // Memory: of its own, never executable, never a file.
        erlauben(
            SCMP_SYS(mmap), stelle(2, SCMP_CMP_MASKED_EQ, PROT_EXEC, 0),
            stelle(3, SCMP_CMP_MASKED_EQ, MAP_PRIVATE | MAP_ANONYMOUS, MAP_PRIVATE | MAP_ANONYMOUS));
        erlauben(SCMP_SYS(mprotect), stelle(2, SCMP_CMP_MASKED_EQ, PROT_EXEC, 0));
        erlauben(SCMP_SYS(write), stelle(0, SCMP_CMP_EQ, static_cast<scmp_datum_t>(kanal)));
        // abort() and failed assertions; whom it may reach is for nurSichSelbst() to say.
        erlauben(SCMP_SYS(tgkill));
    }
    /// The default for whatever was not named is EPERM, so that newer numbers than we know do no harm to libraries.
    void uebrigeToedlich() {
        for (int aufruf = 0; aufruf < aufrufe; ++aufruf)
            if (std::ranges::find(genannt_, aufruf) == genannt_.end() &&
                std::ranges::find(vergeblich, aufruf) == vergeblich.end())
                nimm(seccomp_rule_add_array(werk_.get(), SCMP_ACT_KILL_PROCESS, aufruf, 0, nullptr));
    }
    [[nodiscard]] Filterprogramm alsProgramm() const {
        Deskriptor const datei{::memfd_create("filter", MFD_CLOEXEC)};
        if (!gut_ || !datei || seccomp_export_bpf(werk_.get(), datei.get()) != 0)
            return {};
        auto const laenge = ::lseek(datei.get(), 0, SEEK_END);
        if (laenge <= 0 || laenge % static_cast<off_t>(sizeof(sock_filter)) != 0)
            return {};
        Filterprogramm programm(static_cast<std::size_t>(laenge) / sizeof(sock_filter));
        if (::pread(datei.get(), programm.data(), static_cast<std::size_t>(laenge), 0) != laenge)
            return {};
        return programm;
    }
    static Regeln beginnen() {
        Regeln regeln{Regelwerk{seccomp_init(SCMP_ACT_ERRNO(EPERM))}};
        // A tree instead of a list: the child's calls are looked up in two filters.
        regeln.nimm(
            regeln.werk_ ? seccomp_attr_set(regeln.werk_.get(), SCMP_FLTATR_CTL_OPTIMIZE, 2) : -ENOMEM);
        regeln.nimm(
            regeln.werk_
                ? seccomp_attr_set(regeln.werk_.get(), SCMP_FLTATR_ACT_BADARCH, SCMP_ACT_KILL_PROCESS)
                : -ENOMEM);
        return regeln;
    }

private:
    void nimm(int ergebnis) { gut_ = gut_ && ergebnis == 0; }
    Regelwerk werk_;
    std::vector<int> genannt_;
    bool gut_{true};
};

/// A second filter: signals reach the calling process only. Its number is known when there is a child.
Filterprogramm nurSichSelbst() {
    auto anweisung = [](unsigned code, std::uint32_t k, std::uint8_t ja = 0, std::uint8_t nein = 0) {
        return sock_filter{static_cast<__u16>(code), ja, nein, k};
    };
    constexpr std::uint32_t ersterWert = offsetof(seccomp_data, args); // Little-endian: its lower half.
    return {
        anweisung(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        anweisung(BPF_JMP | BPF_JEQ | BPF_K, SYS_tgkill, 0, 3),
        anweisung(BPF_LD | BPF_W | BPF_ABS, ersterWert),
        anweisung(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(::getpid()), 1, 0),
        anweisung(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
        anweisung(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
}

} // namespace

unsigned long const forkflaggen = CLONE_PARENT | SIGCHLD;

Filterprogramm kindfilter(int kanal) {
    auto regeln = Regeln::beginnen();
    regeln.fuerKinder(kanal);
    regeln.uebrigeToedlich();
    return regeln.alsProgramm();
}

Filterprogramm vorlagenfilter(int kanal) {
    auto regeln = Regeln::beginnen();
    regeln.fuerKinder(kanal);
    auto const ueberKanal = Regeln::stelle(0, SCMP_CMP_EQ, static_cast<scmp_datum_t>(kanal));
    regeln.erlauben(SCMP_SYS(sendto), ueberKanal, Regeln::stelle(4, SCMP_CMP_EQ, 0));
    regeln.erlauben(SCMP_SYS(recvmsg), ueberKanal);
    regeln.erlauben(SCMP_SYS(clone), Regeln::stelle(0, SCMP_CMP_EQ, forkflaggen));
    // What a child does before it has its own filter.
    regeln.erlauben(SCMP_SYS(getppid));
    regeln.erlauben(SCMP_SYS(prctl), Regeln::stelle(0, SCMP_CMP_EQ, PR_SET_PDEATHSIG));
    regeln.erlauben(SCMP_SYS(dup2), Regeln::stelle(1, SCMP_CMP_EQ, static_cast<scmp_datum_t>(kanal)));
    regeln.erlauben(SCMP_SYS(dup3), Regeln::stelle(1, SCMP_CMP_EQ, static_cast<scmp_datum_t>(kanal)));
    regeln.erlauben(SCMP_SYS(setitimer), Regeln::stelle(0, SCMP_CMP_EQ, ITIMER_PROF));
    regeln.erlauben(SCMP_SYS(getrlimit));
    regeln.erlauben(SCMP_SYS(setrlimit));
    regeln.erlauben(SCMP_SYS(prlimit64), Regeln::stelle(0, SCMP_CMP_EQ, 0));
    regeln.erlauben(SCMP_SYS(seccomp), Regeln::stelle(0, SCMP_CMP_EQ, SECCOMP_SET_MODE_FILTER));
    regeln.uebrigeToedlich();
    return regeln.alsProgramm();
}

void privilegienAblegen() {
    // Without any of these the process would still be what every program of this user is; none is known to fail.
    (void)::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    (void)grenzeSetzen(RLIMIT_CORE, 0);
    if (protokoll::mitSanitizer)
        return;
    // Also keeps programs of the same user from attaching to this one, and its memory out of /proc.
    (void)::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
    (void)grenzeSetzen(RLIMIT_FSIZE, 0);
    __user_cap_header_struct kopf{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, 2> const keine{};
    (void)::syscall(SYS_capset, &kopf, keine.data());
}

bool landlockSchliessen() {
    auto const fassung = ::syscall(landlockAnlegen, nullptr, 0, landlockFassung);
    if (fassung <= 0)
        return false;
    auto const regeln = landlockRegeln(fassung);
    auto const satz = ::syscall(landlockAnlegen, &regeln, landlockGroesse(fassung), 0);
    if (satz < 0)
        return false;
    bool const gut = ::syscall(landlockAnwenden, satz, 0) == 0;
    ::close(static_cast<int>(satz));
    return gut;
}

bool seccompSchliessen(Filterprogramm const& filter) {
    sock_fprog const programm{
        static_cast<unsigned short>(filter.size()), const_cast<sock_filter*>(filter.data())};
    return !filter.empty() && ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &programm) == 0;
}

bool speicherBegrenzen(Texterkennung::Dateiart art, Sandkastengrenzen const& grenzen) {
    bool const eigener = grenzeSetzen(
        RLIMIT_DATA, art == Texterkennung::Dateiart::pdf ? grenzen.speicherPdf : grenzen.speicherBild);
    return grenzeSetzen(RLIMIT_AS, grenzen.adressraum) && eigener;
}

leser::protokoll::Riegel vorlageEinschliessen(
    Filterprogramm const& filter, Sandkastengrenzen const& grenzen) {
    privilegienAblegen();
    (void)grenzeSetzen(RLIMIT_NOFILE, grenzen.deskriptoren);
    if (protokoll::mitSanitizer)
        return {};
    leser::protokoll::Riegel riegel;
    riegel.landlock = landlockSchliessen();
    riegel.seccomp = seccompSchliessen(filter); // Last: the layer before needs calls that it denies.
    return riegel;
}

bool kindEinschliessen(
    Filterprogramm const& filter, Texterkennung::Dateiart art, Sandkastengrenzen const& grenzen) {
    if (protokoll::mitSanitizer)
        return true;
    (void)grenzeSetzen(RLIMIT_NPROC, 0);
    return speicherBegrenzen(art, grenzen) && seccompSchliessen(nurSichSelbst()) && seccompSchliessen(filter);
}

} // namespace quillmate::leser::programm
