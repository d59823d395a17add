#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

/// Files by path. Paths are bytes, as the kernel has them, of any encoding; those to read may be of any
/// length, also beyond PATH_MAX.
/// Threads: any.
namespace quillmate {

/// Owns one file descriptor; closes it at the end.
class Deskriptor {
public:
    Deskriptor() noexcept = default;
    explicit Deskriptor(int fd) noexcept
        : fd_(fd) {}
    Deskriptor(Deskriptor&& anderer) noexcept
        : fd_(std::exchange(anderer.fd_, -1)) {}
    Deskriptor& operator=(Deskriptor&& anderer) noexcept;
    Deskriptor(Deskriptor const&) = delete;
    Deskriptor& operator=(Deskriptor const&) = delete;
    ~Deskriptor();

    [[nodiscard]] int get() const noexcept { return fd_; }
    [[nodiscard]] int abgeben() noexcept { return std::exchange(fd_, -1); }
    explicit operator bool() const noexcept { return fd_ >= 0; }

private:
    int fd_{-1};
};

/// open(2) with O_CLOEXEC for a path of any length; longer paths than the kernel takes at once are walked in
/// pieces. An empty Deskriptor and errno on failure.
[[nodiscard]] Deskriptor oeffnen(std::string const& pfad, int flaggen);

/// Opens a regular file for reading. An empty Deskriptor and errno for anything else: a pipe named like a
/// receipt would hang its reader for ever.
[[nodiscard]] Deskriptor oeffneDatei(std::string const& pfad);

/// All bytes of a regular file, room for `vorspann` and `nachspann` around them included, so that a caller
/// can build a message body without a second copy: the file's bytes come between the two. Nothing when the
/// file cannot be opened or read, or is larger than `hoechstgroesse` bytes (also when it grows beyond that
/// while it is read).
[[nodiscard]] std::optional<std::string> leseDatei(
    std::string const& pfad, std::uint64_t hoechstgroesse, std::string_view vorspann = {},
    std::string_view nachspann = {});

/// Whether a written file must survive a power cut.
enum class Dauerhaft { ja, nein };

/// Replaces `pfad` by a file with this content: readers see the old file or the new one, never a part. The
/// file is written beside it under a temporary name, with mode 0600, and renamed. With Dauerhaft::ja content
/// and name are on the disk on return. False and errno when anything fails; then nothing has changed.
[[nodiscard]] bool schreibeAtomar(std::string const& pfad, std::string_view inhalt, Dauerhaft dauerhaft);

/// Creates the folder with all that is missing above it; new folders get mode 0700.
/// True when the folder exists on return; else errno says why not.
bool ordnerAnlegen(std::string const& pfad);

/// rename(2) for a file or folder that fails with EEXIST where `nach` exists, also on file systems that cannot do that in
/// one step; there a crash in between may leave an empty file or folder at `nach`. False and errno on failure.
[[nodiscard]] bool umbenennenOhneErsetzen(std::string const& von, std::string const& nach);

/// The absolute path without ".", "..", doubled and trailing slashes; links are not resolved.
[[nodiscard]] std::string standardisiert(std::string_view pfad);

/// The last component of a path; trailing slashes do not count. "/" for the root.
[[nodiscard]] std::string letzteKomponente(std::string_view pfad);

} // namespace quillmate
