#include "einspielung.h"

#include "bruecke.h"
#include "zitat.h"

#include <fmt/format.h>

#include <charconv>

namespace quillmate::bruecke {

std::int64_t ganzzahlAus(std::string_view text) noexcept {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-'))
            return 0;
    }
    std::int64_t zahl = 0;
    auto const* const ende = text.data() + text.size();
    auto const [danach, fehler] = std::from_chars(text.data(), ende, zahl);
    return fehler == std::errc{} && danach == ende ? zahl : 0;
}

std::string einspielungsskript(Programmangaben const& angaben) {
    // The comments are part of what pages get. An older page is served by the same text, so it changes only together
    // with `fassung`.
    return fmt::format(
        R"((() => {{
  const offen = new Map();
  let zaehler = 0;
  window.__quillmateAntwort = (id, ergebnis) => {{
    const p = offen.get(id);
    if (!p) return;
    offen.delete(id);
    ergebnis && ergebnis.fehler ? p.ab(new Error(ergebnis.fehler)) : p.auf(ergebnis);
  }};
  const ruf = (aktion, daten = {{}}) => new Promise((auf, ab) => {{
    const id = ++zaehler;
    offen.set(id, {{auf, ab}});
    window.webkit.messageHandlers.{}.postMessage({{...daten, aktion, id}});
  }});
  window.quillmateApp = {{
    fassung: 3,
    plattform: 'macos',
    version: {},
    build: {},
    ort: {},
    aktualisierbar: {},
    inProgrammeVerschieben: () => ruf('inProgrammeVerschieben'),
    nachUpdatesSuchen: () => ruf('nachUpdatesSuchen'),
    ordnerWaehlen: () => ruf('ordnerWaehlen'),
    gemerkterOrdner: () => ruf('gemerkterOrdner'),
    gemerkteOrdner: () => ruf('gemerkteOrdner'),
    ordnerVergessen: (daten) => ruf('ordnerVergessen', daten),
    portalOeffnen: (daten) => ruf('portalOeffnen', daten),
    macScannen: (daten) => ruf('macScannen', daten),
    gezieltSuchen: (daten) => ruf('gezieltSuchen', daten),
    // Erweiterte Bildersuche (0.4.7): zaehlt lokal. Die Seite zeigt den
    // Abschnitt ueberhaupt erst, wenn es diese Funktion gibt.
    bilderZaehlen: (daten) => ruf('bilderZaehlen', daten),
    // Was die App gerade tut (0.4.12) - die Seite fragt jede Sekunde, lokal, ohne Server.
    suchStand: () => ruf('suchStand'),
  }};
}})();)",
        Bruecke::name, zitat(angaben.kurzfassung.value_or("")), ganzzahlAus(angaben.buildnummer.value_or("")),
        zitat(angaben.ort), !angaben.umzugNoetig);
}

} // namespace quillmate::bruecke
