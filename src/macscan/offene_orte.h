#pragma once

#include "ordner/suchorte.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace quillmate::MacScan {

/// The places of a search, held open. Shared with looks that may outlive the search.
struct OffeneOrte {
    std::shared_ptr<Ordner::Suchorte const> orte{std::make_shared<Ordner::Suchorte>()};
    /// Devices whose files can be read without fear that nothing comes: disks of this machine.
    std::set<std::uint64_t> oertlicheGeraete;
};

/// Opens the places, so that links and exchanged folders cannot lead out of them. What cannot be opened within `frist`
/// is left out. Blocks; `gestoppt` is asked on the calling thread.
[[nodiscard]] OffeneOrte orteOeffnen(
    std::vector<std::string> const& orte, std::chrono::milliseconds frist,
    std::function<bool()> const& gestoppt);

} // namespace quillmate::MacScan
