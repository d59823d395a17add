#pragma once

#include "grundlage/adresse.h"
#include "ports/webansicht.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// What pages post to the bridge: decoded, then judged. Pure functions on untrusted bytes.
/// Threads: any.
namespace quillmate::bruecke {

/// The arguments of a call. A value of another type than asked for counts as absent.
class Argumente {
public:
    using Liste = std::vector<std::string>;
    using Wert = std::variant<bool, std::int64_t, std::string, Liste>;
    /// Elements that are kept of a list; one more tells that there were too many.
    static constexpr std::size_t hoechsteListe = 1000;

    [[nodiscard]] std::optional<std::string> text(std::string_view schluessel) const;
    /// A text of at least one character.
    [[nodiscard]] std::optional<std::string> nichtleererText(std::string_view schluessel) const;
    [[nodiscard]] std::optional<std::int64_t> ganzzahl(std::string_view schluessel) const;
    /// False when absent.
    [[nodiscard]] bool wahr(std::string_view schluessel) const;
    /// A list of texts; empty when absent. Nothing when it holds more than `hoechsteListe`.
    [[nodiscard]] std::optional<Liste> liste(std::string_view schluessel) const;

    void setze(std::string schluessel, Wert wert);
    void entferne(std::string_view schluessel);

private:
    template<typename Typ>
    [[nodiscard]] Typ const* suche(std::string_view schluessel) const;

    std::map<std::string, Wert, std::less<>> werte_;
};

/// One message, decoded.
struct Nachricht {
    std::string aktion;
    std::int64_t id{0}; ///< The page's call number.
    Argumente argumente;
};

/// Longest message that is looked at, in bytes of JSON text.
inline constexpr std::size_t hoechsteNachricht = ports::Webansicht::hoechsteNachricht;

/// Nothing unless the text is a JSON object with a text "aktion" and an integer "id". An integer is a JSON number
/// without fraction, however it is written, within 64 signed bits. Only arguments that some action knows are kept, so
/// the result is never larger than the message, whatever that holds. Half a surrogate pair becomes U+FFFD.
[[nodiscard]] std::optional<Nachricht> entschluesseln(std::string_view json);

/// Whether a document may speak to the bridge: one of the origin of the view's own document, when that is https on an own
/// host with the usual port, or has the start page's scheme, host and port.
[[nodiscard]] bool darfSprechen(ports::Absender const& absender, Adresse const& start);

} // namespace quillmate::bruecke
