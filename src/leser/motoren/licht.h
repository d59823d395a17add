#pragma once

#include "graubild.h"

namespace quillmate::leser::motoren {

/// Evens out the light of a photographed sheet, in place: paper becomes white wherever it lies, in the light or in a shadow,
/// and print as dark as it is beside it. What is much darker than paper (a table) stays as dark: stretched it would be
/// nothing but noise, which costs time and reads as letters.
/// Only where it is needed: a scan, whose paper is white already, stays as it is. Returns whether anything was done.
/// Costs a hundredth of a reading. Threads: any.
bool ausleuchten(Graubild& bild);

} // namespace quillmate::leser::motoren
