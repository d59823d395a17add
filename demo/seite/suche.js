// The full scan: start, live steps, stop, summary.
//
// The program answers a scan's call once, when reading begins or when there is nothing to read; all else comes
// from its report, which is asked for each second, and from the service. So a page that was loaded anew while a
// scan runs shows it just the same.
import {app, rufe} from './bruecke.js';
import {alsDauer, alsZahl, beiKlick, element, finde, grundVon, melde, mitWort, warte} from './hilfen.js';
import {fortschritt, letzterBericht, setzeStopp, zugang} from './dienst.js';
import {scanAnfrage} from './anfragen.js';

const takt = 1000; // ms between two questions for the report
const wartezeitAntwort = 5000; // ms that a call's answer may come later than the end in the report

let beobachtet = false;
let stoppGewuenscht = false;
const zuhoerer = [];

export const laeuft = () => beobachtet;
/// `zuhoerer` is called after each end of a scan.
export const beiEnde = (hoerer) => zuhoerer.push(hoerer);

const schrittnamen = {
  vorgaben: () => 'Vorgaben holen',
  bekannt: () => 'Bekannte Belege holen',
  platzhalter: (name) => `Dateien in der Cloud: ${name}`,
  icloud: (name) => `Aus der Cloud laden: ${name}`,
  ordner: (name) => `${name} durchsehen`,
  abgleich: () => 'Mit Bekanntem abgleichen',
  lesen: () => 'Dateien lesen und übertragen',
};

const gruende = [
  ['Gelesen', [['hochladen', 'als Beleg erkannt'], ['keinBelegtext', 'Bilder ohne Belegtext'], ['keinBeleg', 'kein Beleg'], ['nichtZumThema', 'Belege zu anderen Themen']]],
  ['Übertragen', [['hochgeladen', 'beim Dienst angekommen'], ['bekannt', 'schon als Nicht-Beleg bekannt'], ['nichtLesbar', 'nicht lesbar'], ['zuGross', 'zu groß'], ['uebertragungFehlgeschlagen', 'Übertragung gescheitert']]],
  ['Übergangen', [['uebersprungen', 'dem Dienst schon bekannt'], ['ausserhalbZeitraum', 'außerhalb des Zeitraums'], ['cloudPlatzhalter', 'nur in der Cloud']]],
];

/// Starts a scan and follows it to its end: {ausgang: "fertig" | "gestoppt" | "fehler", grund, bericht}.
export async function sucheStarten(anfrage) {
  if (beobachtet) return {ausgang: 'fehler', grund: 'Es läuft bereits eine Suche.'};
  beobachtet = true;
  stoppGewuenscht = false;
  zeigeLauf(true);
  finde('ergebnis').hidden = true;
  zeichneSchritte({art: anfrage.nurOrdner ? 'bildersuche' : 'suche', sekunden: 0, schritte: []});
  try {
    await setzeStopp(false); // A stop from before would end this scan at its first question.
    const erste = rufe('macScannen', anfrage).then((antwort) => ({antwort}), (fehler) => ({fehler}));
    return await begleite(erste);
  } catch (fehler) {
    return beende({ausgang: 'fehler', grund: grundVon(fehler)});
  }
}

async function begleite(erste) {
  erste.then(({fehler}) => fehler && melde(grundVon(fehler), 'fehler'));
  // Also when the call was refused because of another scan: that one is worth watching, too.
  const stand = await folge();
  const antwort = await Promise.race([erste, warte(wartezeitAntwort).then(() => ({antwort: {}}))]);
  if (antwort.fehler) return beende({ausgang: 'fehler', grund: grundVon(antwort.fehler)});
  return beende(await ergebnisVon(stand, antwort.antwort ?? {}));
}

/// Draws the report each second until it says that nothing runs; returns the last one.
async function folge() {
  for (;;) {
    const stand = await rufe('suchStand');
    zeichneSchritte(stand);
    if (!stand.laeuft) return stand;
    // Said again and again: a scan that begins to read just then lifts the stop it has not seen.
    if (stoppGewuenscht) await setzeStopp(true).catch(() => {});
    await warte(takt);
  }
}

