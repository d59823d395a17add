#include "dateizugriff.h"

#include "am_ort.h"

#include <fmt/format.h>

#include <cstdint>
#include <expected>
#include <memory>
#include <utility>

namespace quillmate::MacScan {

namespace {

/// What is larger than this, in bytes, is not copied into memory; it is read where it lies, and whoever reads it may hang.
constexpr std::int64_t hoechstensAbgebildet = std::int64_t{64} * 1024 * 1024;

/// All files of one device hang together.
std::string stelle(Ordner::Fund const& fund) {
    return fmt::format("Gerät {}", fund.geraet);
}

} // namespace

bool Dateizugriff::oertlich(Ordner::Fund const& fund) const {
    return orte_.oertlicheGeraete.contains(fund.geraet);
}

Fehler Dateizugriff::keineAntwort(Ordner::Fund const& fund) const {
    return mussEnden_() ? Fehler{.art = Fehlerart::gestoppt, .wo = fund.pfad, .satz = "Lesen angehalten"}
                        : Fehler{
                              .art = Fehlerart::zeitAbgelaufen,
                              .wo = fund.pfad,
                              .satz = "das Laufwerk der Datei antwortet nicht"};
}

Ergebnis<Belegdatei> Dateizugriff::oeffnen(Ordner::Fund const& fund) const {
    if (oertlich(fund))
        return orte_.orte->oeffnen(fund);
    auto geoeffnet = amOrt(
        stelle(fund), frist_, mussEnden_, {},
        [fund, orte = orte_.orte](Ortszeichen& zeichen) -> Ergebnis<Belegdatei> {
            auto datei = orte->oeffnen(fund);
            if (!datei || datei->stand().groesse > hoechstensAbgebildet)
                return datei;
            auto const abgebildet =
                datei->abbilden(hoechstensAbgebildet, [&] { return zeichen.soll_enden(); });
            if (!abgebildet)
                return std::unexpected(abgebildet.error());
            if (!*abgebildet)
                return fehler(
                    Fehlerart::gestoert, fund.pfad, "die Datei ändert sich, während sie gelesen wird");
            return datei;
        });
    if (!geoeffnet)
        return std::unexpected(keineAntwort(fund));
    return *std::move(geoeffnet);
}

Ergebnis<bool> Dateizugriff::dort(
    Ordner::Fund const& fund, Belegdatei& datei,
    std::function<Ergebnis<bool>(Belegdatei&, Abbruchfrage const&)> arbeit) const {
    auto const geteilt = std::make_shared<Belegdatei>(std::move(datei));
    auto ergebnis = amOrt(
        stelle(fund), frist_, mussEnden_, {}, [geteilt, arbeit = std::move(arbeit)](Ortszeichen& zeichen) {
            return arbeit(*geteilt, [&] { return zeichen.soll_enden(); });
        });
    if (!ergebnis)
        return std::unexpected(keineAntwort(fund));
    datei = std::move(*geteilt);
    return *std::move(ergebnis);
}

Ergebnis<bool> Dateizugriff::unveraendertGeblieben(Ordner::Fund const& fund, Belegdatei& datei) const {
    if (oertlich(fund))
        return datei.unveraendert();
    if (datei.abgebildet()) {
        datei.schliessen(); // The line may be slow: what waits for it must not pile up in memory.
        return true;
    }
    return dort(fund, datei, [](Belegdatei& hier, Abbruchfrage const&) { return hier.unveraendert(); });
}

Ergebnis<bool> Dateizugriff::zumSenden(Ordner::Fund const& fund, Belegdatei& datei) const {
    if (oertlich(fund))
        return datei.wiederOeffnen() && datei.unveraendert() == true;
    return dort(
        fund, datei,
        [fund, orte = orte_.orte](Belegdatei& hier, Abbruchfrage const& abbrechen) -> Ergebnis<bool> {
            auto jetzt = orte->oeffnen(fund);
            if (!jetzt || jetzt->stand() != hier.stand())
                return false;
            if (hier.offen())
                return true;
            auto abgebildet = jetzt->stand().groesse > hoechstensAbgebildet
                                  ? Ergebnis<bool>{true}
                                  : jetzt->abbilden(hoechstensAbgebildet, abbrechen);
            if (abgebildet == true)
                hier = *std::move(jetzt);
            return abgebildet;
        });
}

} // namespace quillmate::MacScan
