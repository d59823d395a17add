#pragma once

#include <string>
#include <vector>

namespace quillmate::bench {

/// The command that lists the files that a search below these folders finds, by the same extensions and
/// excluded names, with "fdfind".
[[nodiscard]] std::vector<std::string> fdBefehl(std::vector<std::string> const& wurzeln);

} // namespace quillmate::bench
