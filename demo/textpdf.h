#pragma once

#include <string>
#include <vector>

namespace quillmate::demo {

/// A PDF of one page with these lines as its text layer. UTF-8; what Western European text does not know becomes "?".
[[nodiscard]] std::string textPdf(std::vector<std::string> const& zeilen);

} // namespace quillmate::demo
