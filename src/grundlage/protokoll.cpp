#include "protokoll.h"

#include "text.h"

#include <unistd.h>

#include <cerrno>
#include <string>

namespace quillmate {

void protokoll(std::string_view text) noexcept {
    try {
        std::string zeile = "[Quillmate] ";
        zeile += alsUtf8(text); // file names in it may be any bytes
        zeile += '\n';
        std::string_view rest = zeile;
        // A pipe may take only a part of a long line; only then is there a second write.
        while (!rest.empty()) {
            auto const n = ::write(STDERR_FILENO, rest.data(), rest.size());
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                return;
            rest.remove_prefix(static_cast<std::size_t>(n));
        }
    } catch (...) { // NOLINT(bugprone-empty-catch): without memory for the line there is no line.
    }
}

} // namespace quillmate
