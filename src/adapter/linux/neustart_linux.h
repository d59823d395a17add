#pragma once

#include "ports/neustart.h"
#include "umgebungswerte.h"

#include <string>
#include <vector>

namespace quillmate::adapter::linux {

/// Relaunch by a shell script that outlives this process: a session of its own, no descriptors of ours, and a
/// working folder that keeps no volume busy.
/// Threads: any.
class NeustartLinux final : public ports::Neustart {
public:
    /// `urspruenglich`: what the bundle is started with in place of our own values.
    explicit NeustartLinux(Umgebungswerte urspruenglich = {});
    void vorbereiten(ports::Buendel const& ziel, std::string const& auswerfen) override;

private:
    Umgebungswerte const urspruenglich_;
};

/// /bin/sh and its arguments for the relaunch. Pure.
[[nodiscard]] std::vector<std::string> neustartbefehl(
    int prozess, ports::Buendel const& ziel, std::string const& auswerfen);

} // namespace quillmate::adapter::linux
