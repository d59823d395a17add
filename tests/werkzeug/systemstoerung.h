#pragma once

#include <atomic>
#include <cerrno>
#include <string>
#include <vector>

/// The test program that links systemstoerung.cpp defines the system calls that change files and forwards them.
/// So a test can end the process, or let a call fail, at each single one of them.
namespace quillmate::werkzeug {

enum class Stoerung {
    keine,
    toeten,    ///< SIGKILL before the call; a write is half done then.
    scheitern, ///< The call fails and changes nothing.
};

/// Whether a call that fails is the only one.
enum class Dauer { einmal, vonDaAn };

/// The call with this number (from 1) on is disturbed; later ones are not, unless `dauer` says so. `grund` is the errno
/// of calls that fail.
void stoere(Stoerung art, int beimAufruf, int grund = ENOSPC, Dauer dauer = Dauer::einmal);
/// Calls since stoere().
[[nodiscard]] int aufrufe();

} // namespace quillmate::werkzeug
