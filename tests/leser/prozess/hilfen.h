#pragma once

#include "grundlage/datei.h"
#include "leser/prozess/leser_prozesse.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace quillmate::Texterkennung {

/// A file in memory.
inline Deskriptor alsDatei(std::string const& inhalt) {
    Deskriptor datei{::memfd_create("befehl", MFD_CLOEXEC)};
    if (::write(datei.get(), inhalt.data(), inhalt.size()) != static_cast<ssize_t>(inhalt.size()))
        std::abort();
    return datei;
}

/// Processor time of a process.
inline std::chrono::nanoseconds gerechnet(pid_t pid) {
    clockid_t uhr{};
    timespec zeit{};
    if (::clock_getcpuclockid(pid, &uhr) != 0 || ::clock_gettime(uhr, &zeit) != 0)
        return {};
    return std::chrono::seconds{zeit.tv_sec} + std::chrono::nanoseconds{zeit.tv_nsec};
}

inline bool lebt(pid_t pid) {
    return ::kill(pid, 0) == 0;
}

/// Whether the process still does anything; one that ended and was not waited for does not.
inline bool laeuft(pid_t pid) {
    std::ifstream datei{"/proc/" + std::to_string(pid) + "/stat"};
    std::string zeile;
    if (!std::getline(datei, zeile))
        return false;
    auto const nachName = zeile.rfind(')');
    return nachName != std::string::npos && zeile.size() > nachName + 2 && zeile[nachName + 2] != 'Z' &&
           zeile[nachName + 2] != 'X';
}

/// All processes that a thread of this process started and that are not waited for.
inline std::vector<pid_t> kinder(pid_t pid) {
    std::vector<pid_t> alle;
    std::error_code fehler;
    for (auto const& faden :
         std::filesystem::directory_iterator{"/proc/" + std::to_string(pid) + "/task", fehler}) {
        std::ifstream datei{faden.path() / "children"};
        for (pid_t kind = 0; datei >> kind;)
            alle.push_back(kind);
    }
    return alle;
}

/// Of the processes, the template: it leads the session that its children are in. -1 without one.
inline pid_t vorlageUnter(std::vector<pid_t> const& alle) {
    auto const einer = std::ranges::find_if(alle, [](pid_t pid) { return ::getsid(pid) == pid; });
    return einer != alle.end() ? *einer : -1;
}

/// The first one that is not the template; -1 without one.
inline pid_t kindUnter(std::vector<pid_t> const& alle) {
    auto const einer = std::ranges::find_if(alle, [](pid_t pid) { return ::getsid(pid) != pid; });
    return einer != alle.end() ? *einer : -1;
}

} // namespace quillmate::Texterkennung
