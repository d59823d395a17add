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

} // namespace quillmate::MacScan
