#pragma once

/// With which status the template and its children end. Every other status, and every signal, is the doing of the file.
namespace quillmate::leser::protokoll {

inline constexpr int endeGut = 0;
inline constexpr int endeOhneKanal = 2;
inline constexpr int endeOhneRiegel = 3; ///< The lock-up does not hold: nothing was read.
inline constexpr int endeVonAussen = 4;  ///< Somebody else sent a signal that ends a process.

} // namespace quillmate::leser::protokoll
