// A reader for the tests: its "documents" are orders, of one word and what belongs to it. Service loop and lock-up
// are the real ones.
#include "leser/programm/dienst.h"
#include "leser/protokoll/nachricht.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>
#include <map>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

extern char** environ;

namespace {

using namespace quillmate;

constexpr int kanal = 3;

std::string inhalt(int datei) {
    std::string text(4096, '\0');
    auto const n = ::pread(datei, text.data(), text.size(), 0);
    text.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    return text;
}

/// "gelungen", or how it failed. `ergebnis` is a call's, negative for failure.
std::string ausgang(long ergebnis) {
    return ergebnis >= 0 ? "gelungen" : ::strerrorname_np(errno);
}

void sende(std::string_view bytes) {
    while (!bytes.empty()) {
        auto const n = ::write(kanal, bytes.data(), bytes.size());
        if (n <= 0)
            return;
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
}

[[noreturn]] void schlafen() {
    for (;;) {
        timespec const lange{1000, 0};
        ::nanosleep(&lange, nullptr);
    }
}

std::string gabel() {
    auto const kind = ::fork();
    if (kind == 0)
        ::_exit(0);
    if (kind > 0)
        (void)::waitpid(kind, nullptr, 0);
    return ausgang(kind);
}

std::string faden() {
    try {
        std::thread{[] {
        }}.join();
        return "gelungen";
    } catch (std::system_error const& fehler) {
        return ::strerrorname_np(fehler.code().value());
    }
}

std::string umgebung() {
    std::string alle;
    for (auto** eintrag = environ; *eintrag != nullptr; ++eintrag)
        alle.append(*eintrag).append("\n");
    return alle;
}

/// The numbers of all open descriptors.
std::string deskriptoren() {
    std::string alle;
    for (int n = 0; n < 1024; ++n) {
        struct stat lage {};
        if (::syscall(SYS_fstat, n, &lage) == 0)
            alle += std::to_string(n) + " ";
    }
    return alle;
}

std::string speicher() {
    std::vector<std::string> alles;
    constexpr std::size_t stueck = 16U << 20U;
    for (;;)
        alles.emplace_back(stueck, 'x');
}

std::string ausfuehrbar() {
    constexpr std::size_t seite = 4096;
    auto* const p = ::mmap(nullptr, seite, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return ausgang(::mprotect(p, seite, PROT_READ | PROT_EXEC));
}

/// Computes until somebody puts a dot behind the word.
std::string sendmsgMitDeskriptor(int datei) {
    char byte = 'x';
    iovec stueck{&byte, 1};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> beilage{};
    msghdr nachricht{};
    nachricht.msg_iov = &stueck;
    nachricht.msg_iovlen = 1;
    nachricht.msg_control = beilage.data();
    nachricht.msg_controllen = beilage.size();
    auto* const kopf = reinterpret_cast<cmsghdr*>(beilage.data());
    kopf->cmsg_level = SOL_SOCKET;
    kopf->cmsg_type = SCM_RIGHTS;
    kopf->cmsg_len = CMSG_LEN(sizeof(int));
    std::memcpy(CMSG_DATA(kopf), &datei, sizeof datei);
    return ausgang(::sendmsg(kanal, &nachricht, MSG_NOSIGNAL));
}

std::string warten(int datei) {
    while (!inhalt(datei).ends_with('.')) {
    }
    return "gewartet";
}

class Befolger final : public Texterkennung::Leser {
public:
    Texterkennung::Lesung lesen(int datei, Texterkennung::Dateiart art) override {
        auto const text = inhalt(datei);
        auto const trenner = std::min(text.find(' '), text.size());
        auto const wort = text.substr(0, trenner);
        auto const rest = text.substr(std::min(trenner + 1, text.size()));
        // Some orders need to know the number of their file: the template counts from 1.
        auto const nummer = static_cast<std::uint32_t>(std::strtoul(rest.c_str(), nullptr, 10));
        std::map<std::string, std::function<std::string()>, std::less<>> const befehle{
            {"sag",
             [&] {
                 return rest;
             }},
            {"art",
             [&] {
                 return art == Texterkennung::Dateiart::pdf ? "pdf" : "bild";
             }},
            {"pid",
             [] {
                 return std::to_string(::getpid());
             }},
            {"nummer", // How many files this process has seen.
             [&] {
                 return std::to_string(++gesehen_);
             }},
            {"verschicken",
             [&] {
                 return sendmsgMitDeskriptor(datei);
             }},
            {"fuer-andere", // An answer under every number that another file may have, and none of its own.
             [&]() -> std::string {
                 for (std::uint32_t n = 2; n < 50; ++n)
                     sende(
                         leser::protokoll::antwortBytes(n, {Texterkennung::Lesung::Art::gelesen, "gelogen"}));
                 schlafen();
             }},
            {"antworten-und-bleiben",
             [&]() -> std::string {
                 sende(leser::protokoll::antwortBytes(
                     nummer, {Texterkennung::Lesung::Art::gelesen, "geblieben"}));
                 schlafen();
             }},
            {"hinaus", // Every other descriptor that there might be.
             []() -> std::string {
                 std::string gelungene;
                 for (int n = 0; n < 64; ++n)
                     if (n != kanal && ::write(n, "x", 1) > 0)
                         gelungene += std::to_string(n) + " ";
                 return gelungene;
             }},
            {"mangel",
             []() -> std::string {
                 throw std::bad_alloc{};
             }},
            {"gestoert",
             []() -> std::string {
                 throw std::runtime_error{"EIO"};
             }},
            {"umgebung", umgebung},
            {"deskriptoren", deskriptoren},
            {"warten",
             [&] {
                 return warten(datei);
             }},
            // What the lock-up denies.
            {"oeffnen",
             [&] {
                 return ausgang(::open(rest.c_str(), O_RDONLY | O_CLOEXEC));
             }},
            {"anlegen",
             [&] {
                 return ausgang(::open(rest.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
             }},
            {"loeschen",
             [&] {
                 return ausgang(::unlink(rest.c_str()));
             }},
            {"vorhanden",
             [&] {
                 return ausgang(::access(rest.c_str(), F_OK));
             }},
            {"groesse",
             [&] {
                 struct stat lage {};
                 return ausgang(::stat(rest.c_str(), &lage));
             }},
            {"socket",
             [] {
                 return ausgang(::socket(AF_INET, SOCK_STREAM, 0));
             }},
            {"lokal",
             [] {
                 return ausgang(::socket(AF_UNIX, SOCK_STREAM, 0));
             }},
            {"gabel", gabel},
            {"faden", faden},
            {"ausfuehren",
             [] {
                 std::array<char*, 1> leer{};
                 return ausgang(::execve("/bin/true", leer.data(), leer.data()));
             }},
            {"verfolgen",
             [] {
                 return ausgang(::ptrace(PTRACE_ATTACH, ::getppid(), nullptr, nullptr));
             }},
            {"toeten",
             [] {
                 return ausgang(::kill(::getppid(), 0));
             }},
            {"ausfuehrbar", ausfuehrbar},
            {"abbilden",
             [&] {
                 return ausgang(::mmap(nullptr, 1, PROT_READ, MAP_PRIVATE, datei, 0) == MAP_FAILED ? -1 : 0);
             }},
            {"schreiben",
             [&] {
                 return ausgang(::pwrite(datei, "x", 1, 0));
             }},
            {"fehlerausgabe",
             [] {
                 return ausgang(::write(STDERR_FILENO, "x", 1));
             }},
            // What hostile files make of a reader.
            {"absturz",
             []() -> std::string {
                 ::raise(SIGSEGV);
                 return {};
             }},
            {"abbruch",
             []() -> std::string {
                 std::abort();
             }},
            {"ende",
             []() -> std::string {
                 ::_exit(7);
             }},
            {"rechnen",
             []() -> std::string {
                 for (;;)
                     std::this_thread::yield();
             }},
            {"schlafen",
             []() -> std::string {
                 schlafen();
             }},
            {"speicher", speicher},
            {"flut",
             []() -> std::string {
                 for (std::string const muell(65'536, 'Q');;)
                     sende(muell);
             }},
            {"langsam", // The head of an answer, and then nothing.
             [&]() -> std::string {
                 sende(leser::protokoll::antwortBytes(nummer, {Texterkennung::Lesung::Art::gelesen, "abc"})
                           .substr(0, 17));
                 schlafen();
             }},
            {"roh",
             [&]() -> std::string {
                 sende(rest);
                 schlafen();
             }},
            {"falsche-nummer",
             [&]() -> std::string {
                 sende(leser::protokoll::antwortBytes(
                     nummer + 1, {Texterkennung::Lesung::Art::gelesen, "gelogen"}));
                 schlafen();
             }},
            {"zuviel", // Its own answer, before the one that the service gives.
             [&] {
                 sende(
                     leser::protokoll::antwortBytes(nummer, {Texterkennung::Lesung::Art::gelesen, "erste"}));
                 return "zweite";
             }},
        };
        auto const befehl = befehle.find(wort);
        if (befehl == befehle.end())
            return {};
        try {
            return {Texterkennung::Lesung::Art::gelesen, befehl->second()};
        } catch (std::bad_alloc const&) {
            return {Texterkennung::Lesung::Art::ohneMittel, std::nullopt};
        } catch (std::runtime_error const&) {
            return {Texterkennung::Lesung::Art::gestoert, std::nullopt};
        }
    }

private:
    int gesehen_{0};
};

} // namespace

int main() {
    return leser::programm::alsLeserDienen([] {
        return leser::programm::Werkzeug{std::make_unique<Befolger>(), Texterkennung::Sprachstand::beide};
    });
}
