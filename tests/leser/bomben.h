#pragma once

#include "vorlagen.h"

#include <functional>
#include <string>
#include <vector>

/// Files made to cost their reader time, memory or its life; each a few kB at most, except where noted.
namespace quillmate::vorlagen {

struct Bombe {
    std::string name;
    bool pdf; ///< Otherwise a picture.
    std::function<Bytes()> bauen;
};

[[nodiscard]] std::vector<Bombe> bomben();

} // namespace quillmate::vorlagen
