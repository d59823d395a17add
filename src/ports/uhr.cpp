#include "uhr.h"

#include <thread>

namespace quillmate::ports {

Uhr::Zeitpunkt SystemUhr::jetzt() const {
    return std::chrono::steady_clock::now();
}

void SystemUhr::schlafen(std::chrono::duration<double> dauer) {
    std::this_thread::sleep_for(dauer);
}

} // namespace quillmate::ports
