#pragma once

#include "texterkennung/leser.h"

#include <chrono>
#include <cstdint>

/// The way out for a child whose engine does not come back: a timer of processor time, whose signal answers for the file
/// with what was put ready before, and ends the process. Nothing of the engine's state is touched on that way.
/// Threads: one for all of it, in a process of its own.
namespace quillmate::leser::programm {

/// In the child, before its lock-up, which denies timers. False: there is no timer to be had, nothing may be read.
[[nodiscard]] bool notausgangEinrichten(int kanal, std::uint32_t nummer);
/// The process leaves once it has computed for so long from now on, looked at ten times a second.
void notausgangOeffnen(std::chrono::milliseconds frist) noexcept;
/// What it says then; a file without text until it is told.
void notausgangAntwort(Texterkennung::Lesung const& lesung);
void notausgangSchliessen() noexcept;

} // namespace quillmate::leser::programm
