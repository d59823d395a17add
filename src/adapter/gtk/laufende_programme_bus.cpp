#include "laufende_programme_bus.h"

#include "glib_halter.h"
#include "grundlage/protokoll.h"

#include <gio/gio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

namespace quillmate::adapter::gtk {
namespace {

/// The other program may be busy with a dialog or a search on its main thread; longer nobody waits for a window.
constexpr int wartezeitMillisekunden = 3000;

using Variante = std::unique_ptr<GVariant, decltype(&g_variant_unref)>;

Variante rufen(
    GDBusConnection* bus, char const* wen, char const* pfad, char const* schnittstelle, char const* was,
    GVariant* werte) {
    GError* roh = nullptr;
    Variante antwort{
        g_dbus_connection_call_sync(
            bus, wen, pfad, schnittstelle, was, werte, nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START,
            wartezeitMillisekunden, nullptr, &roh),
        &g_variant_unref};
    if (roh) {
        GFehler const fehler{roh};
        protokoll(std::string{"Der Sitzungsbus antwortet nicht: "} + fehler->message);
    }
    return antwort;
}

std::vector<std::string> namen(GDBusConnection* bus) {
    std::vector<std::string> alle;
    auto const antwort = rufen(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "ListNames", nullptr);
    if (!antwort)
        return alle;
    Variante const liste{g_variant_get_child_value(antwort.get(), 0), &g_variant_unref};
    GVariantIter lauf;
    g_variant_iter_init(&lauf, liste.get());
    char const* name = nullptr;
    while (g_variant_iter_next(&lauf, "&s", &name))
        if (*name != ':')
            alle.emplace_back(name);
    return alle;
}

bool istSelbst(GDBusConnection* bus, std::string const& name) {
    auto const antwort = rufen(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetConnectionUnixProcessID", g_variant_new("(s)", name.c_str()));
    if (!antwort)
        return false;
    guint32 nummer = 0;
    g_variant_get(antwort.get(), "(u)", &nummer);
    return nummer == static_cast<guint32>(getpid());
}

/// "de.tandemwerk.quillmate" offers itself at "/de/tandemwerk/quillmate".
std::string objektpfad(std::string name) {
    std::ranges::replace(name, '.', '/');
    std::ranges::replace(name, '-', '_');
    return '/' + name;
}

GVariant* begleitdaten() {
    GVariantBuilder bauer;
    g_variant_builder_init(&bauer, G_VARIANT_TYPE_VARDICT);
    for (auto const& [variable, schluessel] :
         {std::pair{"XDG_ACTIVATION_TOKEN", "activation-token"},
          std::pair{"DESKTOP_STARTUP_ID", "desktop-startup-id"}})
        if (char const* const wert = std::getenv(variable);
            wert && *wert && g_utf8_validate(wert, -1, nullptr))
            g_variant_builder_add(&bauer, "{sv}", schluessel, g_variant_new_string(wert));
    return g_variant_builder_end(&bauer);
}

} // namespace

LaufendeProgrammeBus::LaufendeProgrammeBus(std::optional<std::string> zuOeffnen)
    : zuOeffnen_(std::move(zuOeffnen)) {}

bool LaufendeProgrammeBus::aktivieren(std::function<bool(std::string_view kennung)> const& passt) {
    auto const bus =
        Objekt<GDBusConnection>::uebernommen(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    if (!bus)
        return false; // A session without a bus: nobody can be found, which is no error.
    for (auto const& name : namen(bus.get())) {
        if (!passt(name) || istSelbst(bus.get(), name))
            continue;
        auto const pfad = objektpfad(name);
        constexpr char const* schnittstelle = "org.freedesktop.Application";
        if (zuOeffnen_ && g_utf8_validate(zuOeffnen_->c_str(), -1, nullptr)) {
            GVariantBuilder adressen;
            g_variant_builder_init(&adressen, G_VARIANT_TYPE_STRING_ARRAY);
            g_variant_builder_add(&adressen, "s", zuOeffnen_->c_str());
            rufen(
                bus.get(), name.c_str(), pfad.c_str(), schnittstelle, "Open",
                g_variant_new("(as@a{sv})", &adressen, begleitdaten()));
        } else {
            rufen(
                bus.get(), name.c_str(), pfad.c_str(), schnittstelle, "Activate",
                g_variant_new("(@a{sv})", begleitdaten()));
        }
        return true;
    }
    return false;
}

} // namespace quillmate::adapter::gtk
