#pragma once

#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace quillmate::MacScan {

/// The threads of one phase; they take their low priority from the thread that starts them. A machine that is
/// out of threads works with fewer; a scan does not end for that.
class Faeden {
public:
    /// False when there was no thread to be had.
    template<typename Arbeit>
    bool starte(Arbeit arbeit) {
        try {
            faeden_.emplace_back(std::move(arbeit));
            return true;
        } catch (std::system_error const&) {
            return false;
        }
    }

private:
    std::vector<std::jthread> faeden_; ///< Joined at the end of the phase.
};

} // namespace quillmate::MacScan
