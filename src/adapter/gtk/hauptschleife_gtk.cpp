#include "hauptschleife_gtk.h"

#include <glib.h>

#include <algorithm>
#include <utility>

namespace quillmate::adapter::gtk {
namespace {

using Arbeit = ports::Hauptschleife::Arbeit;

gboolean ausfuehren(gpointer zeiger) {
    (*static_cast<Arbeit*>(zeiger))();
    return G_SOURCE_REMOVE;
}

void wegwerfen(gpointer zeiger) {
    delete static_cast<Arbeit*>(zeiger); // NOLINT(cppcoreguidelines-owning-memory): GLib held it until here.
}

} // namespace

HauptschleifeGtk::HauptschleifeGtk(Arbeit ende)
    : ende_(std::move(ende)) {}

void HauptschleifeGtk::spaeter(Arbeit arbeit) {
    // The default priority, not the idle one: a page that animates must not keep replies waiting.
    g_idle_add_full(G_PRIORITY_DEFAULT, ausfuehren, new Arbeit{std::move(arbeit)}, wegwerfen);
}

void HauptschleifeGtk::nach(std::chrono::milliseconds dauer, Arbeit arbeit) {
    auto const millisekunden = static_cast<guint>(std::clamp<long long>(dauer.count(), 0, G_MAXINT));
    g_timeout_add_full(
        G_PRIORITY_DEFAULT, millisekunden, ausfuehren, new Arbeit{std::move(arbeit)}, wegwerfen);
}

void HauptschleifeGtk::beenden() {
    spaeter(ende_);
}

} // namespace quillmate::adapter::gtk
