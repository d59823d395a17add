#include "einzelinstanz.h"

#include "grundlage/protokoll.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <functional>
#include <string_view>
#include <utility>

namespace quillmate::app {

namespace {

/// What tells the two kinds of builds apart.
struct Bauart {
    char const* sperrdatei;
    char const* meldung; ///< Logged when another one holds the lock.
    std::function<bool(std::string_view)> gehoertDazu;
};

Bauart bauartVon(std::string_view kennung) {
    if (kennung == hauptbau)
        return {
            .sperrdatei = "quillmate-einzelinstanz.lock",
            .meldung = "Quillmate läuft bereits",
            .gehoertDazu = [](std::string_view andere) {
                return andere == hauptbau;
            }};
    return {
        .sperrdatei = "quillmate-demo-einzelinstanz.lock",
        .meldung = "Eine Quillmate-Demo läuft bereits",
        .gehoertDazu = [](std::string_view andere) {
            return andere.starts_with(std::string{hauptbau} + '.');
        }};
}

/// The locked file; errno is EWOULDBLOCK when somebody else has the lock. Nothing is written into the file.
Deskriptor sperren(std::string const& pfad) {
    // O_NOFOLLOW: in a temporary folder that all users share, anyone may have put a link there.
    Deskriptor datei{::open(pfad.c_str(), O_RDWR | O_CREAT | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC, 0600)};
    struct stat lage {};
    if (!datei || ::fstat(datei.get(), &lage) != 0)
        return {};
    if (!S_ISREG(lage.st_mode)) {
        datei = {};
        errno = EINVAL;
        return {};
    }
    while (::flock(datei.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EINTR)
            continue;
        auto const grund = errno;
        datei = {};
        errno = grund;
        return {};
    }
    return datei;
}

} // namespace

AppEinzelinstanz::AppEinzelinstanz(Deskriptor sperrdatei) noexcept
    : sperrdatei_(std::move(sperrdatei)) {}

Deskriptor AppEinzelinstanz::nurSperren(
    std::optional<std::string> const& kennung, std::string const& ordner) {
    return sperren(ordner + '/' + bauartVon(kennung ? std::string_view{*kennung} : hauptbau).sperrdatei);
}

std::optional<AppEinzelinstanz> AppEinzelinstanz::belegen(
    std::optional<std::string> const& kennung, std::string const& ordner,
    ports::LaufendeProgramme& programme) {
    auto const bauart = bauartVon(kennung ? std::string_view{*kennung} : hauptbau);
    auto sperrdatei = sperren(ordner + '/' + bauart.sperrdatei);
    if (sperrdatei)
        return AppEinzelinstanz{std::move(sperrdatei)};
    bool const belegt = errno == EWOULDBLOCK;
    (void)programme.aktivieren(bauart.gehoertDazu);
    protokoll(belegt ? bauart.meldung : "Einzelinstanz-Sperre konnte nicht angelegt werden");
    return std::nullopt;
}

} // namespace quillmate::app
