#pragma once

#include "ordner/dateisuche.h"
#include "werkzeug/ordner_auf_zeit.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace quillmate::test {

inline constexpr std::size_t alle = static_cast<std::size_t>(-1);

/// The finds' paths below `wurzel`, in their order.
inline std::vector<std::string> namen(std::vector<Ordner::Fund> const& funde, std::string const& wurzel) {
    std::vector<std::string> liste;
    for (auto const& fund : funde)
        liste.push_back(
            fund.pfad.starts_with(wurzel + "/") ? fund.pfad.substr(wurzel.size() + 1) : fund.pfad);
    return liste;
}

/// The same, sorted: for tests about what is found, not in which order.
inline std::vector<std::string> gefunden(std::string const& wurzel, Ordner::Suchauftrag auftrag = {}) {
    if (auftrag.hoechstens == 0)
        auftrag.hoechstens = alle;
    auto liste = namen(Ordner::durchsuchen(wurzel, auftrag), wurzel);
    std::ranges::sort(liste);
    return liste;
}

/// The paths in enumeration order, which the sorted result hides.
inline std::vector<std::string> reihenfolge(std::string const& wurzel, unsigned faeden) {
    std::vector<std::string> liste;
    Ordner::Suchauftrag auftrag{.hoechstens = alle, .faeden = faeden};
    auftrag.ausserdem = [&](std::string const& pfad, std::int64_t) {
        liste.push_back(pfad.substr(wurzel.size() + 1));
        return true;
    };
    (void)Ordner::durchsuchen(wurzel, auftrag);
    return liste;
}

/// Sets the time of the last change; it does not follow links.
inline void aendern(std::string const& pfad, std::int64_t sekunden, long nanosekunden = 0) {
    timespec zeiten[2]{{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, {.tv_sec = sekunden, .tv_nsec = nanosekunden}};
    if (::utimensat(AT_FDCWD, pfad.c_str(), zeiten, AT_SYMLINK_NOFOLLOW) != 0)
        throw std::runtime_error{"utimensat " + pfad};
}

inline std::size_t eintraegeIn(char const* ordner) {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator{ordner}, {}));
}
inline std::size_t offeneDeskriptoren() {
    return eintraegeIn("/proc/self/fd");
}

/// Runs `arbeit` in a child process, for what would spoil this one; its exit status, or -1.
inline int imKindprozess(std::function<bool()> const& arbeit) {
    pid_t const kind = ::fork();
    if (kind == 0) {
        bool gelungen = false;
        try {
            gelungen = arbeit();
        } catch (...) {
        }
        ::_exit(gelungen ? 0 : 1);
    }
    int stand = 0;
    if (kind < 0 || ::waitpid(kind, &stand, 0) != kind || !WIFEXITED(stand))
        return -1;
    return WEXITSTATUS(stand);
}

/// A chain of folders, one in the other, deeper than the kernel takes as one path. Each level has the
/// subfolder `name`; `jeEbene` may put more into it, through the descriptor.
class TieferBaum {
public:
    TieferBaum(
        std::string wurzel, std::string name, std::size_t ebenen,
        std::function<void(int, std::size_t)> const& jeEbene)
        : wurzel_(std::move(wurzel))
        , name_(std::move(name)) {
        int hier = ::open(wurzel_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        for (std::size_t i = 0; i < ebenen; ++i) {
            jeEbene(hier, i);
            if (::mkdirat(hier, name_.c_str(), 0755) != 0)
                throw std::runtime_error{"mkdirat"};
            int const tiefer = ::openat(hier, name_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            ::close(hier);
            hier = tiefer;
        }
        jeEbene(hier, ebenen);
        ::close(hier);
    }
    ~TieferBaum() {
        // Few tools remove so deep a tree: unfold it, by moving each level's subfolder up to the root.
        namespace fs = std::filesystem;
        std::error_code fehler;
        auto const kette = fs::path{wurzel_} / name_;
        for (std::size_t i = 0; fs::exists(fs::symlink_status(kette / name_)); ++i) {
            fs::rename(kette / name_, fs::path{wurzel_} / "rest", fehler);
            fs::remove_all(kette, fehler);
            fs::rename(fs::path{wurzel_} / "rest", kette, fehler);
            if (fehler)
                return;
        }
    }
    TieferBaum(TieferBaum const&) = delete;
    TieferBaum& operator=(TieferBaum const&) = delete;

private:
    std::string wurzel_;
    std::string name_;
};

inline void leereDatei(int ordner, char const* name) {
    int const deskriptor = ::openat(ordner, name, O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (deskriptor < 0)
        throw std::runtime_error{"openat"};
    ::close(deskriptor);
}

} // namespace quillmate::test
