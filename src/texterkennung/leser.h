#pragma once

#include <optional>
#include <string>

namespace quillmate::Texterkennung {

enum class Dateiart { pdf, bild };

/// Outcome of reading one file.
struct Lesung {
    enum class Art {
        /// Done with; `text` holds what was found, nothing where there is no text or the file cannot be read.
        gelesen,
        /// No recognition engine here. `text` holds what was found without one: the text layer of a PDF that
        /// recognition would have checked. Says nothing about the file beyond that.
        ohneMotor,
        /// Given up for want of memory or descriptors; another time it may be read. `text` as with ohneMotor.
        ohneMittel,
        /// There was nobody to read it. Says nothing about the file.
        ohneLeser,
    };
    Art art{Art::gelesen};
    std::optional<std::string> text; ///< UTF-8, at most hoechstensZeichen characters.
};

/// Port: the engines that parse PDFs and images and recognise text in them. They see an open descriptor and
/// nothing else, so that they can run where no file can be opened: in the locked-up processes of
/// leser/prozess/leser_prozesse.h.
class Leser {
public:
    virtual ~Leser() = default;
    /// Reads one document from the descriptor of a regular file. The caller keeps the descriptor; its offset
    /// may have moved afterwards.
    /// Blocks, from milliseconds to many seconds.
    /// Threads: any number at once; none is started, except that
    /// the decoder of HEIC pictures may run one for as long as it decodes.
    /// Errors: none; a file that cannot
    /// be read has no text, and want of memory is told by the kind.
    [[nodiscard]] virtual Lesung lesen(int deskriptor, Dateiart art) = 0;
};

} // namespace quillmate::Texterkennung
