#pragma once

#include <string>
#include <string_view>

/// Texts as parts of HTML and XML. Bytes that are no UTF-8 stay as they are: alsUtf8() before.
/// Threads: any.
namespace quillmate {

/// The text between two tags of HTML: only "&" and "<" are escaped.
[[nodiscard]] std::string fuerHtml(std::string_view text);
/// The text as the value of an attribute in quotes of either kind, of HTML or XML; good between tags too.
[[nodiscard]] std::string fuerHtmlAttribut(std::string_view text);

} // namespace quillmate
