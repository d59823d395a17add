#include "arbeitsfaden_linux.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace quillmate::adapter::linux {

void ArbeitsfadenLinux::alsHilfsarbeit() noexcept {
    constexpr int nachrangig = 10;
    // On Linux nice is a property of the thread, whatever POSIX says (setpriority(2), "C library/kernel
    // differences").
    auto const faden = static_cast<id_t>(::gettid());
    if (::getpriority(PRIO_PROCESS, faden) < nachrangig)
        (void)::setpriority(PRIO_PROCESS, faden, nachrangig);
    // ioprio_set(2) has no wrapper in glibc: "who" is a process or thread, class 2 is best effort, level 7
    // its lowest.
    constexpr int wer = 1;
    constexpr int klasse = 2 << 13;
    constexpr int stufe = 7;
    (void)::syscall(SYS_ioprio_set, wer, 0, klasse | stufe);
}

} // namespace quillmate::adapter::linux
