#include "datei.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <new>

namespace quillmate {

Deskriptor& Deskriptor::operator=(Deskriptor&& anderer) noexcept {
    if (this != &anderer) {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = std::exchange(anderer.fd_, -1);
    }
    return *this;
}

Deskriptor::~Deskriptor() {
    if (fd_ < 0)
        return;
    // Whoever fails returns through here, and the reason must get through.
    auto const grund = errno;
    ::close(fd_);
    errno = grund;
}

Deskriptor oeffnen(std::string const& pfad, int flaggen) {
    if (pfad.find('\0') != std::string::npos) {
        errno = EINVAL;
        return {};
    }
    if (pfad.size() < PATH_MAX)
        return Deskriptor{::open(pfad.c_str(), flaggen | O_CLOEXEC, 0600)};

    // Walk down: each step opens a folder relative to the one before, by as many components as fit.
    Deskriptor hier{::open(pfad.front() == '/' ? "/" : ".", O_PATH | O_DIRECTORY | O_CLOEXEC)};
    std::string_view rest = pfad;
    while (hier) {
        rest.remove_prefix(std::min(rest.find_first_not_of('/'), rest.size()));
        if (rest.size() < PATH_MAX)
            return Deskriptor{::openat(hier.get(), std::string{rest}.c_str(), flaggen | O_CLOEXEC, 0600)};
        auto const schnitt = rest.rfind('/', PATH_MAX - 2);
        if (schnitt == std::string_view::npos) {
            errno = ENAMETOOLONG;
            return {};
        }
        hier = Deskriptor{::openat(
            hier.get(), std::string{rest.substr(0, schnitt)}.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)};
        rest.remove_prefix(schnitt);
    }
    return {};
}

Deskriptor oeffneDatei(std::string const& pfad) {
    // O_NONBLOCK: opening a pipe without writer would block; it means nothing for a regular file.
    auto deskriptor = oeffnen(pfad, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    struct stat lage {};
    if (!deskriptor || ::fstat(deskriptor.get(), &lage) != 0)
        return {};
    if (!S_ISREG(lage.st_mode)) {
        errno = EINVAL;
        return {};
    }
    return deskriptor;
}

std::optional<std::string> leseDatei(
    std::string const& pfad, std::uint64_t hoechstgroesse, std::string_view vorspann,
    std::string_view nachspann) {
    auto const deskriptor = oeffneDatei(pfad);
    struct stat lage {};
    if (!deskriptor || ::fstat(deskriptor.get(), &lage) != 0)
        return std::nullopt;
    auto const gemeldet = static_cast<std::uint64_t>(lage.st_size);
    auto const scheitern = [](int grund) -> std::optional<std::string> {
        errno = grund;
        return std::nullopt;
    };
    if (gemeldet > hoechstgroesse)
        return scheitern(EFBIG);
    try {
        std::string inhalt;
        // One byte more than the file has: the read that finds the end then needs no larger buffer.
        inhalt.reserve(vorspann.size() + static_cast<std::size_t>(gemeldet) + 1 + nachspann.size());
        inhalt = vorspann;
        std::uint64_t gelesen = 0;
        for (;;) {
            auto const stueck = gelesen <= gemeldet ? static_cast<std::size_t>(gemeldet - gelesen) + 1
                                                    : std::size_t{64} * 1024; // it grows while it is read
            auto const anfang = inhalt.size();
            ssize_t n = 0;
            int grund = 0;
            inhalt.resize_and_overwrite(anfang + stueck, [&](char* ziel, std::size_t) {
                n = ::read(deskriptor.get(), ziel + anfang, stueck);
                grund = errno;
                return anfang + static_cast<std::size_t>(std::max<ssize_t>(n, 0));
            });
            if (n < 0 && grund == EINTR)
                continue;
            if (n < 0)
                return scheitern(grund);
            if (n == 0)
                break;
            gelesen += static_cast<std::uint64_t>(n);
            if (gelesen > hoechstgroesse)
                return scheitern(EFBIG);
        }
        inhalt += nachspann;
        return inhalt;
    } catch (std::bad_alloc const&) {
        return scheitern(ENOMEM);
    }
}

namespace {

bool schreibeAlles(int deskriptor, std::string_view inhalt) {
    while (!inhalt.empty()) {
        auto const n = ::write(deskriptor, inhalt.data(), inhalt.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n == 0)
            errno = EIO; // says nothing by itself
        if (n <= 0)
            return false;
        inhalt.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

/// A name that no other writer uses: process and running number.
std::string nebenname(std::string const& pfad) {
    static std::atomic<unsigned> laufend{0};
    return fmt::format("{}.{}-{}.neu", pfad, ::getpid(), laufend.fetch_add(1, std::memory_order_relaxed));
}

} // namespace

bool schreibeAtomar(std::string const& pfad, std::string_view inhalt, Dauerhaft dauerhaft) {
    auto const neben = nebenname(pfad);
    // O_EXCL and O_NOFOLLOW: nobody can plant a link under the temporary name.
    Deskriptor datei{::open(neben.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)};
    if (!datei && errno == EEXIST) { // Left behind by a process of the same number that died here.
        ::unlink(neben.c_str());
        datei = Deskriptor{::open(neben.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)};
    }
    if (!datei)
        return false;
    bool gut = schreibeAlles(datei.get(), inhalt);
    // Without this a power cut can leave a renamed file without its bytes.
    if (gut && dauerhaft == Dauerhaft::ja)
        gut = ::fdatasync(datei.get()) == 0;
    auto grund = gut ? 0 : errno;
    // A network share may say only now that it is full.
    if (::close(datei.abgeben()) != 0 && gut) {
        gut = false;
        grund = errno;
    }
    if (gut && ::rename(neben.c_str(), pfad.c_str()) != 0) {
        gut = false;
        grund = errno;
    }
    if (!gut) {
        ::unlink(neben.c_str());
        errno = grund;
        return false;
    }
    if (dauerhaft == Dauerhaft::ja) {
        auto const schnitt = pfad.rfind('/');
        auto const ordner = schnitt == std::string::npos ? std::string{"."}
                                                         : pfad.substr(0, std::max<std::size_t>(schnitt, 1));
        Deskriptor const eltern{::open(ordner.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
        if (eltern)
            ::fsync(eltern.get()); // The content is safe either way; only the new name could be lost.
    }
    return true;
}

bool ordnerAnlegen(std::string const& pfad) {
    if (pfad.empty())
        return false;
    for (std::size_t ende = pfad.find('/', 1);; ende = pfad.find('/', ende + 1)) {
        auto const teil = pfad.substr(0, ende);
        if (::mkdir(teil.c_str(), 0700) != 0 && errno != EEXIST && errno != EACCES && errno != EROFS)
            return false;
        if (ende == std::string::npos)
            break;
    }
    struct stat lage {};
    if (::stat(pfad.c_str(), &lage) != 0)
        return false;
    if (!S_ISDIR(lage.st_mode))
        errno = ENOTDIR;
    return S_ISDIR(lage.st_mode);
}

bool umbenennenOhneErsetzen(std::string const& von, std::string const& nach) {
    if (::renameat2(AT_FDCWD, von.c_str(), AT_FDCWD, nach.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP)
        return false;
    // A file system that cannot: a place holder of our own takes the name, and only that is replaced.
    struct stat lage {};
    if (::lstat(von.c_str(), &lage) != 0)
        return false;
    bool const ordner = S_ISDIR(lage.st_mode);
    if (ordner) {
        if (::mkdir(nach.c_str(), 0700) != 0)
            return false;
    } else if (!Deskriptor{::open(nach.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)}) {
        return false;
    }
    if (::rename(von.c_str(), nach.c_str()) == 0)
        return true;
    auto const grund = errno;
    (void)(ordner ? ::rmdir(nach.c_str()) : ::unlink(nach.c_str()));
    errno = grund;
    return false;
}

std::string standardisiert(std::string_view pfad) {
    std::filesystem::path ganz{pfad};
    if (!ganz.is_absolute()) {
        std::error_code fehler;
        ganz = std::filesystem::current_path(fehler) / ganz;
    }
    auto text = ganz.lexically_normal().string();
    // POSIX leaves a path that begins with exactly two slashes to the system; Linux knows no difference.
    if (text.starts_with("//"))
        text.erase(
            0, text.find_first_not_of('/') == std::string::npos ? text.size() - 1
                                                                : text.find_first_not_of('/') - 1);
    while (text.size() > 1 && text.back() == '/')
        text.pop_back();
    return text;
}

std::string letzteKomponente(std::string_view pfad) {
    while (pfad.size() > 1 && pfad.back() == '/')
        pfad.remove_suffix(1);
    auto const schnitt = pfad.rfind('/');
    if (schnitt == std::string_view::npos || pfad.size() == 1)
        return std::string{pfad};
    return std::string{pfad.substr(schnitt + 1)};
}

} // namespace quillmate
