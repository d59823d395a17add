#pragma once

#include <string_view>

namespace quillmate {

/// Writes "[Quillmate] " + `text` + line feed to standard error, in one write: no buffer, no time stamp, no
/// level. Log lines are German and never hold a token.
/// Threads: any; lines of different threads do not mix.
/// Errors: none; a closed standard error is ignored, as
/// long as the program ignores SIGPIPE (see main()).
void protokoll(std::string_view text) noexcept;

} // namespace quillmate
