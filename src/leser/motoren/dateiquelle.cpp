#include "dateiquelle.h"

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace quillmate::leser::motoren {

std::optional<Dateiquelle> Dateiquelle::ausDeskriptor(int deskriptor) {
    struct stat daten {};
    // Not by fstat(): the C library makes a call of it that takes paths too, and the readers' lock-up denies that.
    if (syscall(SYS_fstat, deskriptor, &daten) != 0)
        return std::nullopt;
    Dateiquelle quelle{deskriptor, daten.st_size};
    quelle.gestoert_ = std::make_shared<bool>(false);
    return quelle;
}

Dateiquelle Dateiquelle::ausSpeicher(std::span<std::uint8_t const> bytes) noexcept {
    return Dateiquelle{-1, static_cast<std::int64_t>(bytes.size()), bytes};
}

std::size_t Dateiquelle::lesen(std::int64_t stelle, std::span<std::uint8_t> ziel) const noexcept {
    if (deskriptor_ < 0) {
        auto const ab = std::clamp<std::int64_t>(stelle, 0, groesse_);
        auto const rest = speicher_.subspan(static_cast<std::size_t>(ab));
        auto const anzahl = std::min(rest.size(), ziel.size());
        std::copy_n(rest.begin(), anzahl, ziel.begin());
        return anzahl;
    }
    std::size_t gelesen = 0;
    while (gelesen < ziel.size()) {
        auto const n = pread(
            deskriptor_, ziel.data() + gelesen, ziel.size() - gelesen,
            stelle + static_cast<std::int64_t>(gelesen));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            *gestoert_ = true;
        if (n <= 0)
            break;
        gelesen += static_cast<std::size_t>(n);
    }
    return gelesen;
}

} // namespace quillmate::leser::motoren
