#include "einfaedig.h"

// Declared here because the compiler's own omp.h is out of reach of other tools that read this file.
extern "C" void omp_set_max_active_levels(int);

// The engine's parallel regions, done by the calling thread. OpenMP's runtime would find out by itself that it must
// not start threads, but sets up a team and wakes nobody through the kernel for each of thousands of regions, which is
// an eighth of the engine's processor time on a busy machine. Its calls end up here, because the symbols of a program
// come before those of a library that it is linked with. Whatever else the runtime offers works outside of a region
// too, as for one thread; and einfaedig() holds for entries that another build of the engine may use.
namespace {

/// The sections of the innermost region; they are numbered from 1.
struct Abschnitte {
    unsigned naechster{1};
    unsigned anzahl{0};
};
thread_local Abschnitte
    laufende; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables): the runtime's state

using Arbeit = void (*)(void*);

} // namespace

extern "C" void GOMP_parallel(Arbeit arbeit, void* daten, unsigned /*faeden*/, unsigned /*flaggen*/) {
    arbeit(daten);
}

extern "C" void GOMP_parallel_sections(
    Arbeit arbeit, void* daten, unsigned /*faeden*/, unsigned anzahl, unsigned /*flaggen*/) {
    auto const aeussere = laufende;
    laufende = {1, anzahl};
    arbeit(daten);
    laufende = aeussere;
}

/// 0 after the last.
extern "C" unsigned GOMP_sections_next() {
    return laufende.naechster <= laufende.anzahl ? laufende.naechster++ : 0;
}

extern "C" void GOMP_sections_end_nowait() {}

namespace quillmate::leser::eingriffe {

void einfaedig() noexcept {
    // The setting belongs to the calling thread, and only this one is obeyed from inside main.
    thread_local bool const einmal = [] {
        omp_set_max_active_levels(0);
        return true;
    }();
    static_cast<void>(einmal);
}

} // namespace quillmate::leser::eingriffe
