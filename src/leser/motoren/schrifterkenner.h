#pragma once

#include "graubild.h"
#include "rechenuhr.h"

#include <optional>
#include <string>

namespace quillmate::leser::motoren {

/// Until when the recognition of one file may take, by the calling thread's processor time; what follows is not begun.
using Erkennungsende = Rechenuhr::time_point;

/// One engine that recognises text in pictures.
/// Threads: one at a time; adds no threads of its own.
class Schrifterkenner {
public:
    struct Gelesen {
        std::optional<std::string> text; ///< UTF-8, lines joined by "\n"; nothing when nothing was read.
        float zuversicht{0.0F};          ///< Mean confidence of the lines, 0 to 1; 0 without text.
    };

    virtual ~Schrifterkenner() = default;
    /// Takes an upright picture to read from, instead of the last one. The other calls need one.
    virtual void auflegen(Graubild bild) = 0;
    /// Number of text lines on the upright picture; much cheaper than reading. Nothing when detection fails;
    /// a blank picture has none.
    [[nodiscard]] virtual std::optional<int> textfelder() = 0;
    /// One recognition pass. A pass that reaches `ende` is stopped and gives the lines read so far, as if the
    /// picture held no more; one that would begin later is not begun. A pass the other way round than the last
    /// one gives no text when its first lines show that it leads nowhere. Errors: none; a failed pass gives
    /// no text and confidence 0.
    [[nodiscard]] virtual Gelesen lesen(Ausrichtung ausrichtung, Erkennungsende ende) = 0;
    /// Gives back the picture and what the engine keeps of it.
    virtual void vergessen() noexcept = 0;
};

} // namespace quillmate::leser::motoren
