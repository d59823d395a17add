#pragma once

#include "ordner/fund.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace quillmate::MacScan {

/// Leaves each file once, at its first place in the list. A remembered folder may lie below a standard place
/// or below another remembered one, two places may be one folder, and a file may have several names: a file that is
/// found twice is still one receipt. Of a link and its target the target stays.
inline void ohneDoppelte(std::vector<Ordner::Fund>& funde) {
    std::vector<bool> nochmals(funde.size());
    {
        std::unordered_set<std::string_view> pfade;
        // By inode; a collision of different devices only costs a comparison.
        std::unordered_map<std::uint64_t, std::vector<std::size_t>> dateien;
        pfade.reserve(funde.size());
        dateien.reserve(funde.size());
        // Some file systems number carelessly, so size and time must agree as well.
        auto const merkmal = [](Ordner::Fund const& fund) {
            return std::tie(fund.geraet, fund.groesse, fund.geaendert);
        };
        for (bool const verweise : {false, true})
            for (std::size_t i = 0; i < funde.size(); ++i) {
                auto const& fund = funde[i];
                if (fund.ueberVerweis != verweise)
                    continue;
                nochmals[i] = !pfade.insert(fund.pfad).second;
                if (nochmals[i] || fund.inode == 0)
                    continue;
                auto& gleiche = dateien[fund.inode];
                for (auto const anderer : gleiche)
                    nochmals[i] = nochmals[i] || merkmal(funde[anderer]) == merkmal(fund);
                if (!nochmals[i])
                    gleiche.push_back(i);
            }
    }
    std::size_t i = 0;
    std::erase_if(funde, [&](Ordner::Fund const&) { return nochmals[i++]; });
}

} // namespace quillmate::MacScan
