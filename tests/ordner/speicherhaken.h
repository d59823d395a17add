#pragma once

#include <cstdint>

/// This test program allocates through an operator new of its own, which can be told to refuse. No machine
/// lacks memory at a moment that a test chooses.
namespace quillmate::haken {

enum class Wen : std::uint8_t { alle, andereFaeden };

/// While it lives, allocations are refused: of every thread, or of all but the one that made this object.
/// The first `davor` of them succeed; then one fails, or with `fuerImmer` all that follow.
class Speichernot {
public:
    Speichernot(Wen wen, std::int64_t davor, bool fuerImmer);
    ~Speichernot();
    Speichernot(Speichernot const&) = delete;
    Speichernot& operator=(Speichernot const&) = delete;

    /// How many have been refused so far.
    [[nodiscard]] static std::int64_t verweigerte();
};

} // namespace quillmate::haken
