#include "standardprogramm_gio.h"

#include "browser_fehlt.h"
#include "glib_halter.h"
#include "grundlage/protokoll.h"

#include <gdk/gdk.h>
#include <gio/gio.h>

#include <memory>
#include <utility>

namespace quillmate::adapter::gtk {

StandardprogrammGio::StandardprogrammGio(std::map<std::string, std::optional<std::string>> urspruenglich)
    : urspruenglich_(std::move(urspruenglich)) {}

void StandardprogrammGio::oeffnen(std::string const& adresse) {
    oeffnen(adresse, [adresse] { browserFehltMelden(adresse); });
}

void StandardprogrammGio::oeffnen(std::string const& adresse, std::function<void()> gescheitert) {
    auto* const bildschirm = gdk_display_get_default();
    auto const umgebung = bildschirm ? Objekt<GAppLaunchContext>::uebernommen(G_APP_LAUNCH_CONTEXT(
                                           gdk_display_get_app_launch_context(bildschirm)))
                                     : Objekt<GAppLaunchContext>::uebernommen(g_app_launch_context_new());
    for (auto const& [name, wert] : urspruenglich_)
        if (wert)
            g_app_launch_context_setenv(umgebung.get(), name.c_str(), wert->c_str());
        else
            g_app_launch_context_unsetenv(umgebung.get(), name.c_str());
    g_app_info_launch_default_for_uri_async(
        adresse.c_str(), umgebung.get(), nullptr,
        [](GObject*, GAsyncResult* ergebnis, gpointer daten) {
            std::unique_ptr<std::function<void()>> const melden{static_cast<std::function<void()>*>(daten)};
            GError* fehler = nullptr;
            if (!g_app_info_launch_default_for_uri_finish(ergebnis, &fehler)) {
                GFehler const halter{fehler};
                protokoll(std::string{"Das Standardprogramm ließ sich nicht starten: "} + fehler->message);
                (*melden)();
            }
        },
        new std::function<void()>{std::move(gescheitert)});
}

std::optional<std::string> StandardprogrammGio::nameFuer(std::string const& schema) const {
    auto const programm =
        Objekt<GAppInfo>::uebernommen(g_app_info_get_default_for_uri_scheme(schema.c_str()));
    if (!programm)
        return std::nullopt;
    return textVon(g_app_info_get_display_name(programm.get()));
}

} // namespace quillmate::adapter::gtk
