(() => {
  const offen = new Map();
  let zaehler = 0;
  window.__quillmateAntwort = (id, ergebnis) => {
    const p = offen.get(id);
    if (!p) return;
    offen.delete(id);
    ergebnis && ergebnis.fehler ? p.ab(new Error(ergebnis.fehler)) : p.auf(ergebnis);
  };
  const ruf = (aktion, daten = {}) => new Promise((auf, ab) => {
    const id = ++zaehler;
    offen.set(id, {auf, ab});
    window.webkit.messageHandlers.QM_NAME.postMessage({...daten, aktion, id});
  });
  window.quillmateApp = {
    fassung: 3,
    plattform: 'macos',
    version: QM_VERSION,
    build: QM_BUILD,
    ort: QM_ORT,
    aktualisierbar: QM_AKTUALISIERBAR,
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
  };
})();
