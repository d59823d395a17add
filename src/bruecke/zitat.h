#pragma once

#include <string>
#include <string_view>

namespace quillmate::bruecke {

/// The text as a double-quoted JavaScript string literal that is also a JSON string: escapes the double quote, the
/// backslash and everything below U+0020, nothing else. Broken UTF-8 becomes U+FFFD, since neither language
/// allows it. Pure; any thread.
[[nodiscard]] std::string zitat(std::string_view text);

} // namespace quillmate::bruecke
