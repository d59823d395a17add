#pragma once

#include "graubild.h"

namespace quillmate::leser::motoren {

/// The picture enlarged to this size, each side at least as long as it is, by cubic interpolation (Catmull-Rom): edges of
/// letters stay edges, without the stairs of the nearest point and the haze of the linear mean. Costs four rows besides
/// the result. Threads: any.
[[nodiscard]] Graubild vergroessert(Graubild const& bild, int breite, int hoehe);

/// Most that a picture is enlarged to.
inline constexpr double hoechstfach = 5.0;

/// The picture as large as lesefaktor() wants it, if it is smaller. Where that would be more than `hoechstfach` as large,
/// only so far: letters of fewer points than that cannot be told apart, and noise would only cost more.
[[nodiscard]] Graubild aufLesegroesse(Graubild bild);

} // namespace quillmate::leser::motoren
