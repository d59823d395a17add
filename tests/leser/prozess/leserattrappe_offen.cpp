// A template on a system that lacks Landlock, and in a second build (QUILLMATE_MIT_SECCOMP=false) Seccomp too.
// Says so, and lets the children that it forks give every file the same text.
#include "leser/protokoll/nachricht.h"

#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstring>
#include <string_view>

namespace {

using namespace quillmate;

constexpr int kanal = 3;

void sende(leser::protokoll::Kopfbytes const& bytes) {
    (void)!::write(kanal, bytes.data(), bytes.size());
}

void antworte(int pipe, std::uint32_t nummer) {
    auto const antwort =
        leser::protokoll::antwortBytes(nummer, {Texterkennung::Lesung::Art::gelesen, "gelesen"});
    (void)!::write(pipe, antwort.data(), antwort.size());
    ::_exit(0);
}

} // namespace

int main() {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    sende(leser::protokoll::alsBytes(leser::protokoll::Bereitschaft{
        Texterkennung::Sprachstand::beide,
        {.landlock = false, .seccomp = QUILLMATE_MIT_SECCOMP, .speichergrenze = true}}));
    for (;;) {
        leser::protokoll::Kopfbytes bytes{};
        std::array<int, 2> beide{};
        iovec stueck{bytes.data(), bytes.size()};
        alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof beide)> beilage{};
        msghdr nachricht{};
        nachricht.msg_iov = &stueck;
        nachricht.msg_iovlen = 1;
        nachricht.msg_control = beilage.data();
        nachricht.msg_controllen = beilage.size();
        if (::recvmsg(kanal, &nachricht, 0) <= 0)
            return 0;
        std::memcpy(beide.data(), CMSG_DATA(reinterpret_cast<cmsghdr*>(beilage.data())), sizeof beide);
        auto const auftrag = leser::protokoll::auftragAus(bytes);
        if (!auftrag)
            return 1;
        auto const pid = static_cast<pid_t>(
            ::syscall(SYS_clone, CLONE_PARENT | SIGCHLD, nullptr, nullptr, nullptr, nullptr));
        if (pid == 0)
            antworte(beide[1], auftrag->nummer);
        for (int const datei : beide)
            ::close(datei);
        sende(leser::protokoll::alsBytes(leser::protokoll::Geburt{auftrag->nummer, pid, 0}));
    }
}
