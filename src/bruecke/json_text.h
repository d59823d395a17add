#pragma once

#include "grundlage/json.h"

#include <optional>
#include <string>

namespace quillmate::bruecke {

/// Compact JSON text. Nothing when the value holds what JSON cannot say: broken UTF-8, infinities and NaN, bytes.
/// Threads: any.
[[nodiscard]] std::optional<std::string> jsonText(Json const& wert);

} // namespace quillmate::bruecke
