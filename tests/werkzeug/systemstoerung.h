#pragma once

#include <atomic>
#include <string>
#include <vector>

/// The test program that links systemstoerung.cpp defines the system calls that change files and forwards them.
/// So a test can end the process, or let a call fail, at each single one of them.
namespace quillmate::werkzeug {

enum class Stoerung {
    keine,
    toeten,    ///< SIGKILL before the call; a write is half done then.
    scheitern, ///< The call fails with ENOSPC and changes nothing.
};

/// The call with this number (from 1) on is disturbed; later ones are not.
void stoere(Stoerung art, int beimAufruf);
/// Calls since stoere().
[[nodiscard]] int aufrufe();

} // namespace quillmate::werkzeug
