#include "einstellungsportal.h"

#include <gio/gio.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <string_view>
#include <thread>

namespace quillmate::werkzeug {
namespace {

constexpr char const* pfad = "/org/freedesktop/portal/desktop";
constexpr char const* schnittstelle = "org.freedesktop.portal.Settings";
constexpr char const* bereich = "org.freedesktop.appearance";
constexpr char const* beschreibung =
    "<node><interface name='org.freedesktop.portal.Settings'>"
    "<method name='Read'><arg type='s' direction='in'/><arg type='s' direction='in'/>"
    "<arg type='v' direction='out'/></method>"
    "<method name='ReadAll'><arg type='as' direction='in'/><arg type='a{sa{sv}}' direction='out'/></method>"
    "<signal name='SettingChanged'><arg type='s'/><arg type='s'/><arg type='v'/></signal>"
    "<property name='version' type='u' access='read'/></interface></node>";

} // namespace

struct Einstellungsportal::Dienst {
    std::atomic<bool> dunkel{false};
    GDBusConnection* bus{nullptr};
    GMainContext* umfeld{g_main_context_new()};
    GMainLoop* schleife{g_main_loop_new(umfeld, FALSE)};
    std::thread faden;

    [[nodiscard]] GVariant* wert() const { return g_variant_new_uint32(dunkel ? 1 : 0); }

    static void gerufen(
        GDBusConnection*, char const*, char const*, char const*, char const* was, GVariant* womit,
        GDBusMethodInvocation* ruf, gpointer daten) {
        auto const& ich = *static_cast<Dienst*>(daten);
        if (std::string_view{was} == "ReadAll") {
            GVariantBuilder alle;
            g_variant_builder_init(&alle, G_VARIANT_TYPE("a{sa{sv}}"));
            GVariantBuilder eines;
            g_variant_builder_init(&eines, G_VARIANT_TYPE("a{sv}"));
            g_variant_builder_add(&eines, "{sv}", "color-scheme", ich.wert());
            g_variant_builder_add(&alle, "{sa{sv}}", bereich, &eines);
            return g_dbus_method_invocation_return_value(ruf, g_variant_new("(a{sa{sv}})", &alle));
        }
        char const* wo = nullptr;
        char const* name = nullptr;
        g_variant_get(womit, "(&s&s)", &wo, &name);
        if (std::string_view{wo} != bereich || std::string_view{name} != "color-scheme")
            return g_dbus_method_invocation_return_dbus_error(
                ruf, "org.freedesktop.portal.Error.NotFound", "unbekannt");
        g_dbus_method_invocation_return_value(ruf, g_variant_new("(v)", g_variant_new_variant(ich.wert())));
    }
    static GVariant* gelesen(
        GDBusConnection*, char const*, char const*, char const*, char const*, GError**, gpointer) {
        return g_variant_new_uint32(1);
    }
};

Einstellungsportal::Einstellungsportal(std::string const& bus)
    : dienst_(std::make_unique<Dienst>()) {
    std::promise<bool> bereit;
    auto wartet = bereit.get_future();
    dienst_->faden = std::thread{[this, &bus, &bereit] {
        auto& d = *dienst_;
        g_main_context_push_thread_default(d.umfeld);
        d.bus = g_dbus_connection_new_for_address_sync(
            bus.c_str(),
            static_cast<GDBusConnectionFlags>(
                G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, nullptr);
        bool gut = d.bus != nullptr;
        auto* const knoten = g_dbus_node_info_new_for_xml(beschreibung, nullptr);
        static constexpr GDBusInterfaceVTable tabelle{&Dienst::gerufen, &Dienst::gelesen, nullptr, {}};
        gut = gut && g_dbus_connection_register_object(
                         d.bus, pfad, knoten->interfaces[0], &tabelle, &d, nullptr, nullptr) != 0;
        if (gut) {
            auto* const antwort = g_dbus_connection_call_sync(
                d.bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
                g_variant_new("(su)", "org.freedesktop.portal.Desktop", 4U), G_VARIANT_TYPE("(u)"),
                G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr);
            gut = antwort != nullptr;
            if (antwort)
                g_variant_unref(antwort);
        }
        g_dbus_node_info_unref(knoten);
        bereit.set_value(gut);
        g_main_loop_run(d.schleife);
        g_clear_object(&d.bus);
        g_main_context_pop_thread_default(d.umfeld);
    }};
    if (!wartet.get())
        throw std::runtime_error{"kein Portal für Einstellungen"};
}

Einstellungsportal::~Einstellungsportal() {
    g_main_loop_quit(dienst_->schleife);
    dienst_->faden.join();
    g_main_loop_unref(dienst_->schleife);
    g_main_context_unref(dienst_->umfeld);
}

void Einstellungsportal::dunkel(bool ja) {
    dienst_->dunkel = ja;
    g_dbus_connection_emit_signal(
        dienst_->bus, nullptr, pfad, schnittstelle, "SettingChanged",
        g_variant_new("(ssv)", bereich, "color-scheme", dienst_->wert()), nullptr);
}

} // namespace quillmate::werkzeug
