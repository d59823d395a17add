#pragma once

#include <optional>
#include <string>

namespace quillmate::ports {

/// Port: the desktop's modal panel for choosing one folder.
/// Threads: main thread only; waehlen() returns when the panel has closed.
class Ordnertafel {
public:
    struct Texte {
        std::string titel;
        std::string hinweis;
        std::string knopf; ///< The button that chooses.
    };

    virtual ~Ordnertafel() = default;
    /// The chosen folder's path; nothing when the user cancels or the program ends. Files cannot be chosen, nor several folders.
    [[nodiscard]] virtual std::optional<std::string> waehlen(Texte const& texte) = 0;
};

} // namespace quillmate::ports
