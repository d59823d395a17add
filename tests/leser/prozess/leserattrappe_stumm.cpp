// A reader that never becomes ready.
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>

int main() {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (;;)
        ::pause();
}
