#include "barriere.h"

#include "warten.h"

#include <gio/gio.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace quillmate::werkzeug {
namespace {

constexpr int geduldMillisekunden = 5000;
constexpr std::size_t hoechsteZahl = 2000;
constexpr char const* schnittstelle = "org.a11y.atspi.Accessible";

GVariant* rufe(
    GDBusConnection* bus, std::string const& wen, std::string const& pfad, char const* wo, char const* was,
    GVariant* womit, char const* form) {
    return g_dbus_connection_call_sync(
        bus, wen.c_str(), pfad.c_str(), wo, was, womit, form ? G_VARIANT_TYPE(form) : nullptr,
        G_DBUS_CALL_FLAGS_NONE, geduldMillisekunden, nullptr, nullptr);
}

} // namespace

struct Barriere::Verbindung {
    GDBusConnection* sitzung{nullptr};
    GDBusConnection* bus{nullptr};

    void lies(std::string const& wen, std::string const& pfad, std::vector<Ding>& alle) const {
        if (alle.size() >= hoechsteZahl)
            return;
        Ding ding;
        if (auto* const rolle = rufe(bus, wen, pfad, schnittstelle, "GetRoleName", nullptr, "(s)")) {
            char const* text = nullptr;
            g_variant_get(rolle, "(&s)", &text);
            ding.rolle = text;
            g_variant_unref(rolle);
        }
        if (auto* const name = rufe(
                bus, wen, pfad, "org.freedesktop.DBus.Properties", "Get",
                g_variant_new("(ss)", schnittstelle, "Name"), "(v)")) {
            GVariant* wert = nullptr;
            g_variant_get(name, "(v)", &wert);
            ding.name = g_variant_get_string(wert, nullptr);
            g_variant_unref(wert);
            g_variant_unref(name);
        }
        alle.push_back(ding);
        auto* const kinder = rufe(bus, wen, pfad, schnittstelle, "GetChildren", nullptr, "(a(so))");
        if (!kinder)
            return;
        GVariantIter* lauf = nullptr;
        g_variant_get(kinder, "(a(so))", &lauf);
        char const* kindname = nullptr;
        char const* kindpfad = nullptr;
        while (g_variant_iter_next(lauf, "(&s&o)", &kindname, &kindpfad))
            lies(kindname, kindpfad, alle);
        g_variant_iter_free(lauf);
        g_variant_unref(kinder);
    }
};

Barriere::Barriere(std::string const& bus)
    : verbindung_(std::make_unique<Verbindung>()) {
    auto const wie = static_cast<GDBusConnectionFlags>(
        G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    verbindung_->sitzung =
        g_dbus_connection_new_for_address_sync(bus.c_str(), wie, nullptr, nullptr, nullptr);
    if (!verbindung_->sitzung)
        throw std::runtime_error{"kein Sitzungsbus"};
    // Somebody else may be starting it just now; asking would start another one.
    (void)wartenBis(
        [&] {
            auto* const da = rufe(
                verbindung_->sitzung, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                "NameHasOwner", g_variant_new("(s)", "org.a11y.Bus"), "(b)");
            gboolean ja = FALSE;
            if (da) {
                g_variant_get(da, "(b)", &ja);
                g_variant_unref(da);
            }
            return ja != FALSE;
        },
        std::chrono::seconds{10});
    auto* const antwort = rufe(
        verbindung_->sitzung, "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", nullptr, "(s)");
    if (!antwort)
        throw std::runtime_error{"kein Bus für Hilfsmittel"};
    char const* adresse = nullptr;
    g_variant_get(antwort, "(&s)", &adresse);
    verbindung_->bus = g_dbus_connection_new_for_address_sync(adresse, wie, nullptr, nullptr, nullptr);
    g_variant_unref(antwort);
    if (!verbindung_->bus)
        throw std::runtime_error{"der Bus für Hilfsmittel antwortet nicht"};
}

Barriere::~Barriere() {
    g_clear_object(&verbindung_->bus);
    g_clear_object(&verbindung_->sitzung);
}

std::vector<Barriere::Ding> Barriere::alles() const {
    std::vector<Ding> alle;
    verbindung_->lies("org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root", alle);
    return alle;
}

std::string Barriere::alsText() const {
    std::string text;
    for (auto const& ding : alles())
        text += ding.rolle + " \"" + ding.name + "\"\n";
    return text;
}

bool Barriere::gibtEs(Ding const& ding) const {
    auto const alle = alles();
    return std::ranges::find(alle, ding) != alle.end();
}

bool Barriere::gibtRolle(std::string const& rolle) const {
    auto const alle = alles();
    return std::ranges::find(alle, rolle, &Ding::rolle) != alle.end();
}

} // namespace quillmate::werkzeug
