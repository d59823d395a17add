#include "einfaedig.h"

// Declared here because the compiler's own omp.h is out of reach of other tools that read this file.
extern "C" void omp_set_max_active_levels(int);

namespace quillmate::leser::motoren {

void einfaedig() noexcept {
    // The setting belongs to the calling thread, and only this one is obeyed from inside main.
    thread_local bool const einmal = [] {
        omp_set_max_active_levels(0);
        return true;
    }();
    static_cast<void>(einmal);
}

} // namespace quillmate::leser::motoren
