#include "gesten.h"

namespace quillmate::adapter::gtk {

void Gesten::eingabe(Zeit jetzt) {
    ++letzte_;
    offen_ = true;
    eingabe_ = jetzt;
}

std::uint64_t Gesten::nummer(Zeit jetzt) {
    if (jetzt - eingabe_ < frist)
        return nummerDerEingabe(jetzt);
    if (jetzt - skript_ < nachhall || jetzt - verbraucht_ < abstand)
        return 0;
    ++letzte_;
    offen_ = true;
    return letzte_;
}

std::uint64_t Gesten::nummerDerEingabe(Zeit jetzt) const {
    return offen_ && jetzt - eingabe_ < frist ? letzte_ : 0;
}

bool Gesten::verbrauchen(std::uint64_t nummer, Zeit jetzt) {
    if (nummer == 0 || nummer != letzte_ || !offen_)
        return false;
    offen_ = false;
    verbraucht_ = jetzt;
    return true;
}

} // namespace quillmate::adapter::gtk
