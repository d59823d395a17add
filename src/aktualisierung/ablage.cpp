#include "ablage.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace quillmate::aktualisierung {

Ergebnis<Ablage> Ablage::in(std::string const& ordner) {
    Deskriptor datei{::open(ordner.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600)};
    if (!datei) { // a file system that knows no such files
        auto vorlage = ordner + "/.quillmate-XXXXXX";
        datei = Deskriptor{::mkostemp(vorlage.data(), O_CLOEXEC)};
        if (!datei)
            return errnoFehler(ordner, "Nicht zu beschreiben ist");
        ::unlink(vorlage.c_str());
    }
    return Ablage{std::move(datei)};
}

Ablage::Ablage(Deskriptor datei) noexcept
    : datei_(std::move(datei)) {}

Ablage::Ablage(Ablage&& andere) noexcept
    : datei_(std::move(andere.datei_))
    , laenge_(std::exchange(andere.laenge_, 0))
    , abbild_(std::exchange(andere.abbild_, nullptr)) {}

Ablage::~Ablage() {
    if (abbild_)
        ::munmap(abbild_, laenge_);
}

Ergebnis<void> Ablage::anhaengen(char const* bytes, std::size_t anzahl) {
    while (anzahl > 0) {
        auto const n = ::write(datei_.get(), bytes, anzahl);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return errnoFehler({}, "Das Archiv ist nicht abzulegen");
        bytes += n;
        anzahl -= static_cast<std::size_t>(n);
        laenge_ += static_cast<std::size_t>(n);
    }
    return {};
}

Ergebnis<std::string_view> Ablage::alles() {
    if (laenge_ == 0)
        return std::string_view{};
    if (!abbild_) {
        void* const abbild = ::mmap(nullptr, laenge_, PROT_READ, MAP_PRIVATE, datei_.get(), 0);
        if (abbild == MAP_FAILED)
            return errnoFehler({}, "Das Archiv ist nicht zu lesen");
        abbild_ = abbild;
    }
    return std::string_view{static_cast<char const*>(abbild_), laenge_};
}

} // namespace quillmate::aktualisierung