async function ergebnisVon(stand, antwort) {
  const lesen = stand.schritte.find((schritt) => schritt.schluessel === 'lesen');
  if (antwort.gestoppt || !lesen) {
    const gestoppt = antwort.gestoppt || (await fortschritt().catch(() => ({}))).gestoppt === true;
    return gestoppt ? {ausgang: 'gestoppt', bericht: null} : {ausgang: 'fehler', grund: 'Die Suche ist vorzeitig geendet.'};
  }
  const lage = await fortschritt().catch(() => ({}));
  let bericht = antwort.gruende ? antwort : await letzterBericht().catch(() => null);
  // The service keeps the last report it got; when this scan's got lost, the steps know the counts.
  if (!bericht?.gruende || bericht.gesamt !== (lesen.gesamt ?? 0))
    bericht = {gesamt: lesen.gesamt ?? 0, gruende: lesen.zusatz ?? {}};
  const vorzeitig = (lesen.anzahl ?? 0) < (lesen.gesamt ?? 0);
  return {ausgang: lage.gestoppt === true && vorzeitig ? 'gestoppt' : 'fertig', bericht};
}

function beende(ergebnis) {
  beobachtet = false;
  zeigeLauf(false);
  if (ergebnis.ausgang === 'fehler' && ergebnis.grund) melde(ergebnis.grund, 'fehler');
  zeichneErgebnis(ergebnis);
  for (const hoerer of zuhoerer) hoerer(ergebnis);
  return ergebnis;
}

function zeigeLauf(an) {
  finde('suchlauf').hidden = !an;
  finde('suche-stoppen').hidden = !an;
  finde('suche-stoppen').disabled = false;
  finde('suche-stoppen').textContent = 'Stoppen';
  finde('suche-starten').disabled = an;
}

function zeichneSchritte(stand) {
  const lesen = stand.schritte.find((schritt) => schritt.schluessel === 'lesen');
  const balken = finde('suchlauf-balken');
  const titel = finde('suchlauf-titel');
  const art = stand.art === 'bildersuche' ? 'Bildersuche' : 'Suche';
  if (lesen?.gesamt) {
    balken.max = lesen.gesamt;
    balken.value = lesen.anzahl ?? 0;
    titel.textContent = `${art}: ${alsZahl(lesen.anzahl ?? 0)} von ${mitWort(lesen.gesamt, 'Datei', 'Dateien')}`;
  } else {
    balken.removeAttribute('value');
    titel.textContent = stoppGewuenscht ? `${art} wird gestoppt …` : `${art} läuft …`;
  }
  finde('suchlauf-dauer').textContent = alsDauer(stand.sekunden);
  finde('suchlauf-schritte').replaceChildren(...sichtbareSchritte(stand).map(alsZeile));
}

/// Without the steps of the cloud that found nothing: most people have none.
const sichtbareSchritte = (stand) => stand.schritte.filter(
    (schritt) => !(['platzhalter', 'icloud'].includes(schritt.schluessel) && schritt.fertig && !schritt.anzahl));

function alsZeile(schritt) {
  const name = (schrittnamen[schritt.schluessel] ?? ((n) => n ?? schritt.schluessel))(schritt.name);
  let menge = schritt.anzahl === undefined ? '' : alsZahl(schritt.anzahl);
  if (schritt.gesamt !== undefined && schritt.gesamt !== schritt.anzahl) menge = `${alsZahl(schritt.anzahl ?? 0)} / ${alsZahl(schritt.gesamt)}`;
  const zusatz = [];
  if (schritt.zusatz?.hochgeladen) zusatz.push(`${alsZahl(schritt.zusatz.hochgeladen)} übertragen`);
  if (schritt.zusatz?.uebersprungen) zusatz.push(`${alsZahl(schritt.zusatz.uebersprungen)} schon bekannt`);
  return element(
      'li', {class: schritt.fertig ? 'fertig' : 'offen'},
      element('span', {class: 'schrittname'}, name, element('span', {class: 'unsichtbar'}, schritt.fertig ? ' – erledigt' : ' – läuft')),
      element('span', {class: 'leise'}, zusatz.join(', ')), element('span', {class: 'menge'}, menge),
      element('span', {class: 'leise dauer'}, alsDauer(schritt.sekunden)));
}

