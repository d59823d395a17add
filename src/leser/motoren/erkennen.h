#pragma once

#include "graubild.h"
#include "schrifterkenner.h"

#include <optional>
#include <string>

namespace quillmate::leser::motoren {

/// Reads a picture and, where the outcome is doubtful, reads it upside down too and takes the better text.
/// Both together end at `ende`; what was read by then counts. A picture with fewer than MINDEST_TEXTFELDER
/// text regions is not read. Threads: those of `erkenner`.
[[nodiscard]] std::optional<std::string> erkennen(
    Schrifterkenner& erkenner, Graubild bild, Erkennungsende ende);

} // namespace quillmate::leser::motoren
