#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// The road between a view's own document and the program, which frames have no part in.
///
/// The engine delivers what any frame posts and does not say who posted, and nothing in a page's own script world can
/// keep a secret: a foreign frame can make a window whose Window object it prepares, and have the engine run the scripts
/// of the next document there. So the message handler is registered only in a named world, which no page sees into. The
/// script of that world runs in main frames only and adds the document's origin, as the engine knows it. In the page's
/// world a shim keeps window.webkit.messageHandlers.NAME and hands messages over by a DOM event.
/// Threads: any; pure functions.
namespace quillmate::adapter::gtk {

/// The named world of the message handler.
inline constexpr char const* botenwelt = "quillmate-bruecke";

/// For the page's world, main frame, document start, before any other script.
[[nodiscard]] std::string vermittlerskript(std::string_view nachrichtenname);
/// For the named world, main frame, document start. Texts of more than `grenze` bytes are not taken.
[[nodiscard]] std::string botenskript(std::string_view nachrichtenname, std::size_t grenze);
/// Body of a function with the arguments "ursprung", "funktion" and "werte" (a JSON array): calls the page's function of
/// that name, if there is one, in a document of that origin.
[[nodiscard]] std::string zustellrumpf(std::string_view nachrichtenname);

/// For a world that no page sees into, every frame: tells of clicked links.
[[nodiscard]] std::string linkskript();
/// For the page's world, every frame: tells that script of clicks which it cannot see.
[[nodiscard]] std::string klickskript();
/// Tells what file inputs accept, and of passkeys.
[[nodiscard]] std::string seitenelementeskript();

/// The origin of a document at this address as engines write it; nothing unless it is http or https.
[[nodiscard]] std::optional<std::string> ursprungVon(std::string_view adresse);

} // namespace quillmate::adapter::gtk
