#pragma once

#include "leser/protokoll/nachricht.h"
#include "leser/protokoll/sanitizer.h"

#include <linux/filter.h>

#include <cstddef>
#include <vector>

/// The lock-up, in two steps: the template closes what forking leaves closable before it says that it is ready; each
/// child closes the rest before it sees a byte of its file. What each layer stops, and what is lost without it, stands
/// in docs/security.md. Sanitizer builds leave most of it out: leser/protokoll/sanitizer.h.
namespace quillmate::leser::programm {

struct Sandkastengrenzen {
    /// Address space, the program's own 300 MB included. The largest pictures that are decoded whole (110
    /// megapixels, twice while they are turned) take 660 MB.
    std::size_t adressraum{std::size_t{1} << 30U};
    /// Private memory, the template's own 60 MB included. A PDF has its own budget of 256 MB, kept by the library's
    /// allocator; what its decoders take beside that, and a picture for the recognition, find room here.
    std::size_t speicherPdf{std::size_t{448} << 20U};
    std::size_t speicherBild{std::size_t{1} << 30U};
    /// Channel, standard streams, language data, the file that is read, and a few to spare.
    unsigned deskriptoren{16};
};

/// A filter for system calls as the kernel takes it.
using Filterprogramm = std::vector<sock_filter>;

/// Of a child: it may compute, read what is open, write to `kanal`, and end. Calls that libraries try now and then fail
/// with EPERM; every other call of the kernel's table ends the process. Empty where it cannot be made; to be made
/// before privilegienAblegen(), which denies the file in memory that it takes.
[[nodiscard]] Filterprogramm kindfilter(int kanal);
/// Of the template: what a child may, and receiving on `kanal`, forking, and what a child does to lock itself up.
[[nodiscard]] Filterprogramm vorlagenfilter(int kanal);
/// The flags that the template forks with. The child's parent is the main program, which alone waits for it.
extern unsigned long const forkflaggen;

/// Locks the template up as far as forking allows: no file can be opened, no network reached, no program started,
/// nobody traced. Everything it and its children need is open by now. Returns which layers hold.
/// Threads: only one may exist.
[[nodiscard]] leser::protokoll::Riegel vorlageEinschliessen(
    Filterprogramm const& filter, Sandkastengrenzen const& grenzen = {});

/// Locks a child up for good. False when the filter does not hold: then nothing may be read.
[[nodiscard]] bool kindEinschliessen(
    Filterprogramm const& filter, Texterkennung::Dateiart art, Sandkastengrenzen const& grenzen = {});

/// The layers one by one, for the tests.
void privilegienAblegen();
[[nodiscard]] bool landlockSchliessen();
[[nodiscard]] bool seccompSchliessen(Filterprogramm const& filter);
[[nodiscard]] bool speicherBegrenzen(Texterkennung::Dateiart art, Sandkastengrenzen const& grenzen = {});

} // namespace quillmate::leser::programm
