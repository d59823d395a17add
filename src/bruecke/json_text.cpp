#include "json_text.h"

#include <algorithm>
#include <cmath>

namespace quillmate::bruecke {

namespace {

/// The writer would invent something for these instead of failing.
bool darstellbar(Json const& wert) {
    if (wert.is_binary() || wert.is_discarded())
        return false;
    if (wert.is_number_float())
        return std::isfinite(wert.get<double>());
    return !wert.is_structured() || std::ranges::all_of(wert, darstellbar);
}

} // namespace

std::optional<std::string> jsonText(Json const& wert) {
    if (!darstellbar(wert))
        return std::nullopt;
    try {
        return wert.dump();
    } catch (Json::exception const&) { // a text that is not UTF-8
        return std::nullopt;
    }
}

} // namespace quillmate::bruecke
