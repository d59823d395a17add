// A reader on a system that lacks a part of the lock-up: says so, and gives every file the same text.
#include "leserprozess/nachricht.h"

#include <sys/prctl.h>
#include <sys/socket.h>

#include <csignal>
#include <string_view>

namespace {

using namespace quillmate::Texterkennung;

constexpr int kanal = 3;

void sende(std::string_view bytes) {
    (void)!::send(kanal, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

} // namespace

int main() {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    auto const bereit = alsBytes(
        Bereitschaft{Sprachstand::beide, {.landlock = false, .seccomp = true, .speichergrenze = false}});
    sende({reinterpret_cast<char const*>(bereit.data()), bereit.size()});
    // Received without room for the descriptor, which the kernel then drops.
    for (Kopfbytes bytes{}; ::recv(kanal, bytes.data(), bytes.size(), MSG_WAITALL) > 0;)
        if (auto const auftrag = auftragAus(bytes))
            sende(antwortBytes(auftrag->nummer, {Lesung::Art::gelesen, "gelesen"}));
}
