#pragma once

#include "werkzeug/vorlagen.h"

#include <functional>
#include <string>
#include <vector>

/// Files made to cost their reader time, memory or its life; each a few kB at most, except where noted.
namespace quillmate::vorlagen {

struct Bombe {
    std::string name;
    bool pdf; ///< Otherwise a picture.
    std::function<Bytes()> bauen;
    /// Its decoder takes memory that no budget of ours counts; only the lock-up's limit of address space holds.
    bool ungezaehlt{false};
};

[[nodiscard]] std::vector<Bombe> bomben();
/// In formats that are told by their first bytes only: GIF, WebP, TIFF, BMP, AVIF; and pictures of one row or column.
[[nodiscard]] std::vector<Bombe> formatbomben();

} // namespace quillmate::vorlagen
