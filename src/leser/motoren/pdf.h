#pragma once

#include "dateiquelle.h"
#include "graubild.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace quillmate::leser::motoren {

/// What one PDF may cost. Whoever reads on beyond it gets nothing from the file, so that the engine ends
/// soon. The clock is looked at while reading, allocating, between drawing steps and beginning a pattern; a loop that
/// does none of these is not caught here but by Rechenwacht.
struct PdfGrenzen {
    /// Processor time of the reading thread, so that a busy machine does not decide what a file holds. Half a
    /// page of a complex map takes a second; what needs longer is not a receipt.
    std::chrono::milliseconds frist{15'000};
    /// Time on the clock, for a file system that hangs. Generous: fifteen seconds of work on a machine that
    /// is twenty times oversubscribed.
    std::chrono::milliseconds wandfrist{300'000};
    /// Room for a scanned page of 600 dpi in colour, unpacked as a whole, and then some.
    std::size_t speicher{256U << 20U};
    /// Bytes read from the file, repeated reads included. A receipt is read once or twice over.
    std::int64_t gelesen{512LL << 20U};
};

/// An open PDF. Threads: an object stays with the thread that opened it, whose processor time it counts;
/// several objects side by side.
/// Ownership: borrows `quelle`, which must outlive this object. Scripts in the document are never run.
/// Errors: std::bad_alloc when the machine has no memory, which says nothing about the file. A page that was
/// not gone through to its end within the limits counts as a page that cannot be read.
class PdfDatei {
public:
    /// Nothing for what is no PDF, is beyond repair, or needs a password (other than the empty one).
    [[nodiscard]] static std::optional<PdfDatei> oeffnen(
        Dateiquelle const& quelle, PdfGrenzen const& grenzen = {});
    PdfDatei(PdfDatei&&) noexcept;
    PdfDatei& operator=(PdfDatei&&) noexcept;
    ~PdfDatei();

    /// Text of the first three pages, each followed by a line feed; nothing when that is only white space.
    /// A glyph without Unicode value becomes U+001A (substitute), a control character, so that a text layer
    /// made of such glyphs is found unreliable. `bisher` is told what there is after each page, as far as there is any.
    [[nodiscard]] std::optional<std::string> pdfTextschicht(
        std::function<void(std::string const&)> const& bisher = {});
    /// The first page as shown, over white, its media box enlarged by lesefaktor(), at least one pixel.
    /// Nothing when a side of the media box is not above 1, or when drawing fails.
    [[nodiscard]] std::optional<Graubild> pdfSeiteAlsBild();

private:
    struct Innen;
    explicit PdfDatei(std::unique_ptr<Innen> innen);
    std::unique_ptr<Innen> innen_;
};

} // namespace quillmate::leser::motoren
