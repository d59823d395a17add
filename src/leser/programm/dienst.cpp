#include "dienst.h"

#include "grundlage/datei.h"
#include "leser/protokoll/nachricht.h"
#include "sandkasten.h"

#include <fcntl.h>
#include <malloc.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
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

constexpr int kanal = 3; // Where the main program puts it.
constexpr int ersterFremder = 4;

constexpr int endeGut = 0;
constexpr int endeOhneKanal = 2;

/// Ends with the main program, and only with it: whatever a terminal or a session's end sends to everybody would
/// otherwise make a file count as one without text.
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
    return ::getsockopt(kanal, SOL_SOCKET, SO_TYPE, &art, &laenge) == 0 && art == SOCK_STREAM;
}

bool senden(std::string_view bytes) {
    while (!bytes.empty()) {
        auto const n = ::send(kanal, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

struct Empfangen {
    leser::protokoll::Auftrag auftrag;
    Deskriptor datei;
};

/// Waits for the next file. Nothing at the end of the channel, and for what is no message with exactly one
/// descriptor: the main program sends nothing else.
std::optional<Empfangen> empfangen() {
    leser::protokoll::Kopfbytes bytes{};
    iovec stueck{bytes.data(), bytes.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> beilage{};
    msghdr nachricht{};
    nachricht.msg_iov = &stueck;
    nachricht.msg_iovlen = 1;
    nachricht.msg_control = beilage.data();
    nachricht.msg_controllen = beilage.size();
    ssize_t n = 0;
    do
        n = ::recvmsg(kanal, &nachricht, MSG_CMSG_CLOEXEC | MSG_WAITALL);
    while (n < 0 && errno == EINTR);
    auto const* const kopf = n > 0 ? CMSG_FIRSTHDR(&nachricht) : nullptr;
    if (kopf == nullptr || kopf->cmsg_level != SOL_SOCKET || kopf->cmsg_type != SCM_RIGHTS ||
        kopf->cmsg_len != CMSG_LEN(sizeof(int)))
        return std::nullopt;
    int datei = -1;
    std::memcpy(&datei, CMSG_DATA(kopf), sizeof datei);
    Deskriptor besitz{datei};
    auto const auftrag = leser::protokoll::auftragAus({bytes.data(), static_cast<std::size_t>(n)});
    if (!auftrag || (nachricht.msg_flags & MSG_CTRUNC) != 0)
        return std::nullopt;
    return Empfangen{*auftrag, std::move(besitz)};
}

/// Several readers are at work at once. The allocator's own limits move up with the first large picture, and what
/// is freed below a block that is still in use stays; fixed limits keep large blocks apart and give them back.
void sparsamSein() {
    constexpr int eigenesStueck = 128 << 10;
    constexpr int freilassen = 1 << 20;
    (void)::mallopt(M_MMAP_THRESHOLD, eigenesStueck);
    (void)::mallopt(M_TRIM_THRESHOLD, freilassen);
}

bool bedienen(Texterkennung::Leser& leser, leser::protokoll::Riegel riegel) {
    while (auto auftrag = empfangen()) {
        auto const lesung =
            mangelBeurteilt(leser.lesen(auftrag->datei.get(), auftrag->auftrag.art), riegel.speichergrenze);
        if (!senden(leser::protokoll::antwortBytes(auftrag->auftrag.nummer, lesung)))
            return false;
        // After the answer, so that nobody waits for it; the next file may be small. To give back little and take it
        // again costs more than it saves: half a millisecond a file.
        constexpr std::size_t lohnend = std::size_t{4} << 20U;
        if (::mallinfo2().fordblks > lohnend)
            (void)::malloc_trim(0);
    }
    return true;
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
    alsErsterGehen();
    if (!istKanal())
        return endeOhneKanal;
    sparsamSein();
    auto const werkzeug = bau();
    auto const riegel = einschliessen(kanal);
    auto const bereit =
        leser::protokoll::alsBytes(leser::protokoll::Bereitschaft{werkzeug.sprachstand, riegel});
    if (!senden({reinterpret_cast<char const*>(bereit.data()), bereit.size()}))
        return endeGut;
    (void)bedienen(*werkzeug.leser, riegel);
    return endeGut;
}

} // namespace quillmate::leser::programm
