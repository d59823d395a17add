#pragma once

#include "dateisuche.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

namespace quillmate::Ordner {

/// Whether a file name ends in a wanted extension, decided on the raw bytes: most names of a tree are of no
/// interest, and this is asked for every one of them.
/// Ownership: borrows the set, which must outlive this object.
/// Threads: any, after construction.
class Endungsfilter {
public:
    explicit Endungsfilter(Endungen const& gewuenscht);

    [[nodiscard]] bool passt(std::string_view name) const {
        if (name.empty() || !letzteBytes_[static_cast<unsigned char>(name.back())])
            return false;
        return passtGenau(name);
    }

private:
    [[nodiscard]] bool passtGenau(std::string_view name) const;

    Endungen const& gewuenscht_;
    /// Extensions of up to eight plain ASCII characters, packed into one number each.
    std::vector<std::uint64_t> kurze_;
    bool alleKurz_{true}; ///< `kurze_` holds all of them.
    /// The bytes that a wanted name can end in. Bytes above 0x7F always can: Unicode has letters outside
    /// ASCII whose lower case lies within it.
    std::array<bool, 256> letzteBytes_{};
};

} // namespace quillmate::Ordner
