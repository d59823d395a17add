#include "sandkasten.h"

#include <linux/capability.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
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

using Filter = std::unique_ptr<void, decltype([](void* filter) { seccomp_release(filter); })>;

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

/// Calls that no library here makes: whoever makes one has taken the process over. Anything else that is not
/// allowed fails with EPERM, because libraries do try this and that.
constexpr std::array toedlich{
    SCMP_SYS(execve),
    SCMP_SYS(execveat),
    SCMP_SYS(ptrace),
    SCMP_SYS(process_vm_readv),
    SCMP_SYS(process_vm_writev),
    SCMP_SYS(socket),
    SCMP_SYS(socketpair),
    SCMP_SYS(connect),
    SCMP_SYS(bind),
    SCMP_SYS(listen),
    SCMP_SYS(accept),
    SCMP_SYS(accept4),
    SCMP_SYS(sendmsg),
    SCMP_SYS(sendmmsg),
    SCMP_SYS(kill),
    SCMP_SYS(pidfd_open),
    SCMP_SYS(pidfd_getfd),
    SCMP_SYS(pidfd_send_signal),
    SCMP_SYS(mount),
    SCMP_SYS(umount2),
    SCMP_SYS(unshare),
    SCMP_SYS(setns),
    SCMP_SYS(chroot),
    SCMP_SYS(pivot_root),
    SCMP_SYS(bpf),
    SCMP_SYS(perf_event_open),
    SCMP_SYS(userfaultfd),
    SCMP_SYS(io_uring_setup),
    SCMP_SYS(keyctl),
    SCMP_SYS(add_key),
    SCMP_SYS(request_key),
    SCMP_SYS(init_module),
    SCMP_SYS(finit_module),
    SCMP_SYS(kexec_load)};

bool regelnSetzen(scmp_filter_ctx filter, int kanal) {
    bool gut = true;
    auto erlauben = [&](int aufruf, auto... bedingungen) {
        std::array<scmp_arg_cmp, sizeof...(bedingungen)> const liste{bedingungen...};
        gut = gut &&
              seccomp_rule_add_array(
                  filter, SCMP_ACT_ALLOW, aufruf, static_cast<unsigned>(liste.size()), liste.data()) == 0;
    };
    auto stelle = [](unsigned nummer, scmp_compare vergleich, scmp_datum_t a, scmp_datum_t b = 0) {
        return scmp_arg_cmp{nummer, vergleich, a, b};
    };
    for (int const aufruf : harmlos)
        erlauben(aufruf);
    for (int const aufruf : toedlich)
        gut = gut && seccomp_rule_add_array(filter, SCMP_ACT_KILL_PROCESS, aufruf, 0, nullptr) == 0;
    // Memory: of its own, never executable, never a file.
    erlauben(
        SCMP_SYS(mmap), stelle(2, SCMP_CMP_MASKED_EQ, PROT_EXEC, 0),
        stelle(3, SCMP_CMP_MASKED_EQ, MAP_PRIVATE | MAP_ANONYMOUS, MAP_PRIVATE | MAP_ANONYMOUS));
    erlauben(SCMP_SYS(mprotect), stelle(2, SCMP_CMP_MASKED_EQ, PROT_EXEC, 0));
    // The channel, and nothing else, is spoken to and listened on.
    auto const ueberKanal = stelle(0, SCMP_CMP_EQ, static_cast<scmp_datum_t>(kanal));
    erlauben(SCMP_SYS(sendto), ueberKanal, stelle(4, SCMP_CMP_EQ, 0));
    erlauben(SCMP_SYS(recvmsg), ueberKanal);
    // abort() and failed assertions: a signal to itself.
    erlauben(SCMP_SYS(tgkill), stelle(0, SCMP_CMP_EQ, static_cast<scmp_datum_t>(::getpid())));
    return gut;
}

} // namespace

void privilegienAblegen() {
    // Without any of these the process would still be what every program of this user is; none is known to fail.
    (void)::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    (void)grenzeSetzen(RLIMIT_CORE, 0);
    if (protokoll::mitSanitizer)
        return;
    // Also keeps programs of the same user from attaching to this one, and its memory out of /proc.
    (void)::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
    (void)grenzeSetzen(RLIMIT_NPROC, 0);
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

bool seccompSchliessen(int kanal) {
    Filter const filter{seccomp_init(SCMP_ACT_ERRNO(EPERM))};
    return filter && regelnSetzen(filter.get(), kanal) && seccomp_load(filter.get()) == 0;
}

bool speicherBegrenzen(std::size_t bytes) {
    return grenzeSetzen(RLIMIT_AS, bytes);
}

leser::protokoll::Riegel einschliessen(int kanal, Sandkastengrenzen const& grenzen) {
    privilegienAblegen();
    (void)grenzeSetzen(RLIMIT_NOFILE, grenzen.deskriptoren);
    if (protokoll::mitSanitizer)
        return {};
    leser::protokoll::Riegel riegel;
    riegel.speichergrenze = speicherBegrenzen(grenzen.speicher_byte);
    riegel.landlock = landlockSchliessen();
    riegel.seccomp = seccompSchliessen(kanal); // Last: the layers before need calls that it denies.
    return riegel;
}

} // namespace quillmate::leser::programm
