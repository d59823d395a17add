#pragma once

#include "grundlage/datei.h"

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

namespace quillmate::leser::prozess {

/// The descriptor under which the template finds its end of the channel.
inline constexpr int kanalImLeser = 3;

/// What a thread hands down to the children that read for it: a scan works at low priority, and so do they. Where the
/// kernel shares time among sessions first (autogroup), template and children have one share together, and this orders
/// them within it.
struct Rang {
    int nice{0};
    int ioprio{0};
    [[nodiscard]] static Rang desFadens() noexcept;
    friend bool operator==(Rang const&, Rang const&) = default;
};

/// A started template. Plain data; whoever holds it sees to it that it ends and is waited for.
struct Kindprozess {
    pid_t pid{-1};
    Deskriptor kanal; ///< SOCK_SEQPACKET, does not block. Closing it ends the template.
};

/// Starts `programm` (an open descriptor of the file, O_PATH will do) with a channel, in a session of its own,
/// with an empty environment but for what the engines need, and with no other descriptor. Nothing and errno on
/// failure.
///
/// Threads: any; but the kernel ends the template, and the children that it forks, together with the *thread* that
/// started it, so that nothing is left over when the program is killed.
[[nodiscard]] std::optional<Kindprozess> kindStarten(int programm);

void rangGeben(pid_t pid, Rang rang) noexcept;

/// Processor time that the process has used so far; zero when it cannot be told.
[[nodiscard]] std::chrono::nanoseconds rechenzeit(pid_t pid) noexcept;

/// Resident memory in bytes; 0 when it cannot be told.
[[nodiscard]] std::size_t groesse(pid_t pid) noexcept;

/// Whether `pid` is a child of this process that was not waited for yet. Only such a one may be killed by its number:
/// no other process can have got it.
[[nodiscard]] bool istKind(pid_t pid) noexcept;

/// Whether the process has ended and was waited for; `status` is then as waitpid() has it.
[[nodiscard]] bool geendet(pid_t pid, int& status) noexcept;

/// "Signal 11 (Segmentation fault)", "Rückgabewert 1"
[[nodiscard]] std::string todesursache(int status);

} // namespace quillmate::leser::prozess
