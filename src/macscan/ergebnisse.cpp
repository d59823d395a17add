#include "ergebnisse.h"

namespace quillmate::MacScan {

std::string_view rohwert(Entscheidung entscheidung) noexcept {
    switch (entscheidung) {
    case Entscheidung::hochladen:
        return "hochladen";
    case Entscheidung::keinBelegtext:
        return "keinBelegtext";
    case Entscheidung::keinBeleg:
        return "keinBeleg";
    case Entscheidung::nichtZumThema:
        return "nichtZumThema";
    }
    return {};
}

std::string_view rohwert(Uebertragung uebertragung) noexcept {
    switch (uebertragung) {
    case Uebertragung::hochgeladen:
        return "hochgeladen";
    case Uebertragung::bekannt:
        return "bekannt";
    case Uebertragung::nichtLesbar:
        return "nichtLesbar";
    case Uebertragung::zuGross:
        return "zuGross";
    case Uebertragung::uebertragungFehlgeschlagen:
        return "uebertragungFehlgeschlagen";
    }
    return {};
}

} // namespace quillmate::MacScan
