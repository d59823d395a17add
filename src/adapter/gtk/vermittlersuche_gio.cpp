#include "vermittlersuche_gio.h"

#include "grundlage/protokoll.h"

namespace quillmate::adapter::gtk {

VermittlersucheGio::VermittlersucheGio(GProxyResolver* finder)
    : finder_(G_PROXY_RESOLVER(g_object_ref(finder)), &g_object_unref) {}

std::vector<std::string> VermittlersucheGio::fuer(Ursprung const& ziel) {
    GError* fehler = nullptr;
    std::unique_ptr<char*, decltype(&g_strfreev)> const gefunden{
        g_proxy_resolver_lookup(finder_.get(), (ziel.text() + '/').c_str(), nullptr, &fehler), &g_strfreev};
    if (!gefunden) {
        protokoll(std::string{"Proxy nicht ermittelt: "} + (fehler ? fehler->message : "-"));
        g_clear_error(&fehler);
        return {};
    }
    std::vector<std::string> adressen;
    for (char** stelle = gefunden.get(); *stelle; ++stelle)
        adressen.emplace_back(*stelle);
    return adressen;
}

} // namespace quillmate::adapter::gtk
