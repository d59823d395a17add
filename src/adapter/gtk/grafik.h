#pragma once

namespace quillmate::adapter::gtk {

/// Whether a graphics processor may draw. The toolkit and the web engine take their way of drawing with one without one
/// as well, emulated on the processor: that is slower and costs a compiler's memory, and often the first picture of a
/// page never reaches the window (seen with WebKitGTK 2.50 on Mesa's llvmpipe; no later redrawing helps).
/// Threads: before others change the environment.
[[nodiscard]] bool hatGrafikprozessor();

} // namespace quillmate::adapter::gtk
