#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace quillmate::Texterkennung {

/// The bytes of an open regular file, read by position: no mapping (a file cut short by another program would
/// end this one) and no use of the shared file offset. Threads: any. Ownership: borrows the descriptor.
class Dateiquelle {
public:
    /// Nothing when the descriptor's size cannot be told.
    [[nodiscard]] static std::optional<Dateiquelle> ausDeskriptor(int deskriptor);

    /// Bytes read; fewer than asked for only at the end of the file or on a read error.
    [[nodiscard]] std::size_t lesen(std::int64_t stelle, std::span<std::uint8_t> ziel) const noexcept;
    [[nodiscard]] std::int64_t groesse() const noexcept { return groesse_; } ///< At opening, in bytes.

private:
    Dateiquelle(int deskriptor, std::int64_t groesse) noexcept
        : deskriptor_(deskriptor)
        , groesse_(groesse) {}
    int deskriptor_;
    std::int64_t groesse_;
};

} // namespace quillmate::Texterkennung
