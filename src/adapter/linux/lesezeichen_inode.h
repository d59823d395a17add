#pragma once

#include "ports/lesezeichen.h"

#include <cstdint>
#include <optional>
#include <string>

namespace quillmate::adapter::linux {

/// Bookmarks by path, device and inode, those of the folder above included. Resolved by path; when the folder there is
/// another one than the one remembered, its parent is searched for that inode first (the folder was renamed), and
/// otherwise the new folder at the path is taken; both count as out of date. An empty folder in the place of a drive
/// is only where the drive is mounted. A place that does not answer within two seconds is absent.
/// Threads: any.
class LesezeichenInode final : public ports::Lesezeichen {
public:
    [[nodiscard]] std::optional<ports::Bytes> anlegen(std::string const& pfad) override;
    [[nodiscard]] std::optional<Aufgeloest> aufloesen(ports::Bytes const& lesezeichen) override;
    /// Linux has no access rights to open beyond those of the folder itself: true when it can be listed.
    [[nodiscard]] bool zugriffBeginnen(std::string const& pfad) override;
    void zugriffBeenden(std::string const& /*pfad*/) override {}
};

/// What a bookmark holds. Its bytes are three lines: "quillmate-lesezeichen 2", "DEVICE INODE PARENTDEVICE PARENTINODE"
/// in decimal, and the path, which runs to the end (a path may hold line feeds). Earlier versions wrote "1" and did not
/// know the parent.
struct Lesezeichensatz {
    std::uint64_t geraet{0};
    std::uint64_t knoten{0};
    std::string pfad;
    std::uint64_t elterngeraet{0};
    std::uint64_t elternknoten{0}; ///< 0: not known.

    friend bool operator==(Lesezeichensatz const&, Lesezeichensatz const&) = default;
};

[[nodiscard]] ports::Bytes verschluesseln(Lesezeichensatz const& satz);
/// Pure. Nothing for anything but a whole record with an absolute path; untrusted input.
[[nodiscard]] std::optional<Lesezeichensatz> entschluesseln(ports::Bytes const& bytes);

} // namespace quillmate::adapter::linux
