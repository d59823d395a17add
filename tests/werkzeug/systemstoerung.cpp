#include "systemstoerung.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>

namespace quillmate::werkzeug {

namespace {

std::atomic<Stoerung> stoerung{Stoerung::keine};
std::atomic<int> ziel{0};
std::atomic<int> zaehler{0};
std::atomic<int> grund{ENOSPC};
std::atomic<Dauer> dauer{Dauer::einmal};

/// Whether this call is the one; if it is to fail, errno is set.
bool trifft() {
    auto const dieser = ++zaehler;
    if (stoerung == Stoerung::keine || (dauer == Dauer::einmal ? dieser != ziel : dieser < ziel))
        return false;
    if (stoerung == Stoerung::toeten)
        ::raise(SIGKILL);
    errno = grund;
    return true;
}

} // namespace

void stoere(Stoerung art, int beimAufruf, int fehlernummer, Dauer wieLange) {
    grund = fehlernummer;
    dauer = wieLange;
    stoerung = art;
    ziel = beimAufruf;
    zaehler = 0;
}

int aufrufe() {
    return zaehler;
}

} // namespace quillmate::werkzeug

using quillmate::werkzeug::trifft;

namespace {

template<typename... Werte>
int weiter(long nummer, Werte... werte) {
    return trifft() ? -1 : static_cast<int>(::syscall(nummer, werte...));
}

} // namespace

// The names and types are the C library's; its headers declare them, some with attributes that we cannot repeat.
extern "C" {

int openat(int ordner, char const* name, int flaggen, ...) {
    unsigned rechte = 0;
    if ((flaggen & (O_CREAT | O_TMPFILE)) != 0) {
        va_list weitere;
        va_start(weitere, flaggen);
        rechte = va_arg(weitere, unsigned);
        va_end(weitere);
    }
    if ((flaggen & O_CREAT) != 0)
        return weiter(SYS_openat, ordner, name, flaggen, rechte);
    return static_cast<int>(::syscall(SYS_openat, ordner, name, flaggen, rechte));
}

int open(char const* name, int flaggen, ...) {
    unsigned rechte = 0;
    if ((flaggen & (O_CREAT | O_TMPFILE)) != 0) {
        va_list weitere;
        va_start(weitere, flaggen);
        rechte = va_arg(weitere, unsigned);
        va_end(weitere);
    }
    return openat(AT_FDCWD, name, flaggen, rechte);
}

ssize_t write(int deskriptor, void const* bytes, std::size_t laenge) {
    using namespace quillmate::werkzeug;
    if (deskriptor > STDERR_FILENO) {
        if (zaehler + 1 == ziel && stoerung == Stoerung::toeten)
            (void)::syscall(SYS_write, deskriptor, bytes, laenge / 2);
        if (trifft())
            return -1;
    }
    return ::syscall(SYS_write, deskriptor, bytes, laenge);
}

int mkdir(char const* name, mode_t rechte) noexcept {
    return weiter(SYS_mkdirat, AT_FDCWD, name, rechte);
}
int mkdirat(int ordner, char const* name, mode_t rechte) noexcept {
    return weiter(SYS_mkdirat, ordner, name, rechte);
}
int unlink(char const* name) noexcept {
    return weiter(SYS_unlinkat, AT_FDCWD, name, 0);
}
int unlinkat(int ordner, char const* name, int flaggen) noexcept {
    return weiter(SYS_unlinkat, ordner, name, flaggen);
}
int symlinkat(char const* inhalt, int ordner, char const* name) noexcept {
    return weiter(SYS_symlinkat, inhalt, ordner, name);
}
int rename(char const* von, char const* nach) noexcept {
    return weiter(SYS_renameat2, AT_FDCWD, von, AT_FDCWD, nach, 0U);
}
int renameat2(int vonOrdner, char const* von, int nachOrdner, char const* nach, unsigned flaggen) noexcept {
    return weiter(SYS_renameat2, vonOrdner, von, nachOrdner, nach, flaggen);
}
int fchmod(int deskriptor, mode_t rechte) noexcept {
    return weiter(SYS_fchmod, deskriptor, rechte);
}
int fsync(int /*deskriptor*/) {
    return trifft() ? -1 : 0; // no test cuts the power, and a disk under load takes its time
}
}