function zeichneErgebnis({ausgang, bericht}) {
  const ort = finde('ergebnis');
  ort.hidden = !bericht && ausgang !== 'gestoppt';
  if (ort.hidden) return;
  const zahlen = bericht?.gruende ?? {};
  const angekommen = zahlen.hochgeladen ?? 0;
  let satz = 'Die Suche wurde gestoppt, bevor Dateien gelesen wurden.';
  if (bericht) {
    if (bericht.gesamt === 0) satz = 'Es gab nichts Neues zu lesen.';
    else if (angekommen === 0) satz = 'Es wurde kein neuer Beleg gefunden.';
    else satz = angekommen === 1 ? 'Ein Beleg wurde übertragen.' : `${alsZahl(angekommen)} Belege wurden übertragen.`;
    satz += ` Gefunden: ${mitWort(bericht.gesamt, 'Datei', 'Dateien')}.`;
  }
  const gruppen = gruende.map(([titel, zeilen]) => {
    const belegt = zeilen.filter(([schluessel]) => zahlen[schluessel] > 0);
    return belegt.length === 0 ? null : element(
        'div', {class: 'gruppe'}, element('h4', {}, titel),
        element('dl', {}, ...belegt.flatMap(([schluessel, name]) => [element('dt', {}, name), element('dd', {'data-grund': schluessel}, alsZahl(zahlen[schluessel]))])));
  });
  const orte = Object.entries(bericht?.orte ?? {});
  if (orte.length > 0)
    gruppen.push(element(
        'div', {class: 'gruppe'}, element('h4', {}, 'Gefunden in'),
        element('dl', {}, ...orte.flatMap(([name, anzahl]) => [element('dt', {}, name), element('dd', {}, alsZahl(anzahl))]))));
  const gesperrt = [bericht?.zugriff ?? []].flat().filter((lage) => lage.zustand === 'permission_denied').map((lage) => lage.name);
  ort.replaceChildren(
      element('h3', {}, ausgang === 'gestoppt' ? 'Gestoppt' : 'Ergebnis'),
      element('p', {id: 'ergebnis-satz'}, satz),
      ...(gesperrt.length > 0 ? [element('p', {class: 'meldung fehler'}, `Kein Zugriff auf ${gesperrt.join(', ')}.`)] : []),
      element('div', {class: 'gruppen'}, ...gruppen.filter(Boolean)));
}

/// Takes up a scan that an earlier load of the page began, or shows how the last one ended.
async function nimmAuf() {
  const stand = await rufe('suchStand');
  if (stand.laeuft) {
    beobachtet = true;
    zeigeLauf(true);
    await begleite(Promise.resolve({antwort: {}}));
  } else if (stand.schritte.some((schritt) => schritt.schluessel === 'lesen')) {
    zeichneErgebnis(await ergebnisVon(stand, {}));
  }
}

/// In an ordinary browser: what the service knows of a scan that the program runs elsewhere.
async function zeigeFernlauf() {
  const stoppen = finde('fernlauf-stoppen');
  stoppen.addEventListener('click', () => beiKlick(stoppen, () => setzeStopp(true)));
  for (;; await warte(3 * takt)) {
    const lage = await fortschritt().catch(() => ({}));
    finde('fernlauf').hidden = lage.running !== true;
    finde('fernlauf-balken').max = Math.max(lage.total ?? 0, 1);
    finde('fernlauf-balken').value = lage.processed ?? 0;
    finde('fernlauf-stand').textContent = lage.gestoppt ? 'wird gestoppt …' : `${alsZahl(lage.processed ?? 0)} von ${alsZahl(lage.total ?? 0)}`;
  }
}

export function sucheEinrichten() {
  if (!app) {
    zeigeFernlauf();
    return;
  }
  finde('suche-starten').addEventListener('click', () => sucheStarten(scanAnfrage(zugang, {alles: finde('suche-alles').checked, fotos: finde('suche-fotos').checked})));
  finde('suche-stoppen').addEventListener('click', (ereignis) => {
    const knopf = ereignis.currentTarget;
    stoppGewuenscht = true;
    knopf.disabled = true;
    knopf.textContent = 'Wird gestoppt …';
    setzeStopp(true).catch((fehler) => {
      melde(grundVon(fehler), 'fehler');
      stoppGewuenscht = false;
      knopf.disabled = false;
      knopf.textContent = 'Stoppen';
    });
  });
  nimmAuf().catch((fehler) => {
    beobachtet = false;
    zeigeLauf(false);
    melde(grundVon(fehler), 'fehler');
  });
}
