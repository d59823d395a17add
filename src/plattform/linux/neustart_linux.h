#pragma once

#include "plattform/neustart.h"

#include <string>
#include <vector>

namespace quillmate::plattform {

/// Relaunch by a shell script that outlives this process: a session of its own, no descriptors of ours, and a
/// working folder that keeps no volume busy.
/// Threads: any.
class NeustartLinux final : public Neustart {
public:
    void vorbereiten(Buendel const& ziel, std::string const& auswerfen) override;
};

/// /bin/sh and its arguments for the relaunch. Pure.
[[nodiscard]] std::vector<std::string> neustartbefehl(
    int prozess, Buendel const& ziel, std::string const& auswerfen);

} // namespace quillmate::plattform
