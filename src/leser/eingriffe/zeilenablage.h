#pragma once

namespace quillmate::leser::eingriffe {

/// Makes the engine keep its cut-out text lines as they are. It packs each of them as PNG and unpacks it at once,
/// which is a tenth of its processor time; with this unit in a program it gets plain points back instead, and reads
/// the same. Calling this does nothing: it is what ties the unit to the engine in programs that link statically.
void zeilenUngepackt() noexcept;

} // namespace quillmate::leser::eingriffe
