#pragma once

#include "bytes.h"

#include <optional>
#include <string>

namespace quillmate::ports {

/// Port: a reference to a folder that survives restarts and renames and can tell that it is out of date.
/// Threads: any.
class Lesezeichen {
public:
    struct Aufgeloest {
        std::string pfad;     ///< Where the folder is now.
        bool veraltet{false}; ///< The reference still leads there, but should be made anew.
        /// The way there is missing for now: a drive that is not plugged in, a share that is not mounted or does not
        /// answer, a closed home folder. `pfad` is where it was.
        bool abwesend{false};
    };

    virtual ~Lesezeichen() = default;
    /// A reference to the folder; nothing when there is no folder at `pfad`.
    [[nodiscard]] virtual std::optional<Bytes> anlegen(std::string const& pfad) = 0;
    /// `lesezeichen` is untrusted: it comes from a file that anyone may have written.
    /// Nothing when it is no reference or its folder is known to be deleted: the folder that held it is there and no
    /// longer has it.
    [[nodiscard]] virtual std::optional<Aufgeloest> aufloesen(Bytes const& lesezeichen) = 0;
    /// Opens access to a resolved folder. False when it may not be read.
    [[nodiscard]] virtual bool zugriffBeginnen(std::string const& pfad) = 0;
    virtual void zugriffBeenden(std::string const& pfad) = 0;
};

} // namespace quillmate::ports
