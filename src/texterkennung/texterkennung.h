#pragma once

#include "leser.h"
#include "zwischenspeicher.h"

#include <optional>
#include <string>

namespace quillmate::Texterkennung {

/// Turns a receipt file into plain text: looks into the cache, otherwise opens the file and has it read.
/// Threads: any number at once.
/// Ownership: borrows `leser` and `speicher`, which must outlive this object.
class Erkenner {
public:
    Erkenner(Leser& leser, Zwischenspeicher const& speicher) noexcept
        : leser_(leser)
        , speicher_(speicher) {}

    /// The text of a PDF or image, at most hoechstensZeichen characters; nothing for a file without text, of
    /// another type, or that cannot be read. The outcome is cached for this version of the file, unless it
    /// says more about this machine than about the file: without recognition engine, memory or descriptors,
    /// what text there is is returned, and the next call reads again.
    [[nodiscard]] std::optional<std::string> text(std::string const& pfad);

private:
    Leser& leser_;
    Zwischenspeicher const& speicher_;
};

} // namespace quillmate::Texterkennung
