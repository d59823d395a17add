#pragma once

#include "glib_halter.h"

#include <jsc/jsc.h>
#include <webkit/webkit.h>

#include <string>

/// Scripts of ours in pages, and what they post.
namespace quillmate::adapter::gtk {

/// Adds a script that runs at document start; `welt` is null for the page's own.
void skriptHinzufuegen(
    WebKitUserContentManager* inhalte, std::string const& quelltext, WebKitUserContentInjectedFrames wo,
    char const* welt);
/// The element of a list that a script of ours has posted.
[[nodiscard]] Objekt<JSCValue> stelleVon(JSCValue* liste, guint stelle);
/// The text of a value, also with zero bytes in it.
[[nodiscard]] std::string inhaltVon(JSCValue* wert);

} // namespace quillmate::adapter::gtk
