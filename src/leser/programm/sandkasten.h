#pragma once

#include "leser/protokoll/nachricht.h"
#include "leser/protokoll/sanitizer.h"

#include <cstddef>

/// The lock-up of a reader. What each layer stops, and what is lost without it, stands in docs/security.md.
/// Sanitizer builds leave most of it out: leser/protokoll/sanitizer.h.
namespace quillmate::leser::programm {

struct Sandkastengrenzen {
    /// Address space, the program's own 200 MB included. The largest pictures that are decoded whole (110
    /// megapixels, twice while they are turned) take 660 MB.
    std::size_t speicher_byte{std::size_t{1} << 30U};
    /// Channel, standard streams, language data, the file that is read, and a few to spare.
    unsigned deskriptoren{16};
};

/// Locks the calling process up for good: from here on it opens no file, reaches no network, starts no process
/// or thread and traces nobody; `kanal` is all that it can write to. Everything it needs is open by now.
/// Returns which layers hold. Threads: only one may exist.
[[nodiscard]] leser::protokoll::Riegel einschliessen(int kanal, Sandkastengrenzen const& grenzen = {});

/// The layers one by one, for the tests; einschliessen() calls them all. False where the system lacks it.
void privilegienAblegen();
[[nodiscard]] bool landlockSchliessen();
[[nodiscard]] bool seccompSchliessen(int kanal);
[[nodiscard]] bool speicherBegrenzen(std::size_t bytes);

} // namespace quillmate::leser::programm
