#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace quillmate::leser::motoren {

/// The bytes of an open regular file, read by position: no mapping (a file cut short by another program would
/// end this one) and no use of the shared file offset. Or bytes in memory, of a file within a file.
/// Threads: any. Ownership: borrows the descriptor or the bytes.
class Dateiquelle {
public:
    /// Nothing when the descriptor's size cannot be told.
    [[nodiscard]] static std::optional<Dateiquelle> ausDeskriptor(int deskriptor);

    [[nodiscard]] static Dateiquelle ausSpeicher(std::span<std::uint8_t const> bytes) noexcept;

    /// Bytes read; fewer than asked for only at the end of the file or on a read error.
    [[nodiscard]] std::size_t lesen(std::int64_t stelle, std::span<std::uint8_t> ziel) const noexcept;
    /// Whether the system refused to give bytes (EIO, a share that is gone): then nothing may be concluded from those that
    /// came. Told by every copy of this source alike.
    [[nodiscard]] bool gestoert() const noexcept { return gestoert_ && *gestoert_; }
    [[nodiscard]] std::int64_t groesse() const noexcept { return groesse_; } ///< At opening, in bytes.

private:
    Dateiquelle(int deskriptor, std::int64_t groesse, std::span<std::uint8_t const> speicher = {}) noexcept
        : deskriptor_(deskriptor)
        , groesse_(groesse)
        , speicher_(speicher) {}
    int deskriptor_; ///< -1: the bytes lie in speicher_.
    std::int64_t groesse_;
    std::span<std::uint8_t const> speicher_;
    std::shared_ptr<bool> gestoert_; ///< None for bytes in memory.
};

} // namespace quillmate::leser::motoren
