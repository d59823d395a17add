#pragma once

#include "texterkennung/leser.h"
#include "texterkennung/sprachstand.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

/// What the main program, the template and a child say to each other:
///
///   template → program  Bereitschaft   once, after locking itself up
///   program → template  Auftrag        with two descriptors (SCM_RIGHTS): the file, and the end of a pipe
///   template → program  Geburt         with the same number; then the next Auftrag
///   child → program     Antwort        through that pipe, with the same number; then it ends
///
/// The pipe is made for one file, so a child cannot answer for another, whatever number it writes: it does not have
/// the other's pipe. A pipe carries no descriptors either.
///
/// Every message is a head of 16 bytes; an Antwort may have a text behind it. Numbers are little-endian:
///
///   0 'Q'  1 'L'  2 version  3 kind  4..7 number  8 first detail  9 second detail  10, 11 zero  12..15 length
///
/// (A Geburt has the process number there.) Everything here is pure and takes any bytes. A child has parsed a foreign
/// file, so what it says is foreign too: whatever is not exactly as above ends it.
namespace quillmate::leser::protokoll {

inline constexpr std::size_t kopfBytes = 16;
/// Longest text of an answer. The 6000 characters that a text may have are some 6 kB; this leaves 40 bytes for
/// each, room for any script with its combining marks.
inline constexpr std::size_t hoechstensTextBytes = 256U << 10U;

using Kopfbytes = std::array<std::uint8_t, kopfBytes>;

/// The layers of the lock-up that a kernel can lack; see docs/security.md for what each one stops.
struct Riegel {
    bool landlock{false};
    bool seccomp{false};
    bool speichergrenze{false};
    friend bool operator==(Riegel const&, Riegel const&) = default;
};

struct Bereitschaft {
    Texterkennung::Sprachstand sprachstand{Texterkennung::Sprachstand::keine};
    Riegel riegel;
    friend bool operator==(Bereitschaft const&, Bereitschaft const&) = default;
};

struct Auftrag {
    std::uint32_t nummer{0};
    Texterkennung::Dateiart art{Texterkennung::Dateiart::pdf};
    friend bool operator==(Auftrag const&, Auftrag const&) = default;
};

/// What became of an Auftrag: a child was forked, or it could not be.
struct Geburt {
    std::uint32_t nummer{0};
    std::int32_t pid{0}; ///< 0 when there is no child.
    int fehler{0};       ///< errno then; 0 otherwise.
    friend bool operator==(Geburt const&, Geburt const&) = default;
};

[[nodiscard]] Kopfbytes alsBytes(Bereitschaft const& bereitschaft);
[[nodiscard]] Kopfbytes alsBytes(Geburt const& geburt);
[[nodiscard]] Kopfbytes alsBytes(Auftrag const& auftrag);
/// Head and text. Broken UTF-8 is repaired, a text beyond hoechstensTextBytes cut between two code points.
[[nodiscard]] std::string antwortBytes(std::uint32_t nummer, Texterkennung::Lesung const& lesung);

/// Nothing for what is no such message.
[[nodiscard]] std::optional<Bereitschaft> bereitschaftAus(std::span<std::uint8_t const> bytes);
[[nodiscard]] std::optional<Auftrag> auftragAus(std::span<std::uint8_t const> bytes);
[[nodiscard]] std::optional<Geburt> geburtAus(std::span<std::uint8_t const> bytes);

/// Takes the answer to one Auftrag apart as its bytes arrive, in pieces of any size.
/// Memory: no more than the bytes that arrived, and never more than hoechstensTextBytes.
class AntwortEingang {
public:
    enum class Stand {
        offen,  ///< noch() more bytes belong to it.
        fertig, ///< See lesung().
        falsch, ///< No answer, or not to this Auftrag, or a text that is not UTF-8.
    };

    explicit AntwortEingang(std::uint32_t nummer) noexcept
        : nummer_(nummer) {}

    /// Takes what arrived, no more than noch() bytes of it; more is falsch.
    Stand nimm(std::span<std::uint8_t const> bytes);
    [[nodiscard]] Stand stand() const noexcept { return stand_; }
    /// How many bytes are still to come, as far as is known; 0 unless offen.
    [[nodiscard]] std::size_t noch() const noexcept;
    /// Only after fertig.
    [[nodiscard]] Texterkennung::Lesung const& lesung() const noexcept { return lesung_; }

private:
    bool kopfNehmen();
    bool textNehmen();

    std::uint32_t nummer_;
    Stand stand_{Stand::offen};
    Kopfbytes kopf_{};
    std::size_t kopfDa_{0};
    std::size_t laenge_{0};
    std::string text_;
    Texterkennung::Lesung lesung_;
};

} // namespace quillmate::leser::protokoll
