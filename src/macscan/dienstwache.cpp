#include "dienstwache.h"

#include "grundlage/protokoll.h"

#include <utility>

namespace quillmate::MacScan {

Dienstwache::Dienstwache(ports::Uhr& uhr, Fragen fragen)
    : uhr_(uhr)
    , fragen_(std::move(fragen)) {}

bool Dienstwache::bereit() {
    std::lock_guard const schutz{sperre_};
    if (aufgegeben_)
        return false;
    auto const ohneAntwort = fragen_.ohneAntwort();
    if (ohneAntwort < zurueckBei_)
        zurueckBei_ = 0; // an upload was answered since
    if (ohneAntwort - zurueckBei_ < hoechstensOhneAntwort)
        return true;
    protokoll("MacScan: der Dienst antwortet nicht mehr, die Übertragung wartet bis zu zwei Minuten auf ihn");
    auto const ende = uhr_.jetzt() + geduld;
    while (uhr_.jetzt() < ende) {
        auto const naechste = uhr_.jetzt() + abstand;
        while (uhr_.jetzt() < naechste) {
            if (fragen_.gestoppt())
                return false;
            uhr_.schlafen(stoppabstand);
        }
        if (fragen_.antwortet()) {
            protokoll("MacScan: der Dienst antwortet wieder");
            zurueckBei_ = ohneAntwort;
            return true;
        }
    }
    protokoll("MacScan: der Dienst ist nicht zurückgekommen, der Rest bleibt für den nächsten Scan");
    aufgegeben_ = true;
    return false;
}

} // namespace quillmate::MacScan
