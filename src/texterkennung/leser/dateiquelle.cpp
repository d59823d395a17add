#include "dateiquelle.h"

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace quillmate::Texterkennung {

std::optional<Dateiquelle> Dateiquelle::ausDeskriptor(int deskriptor) {
    struct stat daten {};
    // Not by fstat(): the C library makes a call of it that takes paths too, and the readers' lock-up denies that.
    if (syscall(SYS_fstat, deskriptor, &daten) != 0)
        return std::nullopt;
    return Dateiquelle{deskriptor, daten.st_size};
}

std::size_t Dateiquelle::lesen(std::int64_t stelle, std::span<std::uint8_t> ziel) const noexcept {
    std::size_t gelesen = 0;
    while (gelesen < ziel.size()) {
        auto const n = pread(
            deskriptor_, ziel.data() + gelesen, ziel.size() - gelesen,
            stelle + static_cast<std::int64_t>(gelesen));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        gelesen += static_cast<std::size_t>(n);
    }
    return gelesen;
}

} // namespace quillmate::Texterkennung
