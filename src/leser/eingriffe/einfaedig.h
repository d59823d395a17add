#pragma once

namespace quillmate::leser::eingriffe {

/// Keeps the engine from starting threads of its own on the calling thread: several per text line would cost several
/// times what they gain and compete with the other readers. Call it on each thread before the engine works there.
void einfaedig() noexcept;

} // namespace quillmate::leser::eingriffe
