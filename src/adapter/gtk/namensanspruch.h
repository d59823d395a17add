#pragma once

#include "grundlage/datei.h"

#include <string>

namespace quillmate::adapter::gtk {

/// The name that a download will get, and the empty file that holds it until then.
/// The file is kept open, so that no later one can have its inode.
/// Threads: one.
class Namensanspruch {
public:
    enum class Ausgang {
        abgelegt,
        vergeben, ///< Somebody else's file has the name now. It is as it was; the bytes are where they were.
        gescheitert, ///< errno tells why. The bytes are where they were.
        verloren,    ///< The bytes were removed while the names changed; at `teil` lies somebody else's file.
    };

    /// What lies at `pfad` now is the placeholder if it is an empty file.
    explicit Namensanspruch(std::string pfad);

    /// Gives the complete file `teil`, in the same file system, the name. Never takes the place of anything but the
    /// placeholder; only a file system that cannot exchange names leaves a moment between looking and replacing.
    [[nodiscard]] Ausgang ablegen(std::string const& teil) const;
    /// ablegen() without looking first: what happens when somebody else's file comes just after the look.
    [[nodiscard]] Ausgang tauschen(std::string const& teil) const;

    [[nodiscard]] std::string const& pfad() const noexcept { return pfad_; }

private:
    [[nodiscard]] bool istPlatzhalter(std::string const& pfad) const;
    [[nodiscard]] Ausgang inFreienNamen(std::string const& teil) const;

    std::string pfad_;
    Deskriptor platzhalter_; ///< None when the name was free, or held by something else.
};

} // namespace quillmate::adapter::gtk
