#pragma once

namespace quillmate::leser::motoren {

/// Keeps the engine from starting threads of its own on the calling thread: several per text line would cost four times
/// the processor time and compete with the other readers. Call it on each thread before the engine works there.
void einfaedig() noexcept;

} // namespace quillmate::leser::motoren
