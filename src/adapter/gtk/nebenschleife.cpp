#include "nebenschleife.h"

#include "druck_gtk.h"

#include <glib.h>

#include <vector>

namespace quillmate::adapter::gtk {
namespace {

/// Those that are alive, the innermost last.
std::vector<Nebenschleife*>& lebende() {
    static std::vector<Nebenschleife*> liste;
    return liste;
}

} // namespace

Nebenschleife::Nebenschleife() {
    lebende().push_back(this);
}

Nebenschleife::~Nebenschleife() {
    std::erase(lebende(), this);
}

void Nebenschleife::laufen() {
    while (!beendet_)
        g_main_context_iteration(nullptr, TRUE);
}

void Nebenschleife::beenden() noexcept {
    beendet_ = true;
}

void Nebenschleife::alleBeenden() noexcept {
    for (auto* const schleife : lebende())
        schleife->beenden();
    druckdialogeSchliessen();
}

} // namespace quillmate::adapter::gtk
