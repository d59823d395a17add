#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <string>

/// This test program defines the system calls of the search itself and forwards them. So a test can count
/// them, let a folder fail, or change the tree at an exact moment of a walk, which no timing could hit.
namespace quillmate::haken {

struct Haken {
    /// Kinds of entries are withheld, as some file systems do.
    std::atomic<bool> ohneArten{false};
    std::atomic<std::size_t> leseaufrufe{0};
    std::atomic<std::size_t> wertabfragen{0};
    /// When set, opening any "kreis" relative to a folder opens this path instead. Set only while no search is
    /// running.
    std::string kreis;
    /// Called on the reading thread after each reading call; the number is that of bytes read, and what it
    /// returns takes its place (-1 with errno for a failure). Set only while no search is running.
    std::function<std::ptrdiff_t(int deskriptor, std::ptrdiff_t anzahl)> nachLesen;
};

[[nodiscard]] Haken& haken();

/// Puts everything back at the end of a test.
class Hakenwache {
public:
    Hakenwache() { zuruecksetzen(); }
    ~Hakenwache() { zuruecksetzen(); }
    Hakenwache(Hakenwache const&) = delete;
    Hakenwache& operator=(Hakenwache const&) = delete;

private:
    static void zuruecksetzen() {
        haken().ohneArten = false;
        haken().leseaufrufe = 0;
        haken().wertabfragen = 0;
        haken().kreis.clear();
        haken().nachLesen = nullptr;
    }
};

} // namespace quillmate::haken
