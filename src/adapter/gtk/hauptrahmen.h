#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillmate::adapter::gtk {

/// Tells messages of a view's own document from those of frames within it.
///
/// The engine delivers both through one handler and does not say who posted. So a script that runs only in the main
/// frame, before any other, wraps the handler's postMessage: it adds a secret of this view and the document's origin,
/// both held where no page script can read or change them. A frame's message arrives without the secret; so does one
/// posted through a function that the page got from a frame.
/// Threads: any; immutable.
class Hauptrahmenzeichen {
public:
    /// `nachrichtenname` is the handler's name. The secret is fresh from the system's random numbers.
    explicit Hauptrahmenzeichen(std::string nachrichtenname);

    /// To be injected at document start, main frame only, as the first script.
    [[nodiscard]] std::string skript() const;

    struct Geprueft {
        std::string_view nachricht; ///< The page's own message as JSON text, within the text that was given.
        bool hauptrahmen{false};
        std::string
            ursprung; ///< Origin of the document that posted ("https://host:port", "null"); main frame only.
    };
    /// `json` is what the handler received: the text of an array of secret, origin and message when it comes from the
    /// main frame, the bare message otherwise.
    [[nodiscard]] Geprueft pruefen(std::string_view json) const;

private:
    std::string const name_;
    std::string const geheimnis_;
};

/// The origin of a document at this address as engines write it; nothing unless it is http or https and can stand in a
/// script as it is.
[[nodiscard]] std::optional<std::string> ursprungVon(std::string_view adresse);

/// Whether `adresse` belongs to `ursprung` as engines write origins: scheme, host in lower case, port unless default.
[[nodiscard]] bool gehoertZu(std::string_view adresse, std::string_view ursprung);

} // namespace quillmate::adapter::gtk
