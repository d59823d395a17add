#include "uebertragung.h"

namespace quillmate::dienst {

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

} // namespace quillmate::dienst
