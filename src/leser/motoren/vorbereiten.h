#pragma once

#include "graubild.h"

namespace quillmate::leser::motoren {

/// A mild blur, the weights 1 2 1 in either direction, in place. Thermal print and reduced photographs come as dots
/// and stairs, which the engine takes for strokes; strokes of print survive.
/// Costs two rows of memory and a hundredth of what recognition takes. Threads: any.
void glaetten(Graubild& bild);

/// Everything that is done to a picture before it is recognised, in place: smoothed, and where its print is small, enlarged
/// as lesefaktor() says.
void vorbereiten(Graubild& bild);

} // namespace quillmate::leser::motoren
