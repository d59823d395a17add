#include "fensterwerk_gtk.h"

#include "programmfenster_gtk.h"
#include "webansicht_gtk.h"

#include <utility>

namespace quillmate::adapter::gtk {

std::unique_ptr<ports::Webansicht> FensterwerkGtk::webansicht(
    ports::Webansicht::Einrichtung einrichtung, ports::Webansicht::Empfaenger& empfaenger) {
    return std::make_unique<WebansichtGtk>(sitzungen_, std::move(einrichtung), empfaenger);
}

std::unique_ptr<ports::Programmfenster> FensterwerkGtk::fenster(ports::Fenstermasse const& masse) {
    bool const haupt = !std::exchange(hauptfensterGebaut_, true);
    return std::make_unique<ProgrammfensterGtk>(anwendung_, voreinstellungen_, masse, haupt);
}

} // namespace quillmate::adapter::gtk
