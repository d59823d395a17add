#pragma once

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <array>
#include <cerrno>
#include <cstddef>

namespace quillmate::werkzeug {

/// From here on renameat2(2) fails in this process as on a file system that can neither exchange nor rename without
/// replacing. For a child process of a test: there is no way back. False where the kernel does not take it.
inline bool ohneRenameat2() {
    std::array<sock_filter, 4> regeln{
        {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
         BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat2, 0, 1),
         BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EINVAL),
         BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)}};
    sock_fprog const programm{.len = regeln.size(), .filter = regeln.data()};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &programm) == 0;
}

} // namespace quillmate::werkzeug
