#include "abgleich.h"

#include "beurteilung.h"
#include "dateizugriff.h"
#include "faeden.h"

#include <atomic>
#include <cstddef>
#include <mutex>
#include <utility>
#include <vector>

namespace quillmate::MacScan {

Abgleich abgleichen(Lauf const& lauf, Bekanntes const& bekanntes, Kandidaten& kandidaten) {
    auto& funde = kandidaten.funde;
    auto const anzahl = static_cast<std::int64_t>(funde.size());
    auto const schritt = lauf.stand.beginne("abgleich", "Abgleich", anzahl);
    std::vector<char> ueberspringen(funde.size(), 0); // not vector<bool>: written by several threads
    std::atomic<std::size_t> naechster{0};
    std::atomic<bool> abgebrochen{false};
    std::mutex vergleichssperre;
    Dateizugriff const zugriff{kandidaten.orte, lauf.umgebung.ortsfrist, [&] {
                                   return abgebrochen || lauf.mussEnden();
                               }};
    auto const vergleiche = [&](Ordner::Fund const& fund, Abbruchfrage const& enden) {
        if (!koennteBekanntSein(fund.pfad, *bekanntes.gesehen, {}))
            return false;
        auto datei = zugriff.oeffnen(fund);
        if (!datei)
            return false;
        if (istBekannt(*datei, *bekanntes.gesehen, {}, enden))
            return zugriff.unveraendertGeblieben(fund, *datei) == true;
        // It changed since. Its digest is known now and needs no second reading.
        if (auto const summe = datei->pruefsumme(0);
            summe && zugriff.unveraendertGeblieben(fund, *datei) == true) {
            std::lock_guard const schutz{vergleichssperre};
            kandidaten.verglichen.insert_or_assign(
                fund.pfad, Vergleich{.stand = datei->stand(), .pruefsumme = *summe});
        }
        return false;
    };
    auto const pruefe = [&](auto weiter) {
        auto const enden = [&] {
            return abgebrochen || !weiter();
        };
        for (std::size_t i = naechster++; i < funde.size() && !enden(); i = naechster++)
            ueberspringen[i] = vergleiche(funde[i], enden) ? 1 : 0;
    };
    if (!bekanntes.gesehen->pfade.empty()) {
        Faeden helfer;
        constexpr std::size_t lohntFaden = 16;
        for (int k = 1; k < aktiveKerne() && funde.size() >= lohntFaden; ++k)
            helfer.starte([&] { pruefe([] { return true; }); });
        // Only this thread asks the service; the others see its answer.
        pruefe([&] {
            abgebrochen = abgebrochen || lauf.gestoppt();
            return !abgebrochen;
        });
    }
    std::size_t i = 0;
    auto const uebersprungen = static_cast<std::int64_t>(
        std::erase_if(funde, [&](Ordner::Fund const&) { return ueberspringen[i++] != 0; }));
    lauf.stand.setze(schritt, {}, {}, {{"uebersprungen", uebersprungen}});
    lauf.stand.fertig(schritt, anzahl);
    return {.weiter = abgebrochen ? Weiter::nein : Weiter::ja, .uebersprungen = uebersprungen};
}

} // namespace quillmate::MacScan
