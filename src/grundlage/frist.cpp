#include "frist.h"

#include <array>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <new>
#include <set>
#include <system_error>
#include <thread>

namespace quillmate {

namespace {

/// Places with a look that was left behind. Never destroyed: a thread may come back after main() has ended.
struct Haengende {
    std::mutex sperre;
    std::multiset<std::string, std::less<>> stellen; ///< Guarded by `sperre`.
};

Haengende& haengende() {
    // In place, so that asking needs no memory.
    alignas(Haengende) static std::array<std::byte, sizeof(Haengende)> platz;
    static auto* const alle = ::new (platz.data()) Haengende;
    return *alle;
}

struct Warteplatz {
    std::mutex sperre;
    std::condition_variable geaendert;
    bool fertig{false};    ///< Guarded by `sperre`.
    bool verlassen{false}; ///< Likewise: nobody waits any more.
};

} // namespace

bool haengt(std::string_view stelle) {
    auto& alle = haengende();
    std::lock_guard const schutz{alle.sperre};
    return alle.stellen.contains(stelle);
}

namespace {

void ausfuehren(std::function<void()> const& arbeit) noexcept {
    try {
        arbeit();
    } catch (...) { // Out of memory, mostly. On this thread it would end the program.
    }
}

} // namespace

bool innerhalbFrist(
    std::string const& stelle, std::chrono::milliseconds frist, std::function<void()> arbeit) {
    auto const ende = std::chrono::steady_clock::now() + frist;
    return solangeGewartet(
        stelle, [ende] { return std::chrono::steady_clock::now() < ende; }, std::move(arbeit));
}

bool solangeGewartet(
    std::string const& stelle, std::function<bool()> const& weiterWarten, std::function<void()> arbeit) {
    constexpr std::chrono::milliseconds takt{20};
    if (haengt(stelle))
        return false;
    auto const platz = std::make_shared<Warteplatz>();
    auto const geteilt = std::make_shared<std::function<void()>>(std::move(arbeit));
    try {
        std::thread{[platz, geteilt, stelle] {
            ausfuehren(*geteilt);
            std::lock_guard const schutz{platz->sperre};
            platz->fertig = true;
            if (platz->verlassen) {
                auto& alle = haengende();
                std::lock_guard const listenschutz{alle.sperre};
                if (auto const eintrag = alle.stellen.find(stelle); eintrag != alle.stellen.end())
                    alle.stellen.erase(eintrag);
            }
            platz->geaendert.notify_one();
        }}.detach();
    } catch (std::system_error const&) {
        ausfuehren(*geteilt);
        return true;
    }
    std::unique_lock schutz{platz->sperre};
    while (!platz->geaendert.wait_for(schutz, takt, [&] { return platz->fertig; })) {
        schutz.unlock();
        bool const weiter = weiterWarten();
        schutz.lock();
        if (weiter || platz->fertig)
            continue;
        auto& alle = haengende();
        std::lock_guard const listenschutz{alle.sperre};
        alle.stellen.insert(stelle);
        platz->verlassen = true;
        return false;
    }
    return true;
}

} // namespace quillmate
