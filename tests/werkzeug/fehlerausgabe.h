#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <string>

namespace quillmate::werkzeug {

/// What `arbeit` writes to standard error, on whatever threads. A file and not a pipe, so that a process that was
/// started meanwhile and still holds it keeps nobody waiting for the end.
template<typename Arbeit>
std::string fehlerausgabe(Arbeit arbeit) {
    int const datei = ::memfd_create("fehlerausgabe", MFD_CLOEXEC);
    if (datei < 0)
        return "keine Datei";
    (void)::fcntl(datei, F_SETFL, O_APPEND);
    int const bisher = ::dup(STDERR_FILENO);
    ::dup2(datei, STDERR_FILENO);
    arbeit();
    ::dup2(bisher, STDERR_FILENO);
    ::close(bisher);
    std::string text;
    std::array<char, 4096> puffer{};
    (void)::lseek(datei, 0, SEEK_SET);
    for (ssize_t n = 0; (n = ::read(datei, puffer.data(), puffer.size())) > 0;)
        text.append(puffer.data(), static_cast<std::size_t>(n));
    ::close(datei);
    return text;
}

} // namespace quillmate::werkzeug
