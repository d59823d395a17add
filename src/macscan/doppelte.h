#pragma once

#include "ordner/fund.h"

#include <cstddef>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace quillmate::MacScan {

/// Leaves each file once, at its first place in the list. A remembered folder may lie below a standard place
/// or below another remembered one; a file that is found twice is still one receipt.
inline void ohneDoppelte(std::vector<Ordner::Fund>& funde) {
    std::vector<bool> nochmals(funde.size());
    {
        std::unordered_set<std::string_view> pfade;
        pfade.reserve(funde.size());
        for (std::size_t i = 0; i < funde.size(); ++i)
            nochmals[i] = !pfade.insert(funde[i].pfad).second;
    }
    std::size_t i = 0;
    std::erase_if(funde, [&](Ordner::Fund const&) { return nochmals[i++]; });
}

} // namespace quillmate::MacScan
