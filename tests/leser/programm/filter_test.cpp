// The filters for system calls, number by number: each is run as the kernel runs it, over every call of its table.
#include "leser/programm/sandkasten.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/audit.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

namespace quillmate::Texterkennung {
namespace {

using ::testing::ElementsAre;

constexpr int kanal = 3;
constexpr int tabelle = 512;

/// Classic BPF, as far as filters of libseccomp use it.
std::uint32_t urteil(leser::programm::Filterprogramm const& programm, seccomp_data const& aufruf) {
    std::uint32_t a = 0;
    for (std::size_t i = 0; i < programm.size(); ++i) {
        auto const& befehl = programm[i];
        auto const springe = [&](bool ja) {
            i += ja ? befehl.jt : befehl.jf;
        };
        switch (befehl.code) {
        case BPF_LD | BPF_W | BPF_ABS:
            std::memcpy(&a, reinterpret_cast<char const*>(&aufruf) + befehl.k, sizeof a);
            break;
        case BPF_JMP | BPF_JA:
            i += befehl.k;
            break;
        case BPF_JMP | BPF_JEQ | BPF_K:
            springe(a == befehl.k);
            break;
        case BPF_JMP | BPF_JGT | BPF_K:
            springe(a > befehl.k);
            break;
        case BPF_JMP | BPF_JGE | BPF_K:
            springe(a >= befehl.k);
            break;
        case BPF_ALU | BPF_AND | BPF_K:
            a &= befehl.k;
            break;
        case BPF_RET | BPF_K:
            return befehl.k;
        default:
            ADD_FAILURE() << "unknown instruction " << befehl.code;
            return 0;
        }
    }
    ADD_FAILURE() << "no verdict";
    return 0;
}

std::uint32_t urteil(
    leser::programm::Filterprogramm const& programm, int nummer, std::array<std::uint64_t, 6> args = {}) {
    seccomp_data aufruf{.nr = nummer, .arch = seccomp_arch_native(), .instruction_pointer = 0, .args = {}};
    std::memcpy(aufruf.args, args.data(), sizeof aufruf.args);
    return urteil(programm, aufruf);
}

std::string name(int nummer) {
    char* const gefunden = ::seccomp_syscall_resolve_num_arch(SCMP_ARCH_NATIVE, nummer);
    std::string const text = gefunden != nullptr ? gefunden : fmt::format("{}", nummer);
    std::free(gefunden);
    return text;
}

/// The calls with this verdict, for arguments that are all zero but the first.
std::set<std::string> mitUrteil(
    leser::programm::Filterprogramm const& programm, std::uint32_t gesucht, std::uint64_t erstes = 0) {
    std::set<std::string> namen;
    for (int nummer = 0; nummer < tabelle; ++nummer)
        if (urteil(programm, nummer, {erstes}) == gesucht)
            namen.insert(name(nummer));
    return namen;
}

std::set<std::string> const immerErlaubt{
    "brk",
    "clock_getres",
    "clock_gettime",
    "clock_nanosleep",
    "close",
    "exit",
    "exit_group",
    "fstat",
    "futex",
    "getpid",
    "getrandom",
    "getrusage",
    "gettid",
    "gettimeofday",
    "lseek",
    "madvise",
    "mprotect",
    "mremap",
    "munmap",
    "nanosleep",
    "pread64",
    "read",
    "restart_syscall",
    "rt_sigaction",
    "rt_sigprocmask",
    "rt_sigreturn",
    "sched_getaffinity",
    "sched_yield",
    "set_robust_list",
    "sigaltstack",
    "tgkill"};

TEST(Kindfilter, AllowsTheNamedCallsAndNoOther) {
    auto const filter = leser::programm::kindfilter(kanal);
    ASSERT_FALSE(filter.empty());
    EXPECT_EQ(mitUrteil(filter, SECCOMP_RET_ALLOW), immerErlaubt);
    auto mitKanal = immerErlaubt;
    mitKanal.insert("write");
    EXPECT_EQ(mitUrteil(filter, SECCOMP_RET_ALLOW, kanal), mitKanal);
}

TEST(Kindfilter, EveryCallOfTheTableIsAllowedFutileOrDeadly) {
    auto const filter = leser::programm::kindfilter(kanal);
    auto const vergeblich = mitUrteil(filter, SECCOMP_RET_ERRNO | EPERM);
    auto const toedlich = mitUrteil(filter, SECCOMP_RET_KILL_PROCESS);
    EXPECT_EQ(immerErlaubt.size() + vergeblich.size() + toedlich.size(), std::size_t{tabelle});
    // What no library here tries: these and hundreds more.
    for (auto const* einer :
         {"execve",
          "execveat",
          "ptrace",
          "process_vm_readv",
          "process_vm_writev",
          "socket",
          "socketpair",
          "connect",
          "bind",
          "listen",
          "accept",
          "accept4",
          "sendmsg",
          "sendmmsg",
          "recvmmsg",
          "recvfrom",
          "kill",
          "tkill",
          "rt_sigqueueinfo",
          "pidfd_open",
          "pidfd_getfd",
          "pidfd_send_signal",
          "mount",
          "umount2",
          "unshare",
          "setns",
          "chroot",
          "pivot_root",
          "bpf",
          "perf_event_open",
          "userfaultfd",
          "io_uring_setup",
          "io_uring_enter",
          "keyctl",
          "add_key",
          "request_key",
          "init_module",
          "finit_module",
          "kexec_load",
          "setuid",
          "setresuid",
          "capset",
          "chmod",
          "fchmod",
          "chown",
          "link",
          "symlink",
          "mknod",
          "truncate",
          "shmget",
          "shmat",
          "splice",
          "tee",
          "vmsplice",
          "sendfile",
          "copy_file_range",
          "process_madvise",
          "open_by_handle_at",
          "name_to_handle_at",
          "personality",
          "modify_ldt",
          "iopl",
          "ioperm",
          "reboot",
          "swapon",
          "syslog",
          "setsid",
          "setpgid",
          "mq_open",
          "msgget",
          "semget",
          "inotify_init1",
          "fanotify_init",
          "epoll_create1",
          "signalfd4",
          "timerfd_create",
          "landlock_create_ruleset",
          "memfd_secret",
          "pkey_alloc",
          "remap_file_pages"})
        EXPECT_TRUE(toedlich.contains(einer)) << einer;
    // What they do try, and is told no.
    for (auto const* einer : {"openat", "newfstatat", "access", "clone", "clone3", "unlink", "ioctl", "mmap"})
        EXPECT_TRUE(vergeblich.contains(einer)) << einer;
}

TEST(Kindfilter, MemoryIsItsOwnAndNeverExecutable) {
    auto const filter = leser::programm::kindfilter(kanal);
    auto const mmap = SCMP_SYS(mmap);
    auto const mprotect = SCMP_SYS(mprotect);
    constexpr std::uint64_t eigener = MAP_PRIVATE | MAP_ANONYMOUS;
    EXPECT_EQ(urteil(filter, mmap, {0, 1, PROT_READ | PROT_WRITE, eigener}), SECCOMP_RET_ALLOW);
    EXPECT_NE(urteil(filter, mmap, {0, 1, PROT_READ | PROT_EXEC, eigener}), SECCOMP_RET_ALLOW);
    EXPECT_NE(urteil(filter, mmap, {0, 1, PROT_READ, MAP_PRIVATE}), SECCOMP_RET_ALLOW); // A file.
    EXPECT_NE(urteil(filter, mmap, {0, 1, PROT_READ, MAP_SHARED | MAP_ANONYMOUS}), SECCOMP_RET_ALLOW);
    EXPECT_NE(urteil(filter, mprotect, {0, 1, PROT_EXEC}), SECCOMP_RET_ALLOW);
}

TEST(Kindfilter, NoOtherNumberOfTheChannelPasses) {
    auto const filter = leser::programm::kindfilter(kanal);
    for (std::uint64_t const ziel : {0U, 1U, 2U, 4U, 5U, 16U})
        EXPECT_NE(urteil(filter, SCMP_SYS(write), {ziel}), SECCOMP_RET_ALLOW) << ziel;
}

TEST(Kindfilter, CallsOfAnotherArchitectureAreDeadly) {
    auto const filter = leser::programm::kindfilter(kanal);
    seccomp_data aufruf{
        .nr = SCMP_SYS(getpid), .arch = AUDIT_ARCH_I386, .instruction_pointer = 0, .args = {}};
    EXPECT_EQ(urteil(filter, aufruf), SECCOMP_RET_KILL_PROCESS);
#ifdef __x86_64__
    constexpr int x32 = 0x40000000;
    EXPECT_EQ(urteil(filter, x32 | SCMP_SYS(getpid)), SECCOMP_RET_KILL_PROCESS);
#endif
}

TEST(Vorlagenfilter, AddsForkingAndLockingUpAndNothingElse) {
    auto const filter = leser::programm::vorlagenfilter(kanal);
    ASSERT_FALSE(filter.empty());
    auto const mehr = [&](std::uint64_t erstes) {
        auto namen = mitUrteil(filter, SECCOMP_RET_ALLOW, erstes);
        for (auto const& erlaubter : immerErlaubt)
            namen.erase(erlaubter);
        return namen;
    };
    EXPECT_THAT(mehr(99), ElementsAre("getppid", "getrlimit", "setrlimit"));
    EXPECT_THAT(mehr(kanal), ElementsAre("getppid", "getrlimit", "recvmsg", "sendto", "setrlimit", "write"));
    EXPECT_THAT(
        mehr(leser::programm::forkflaggen), ElementsAre("clone", "getppid", "getrlimit", "setrlimit"));
    EXPECT_THAT(
        mehr(SECCOMP_SET_MODE_FILTER), ElementsAre("getppid", "getrlimit", "prctl", "seccomp", "setrlimit"));
    EXPECT_THAT(mehr(0), ElementsAre("getppid", "getrlimit", "prlimit64", "setrlimit"));
    EXPECT_EQ(urteil(filter, SCMP_SYS(dup2), {9, kanal}), SECCOMP_RET_ALLOW);
    EXPECT_NE(urteil(filter, SCMP_SYS(dup2), {9, 4}), SECCOMP_RET_ALLOW);
    EXPECT_NE(urteil(filter, SCMP_SYS(clone), {SIGCHLD}), SECCOMP_RET_ALLOW); // A child of its own.
    EXPECT_NE(urteil(filter, SCMP_SYS(clone), {leser::programm::forkflaggen | CLONE_VM}), SECCOMP_RET_ALLOW);
}

} // namespace
} // namespace quillmate::Texterkennung
