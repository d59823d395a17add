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
QM_AKTIONEN,
  };
})();
