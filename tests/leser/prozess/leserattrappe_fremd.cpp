// A reader of another version: says something, and not what is expected.
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <string_view>

int main() {
    constexpr std::string_view gruss = "QL\x63\x01____________";
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    (void)!::send(3, gruss.data(), gruss.size(), MSG_NOSIGNAL);
    for (;;)
        ::pause();
}
