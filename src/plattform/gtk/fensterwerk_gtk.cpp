#include "fensterwerk_gtk.h"

#include "programmfenster_gtk.h"
#include "webansicht_gtk.h"

#include <utility>

namespace quillmate::plattform::gtk {

std::unique_ptr<Webansicht> FensterwerkGtk::webansicht(
    Webansicht::Einrichtung einrichtung, Webansicht::Empfaenger& empfaenger) {
    return std::make_unique<WebansichtGtk>(sitzungen_, std::move(einrichtung), empfaenger);
}

std::unique_ptr<Programmfenster> FensterwerkGtk::fenster(Fenstermasse const& masse) {
    bool const haupt = !std::exchange(hauptfensterGebaut_, true);
    return std::make_unique<ProgrammfensterGtk>(anwendung_, voreinstellungen_, masse, haupt);
}

} // namespace quillmate::plattform::gtk
