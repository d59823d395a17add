#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <string>
#include <thread>

namespace quillmate::attrappen {

/// What `arbeit` writes to standard error, on whatever threads.
template<typename Arbeit>
std::string fehlerausgabe(Arbeit arbeit) {
    std::array<int, 2> rohr{};
    if (::pipe2(rohr.data(), O_CLOEXEC) != 0)
        return "kein Rohr";
    int const bisher = ::dup(STDERR_FILENO);
    ::dup2(rohr[1], STDERR_FILENO);
    ::close(rohr[1]);
    std::string text;
    std::thread sammler{[&] {
        std::array<char, 4096> puffer{};
        for (ssize_t n = 0; (n = ::read(rohr[0], puffer.data(), puffer.size())) > 0;)
            text.append(puffer.data(), static_cast<std::size_t>(n));
    }};
    arbeit();
    ::dup2(bisher, STDERR_FILENO);
    ::close(bisher);
    sammler.join();
    ::close(rohr[0]);
    return text;
}

} // namespace quillmate::attrappen
