#include "systemhaken.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstring>

namespace quillmate::haken {

Haken& haken() {
    static Haken haken;
    return haken;
}

} // namespace quillmate::haken

using quillmate::haken::haken;

extern "C" ssize_t getdents64(int deskriptor, void* puffer, std::size_t laenge) noexcept {
    ++haken().leseaufrufe;
    std::ptrdiff_t anzahl = ::syscall(SYS_getdents64, deskriptor, puffer, laenge);
    if (haken().ohneArten) {
        auto* const bytes = static_cast<char*>(puffer);
        for (std::ptrdiff_t stelle = 0; stelle < anzahl;) {
            std::uint16_t satz = 0;
            std::memcpy(&satz, bytes + stelle + offsetof(dirent64, d_reclen), sizeof satz);
            bytes[stelle + static_cast<std::ptrdiff_t>(offsetof(dirent64, d_type))] = DT_UNKNOWN;
            stelle += satz;
        }
    }
    return haken().nachLesen ? haken().nachLesen(deskriptor, anzahl) : anzahl;
}

extern "C" int openat(int ordner, char const* name, int flaggen, ...) {
    unsigned rechte = 0;
    if ((flaggen & (O_CREAT | O_TMPFILE)) != 0) {
        va_list weitere;
        va_start(weitere, flaggen);
        rechte = va_arg(weitere, unsigned);
        va_end(weitere);
    }
    bool const imKreis = !haken().kreis.empty() && std::strcmp(name, "kreis") == 0;
    return static_cast<int>(
        ::syscall(SYS_openat, ordner, imKreis ? haken().kreis.c_str() : name, flaggen, rechte));
}

extern "C" int statx(
    int ordner, char const* name, int flaggen, unsigned maske, struct statx* werte) noexcept {
    ++haken().wertabfragen;
    return static_cast<int>(::syscall(SYS_statx, ordner, name, flaggen, maske, werte));
}
