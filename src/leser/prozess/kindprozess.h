#pragma once

#include "grundlage/datei.h"

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>

namespace quillmate::leser::prozess {

/// The descriptor under which a reader finds its end of the channel.
inline constexpr int kanalImLeser = 3;

/// What a thread hands down to the readers it has work for: a scan works at low priority, and so do its readers. Where the
/// kernel shares time among sessions first (autogroup), a reader has a share of its own, and this orders it within that.
struct Rang {
    int nice{0};
    int ioprio{0};
    [[nodiscard]] static Rang desFadens() noexcept;
    friend bool operator==(Rang const&, Rang const&) = default;
};

/// A started reader. Plain data; whoever holds it sees to it that it ends and is waited for.
struct Kindprozess {
    pid_t pid{-1};
    Deskriptor kanal; ///< Closing it ends a reader that has nothing to do.
};

/// Starts `programm` (an open descriptor of the file, O_PATH will do) with a channel, in a session of its own,
/// with an empty environment but for what the engines need, and with no other descriptor. Nothing and errno on
/// failure.
///
/// Threads: any; but the kernel ends the reader together with the *thread* that started it, so that no reader
/// is left over when the program is killed.
[[nodiscard]] std::optional<Kindprozess> kindStarten(int programm);

void rangGeben(pid_t pid, Rang rang) noexcept;

/// Processor time that the process has used so far; zero when it cannot be told.
[[nodiscard]] std::chrono::nanoseconds rechenzeit(pid_t pid) noexcept;

/// Whether the process has ended and was waited for; `status` is then as waitpid() has it.
[[nodiscard]] bool geendet(pid_t pid, int& status) noexcept;

/// "Signal 11 (Segmentation fault)", "Rückgabewert 1"
[[nodiscard]] std::string todesursache(int status);

} // namespace quillmate::leser::prozess
