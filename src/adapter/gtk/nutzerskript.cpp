#include "nutzerskript.h"

#include <memory>

namespace quillmate::adapter::gtk {

void skriptHinzufuegen(
    WebKitUserContentManager* inhalte, std::string const& quelltext, WebKitUserContentInjectedFrames wo,
    char const* welt) {
    auto* const skript =
        welt ? webkit_user_script_new_for_world(
                   quelltext.c_str(), wo, WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_START, welt, nullptr, nullptr)
             : webkit_user_script_new(
                   quelltext.c_str(), wo, WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_START, nullptr, nullptr);
    webkit_user_content_manager_add_script(inhalte, skript);
    webkit_user_script_unref(skript);
}

Objekt<JSCValue> stelleVon(JSCValue* liste, guint stelle) {
    return Objekt<JSCValue>::uebernommen(jsc_value_object_get_property_at_index(liste, stelle));
}

std::string inhaltVon(JSCValue* wert) {
    std::unique_ptr<GBytes, decltype(&g_bytes_unref)> const bytes{
        jsc_value_to_string_as_bytes(wert), &g_bytes_unref};
    gsize laenge = 0;
    auto const* const anfang =
        bytes ? static_cast<char const*>(g_bytes_get_data(bytes.get(), &laenge)) : nullptr;
    return anfang ? std::string{anfang, laenge} : std::string{};
}

} // namespace quillmate::adapter::gtk
