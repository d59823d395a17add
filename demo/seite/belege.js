// Received receipts and their files.
import {gehe, app, oeffneFenster} from './bruecke.js';
import {alsGroesse, element, finde, grundVon, melde} from './hilfen.js';
import * as dienst from './dienst.js';

const takt = 3000; // ms between two looks while the service still reads
const hoechstensBlicke = 100;

let belege = [];
let blicke = 0;
let wecker = null;

const herkuenfte = {scan: 'aus der Suche', gezielt: 'zu einer Buchung gesucht', portal: 'aus einem Portal'};

export async function belegeLaden() {
  belege = await dienst.belege();
  zeichne();
  folgeLesen();
  return belege;
}

/// The service reads what it got in the background; as long as something is unread, the list is asked for again.
function folgeLesen() {
  const ungelesen = belege.some((beleg) => beleg.zustand === 'ungelesen');
  if (!ungelesen) blicke = 0;
  if (!ungelesen || wecker !== null || ++blicke > hoechstensBlicke) return;
  wecker = setTimeout(() => {
    wecker = null;
    belegeLaden().then(() => dispatchEvent(new Event('belege-gelesen'))).catch(() => {});
  }, takt);
}

function lage(beleg) {
  if (beleg.buchungen.some((buchung) => buchung.art === 'zugeordnet')) return ['zugeordnet', 'zugeordnet'];
  if (beleg.buchungen.length > 0) return ['vorschlag', 'Vorschlag'];
  if (beleg.zustand === 'ungelesen') return ['wartet', 'wird gelesen'];
  return beleg.zustand === 'beleg' ? ['frei', 'ohne Buchung'] : ['keiner', 'kein Beleg erkannt'];
}

const dateiname = (beleg) => beleg.name || `Beleg ${beleg.id}`;
const art = (beleg) => (/\.([a-z0-9]{1,4})$/i.exec(beleg.name)?.[1] ?? 'Datei').toUpperCase();

function zeichne() {
  const zahl = finde('zahl-belege');
  zahl.textContent = belege.length;
  zahl.hidden = belege.length === 0;
  const gesucht = finde('belege-filter').value.trim().toLowerCase();
  const gezeigte = belege.filter((beleg) => `${beleg.name} ${lage(beleg)[1]} ${beleg.quellpfad}`.toLowerCase().includes(gesucht)).reverse();
  finde('belegliste').replaceChildren(...gezeigte.map(alsZeile));
  const leer = finde('belege-leer');
  leer.hidden = gezeigte.length > 0;
  leer.textContent = belege.length > 0 ? 'Kein Beleg passt zum Filter.' : 'Noch kein Beleg angekommen. Unter „Suche“ geht es los.';
}

function alsZeile(beleg) {
  const [klasse, wort] = lage(beleg);
  const name = dateiname(beleg);
  return element(
      'li', {'data-beleg': beleg.id}, element('span', {class: `dateiart ${art(beleg).toLowerCase()}`, 'aria-hidden': 'true'}, art(beleg)),
      element(
          'span', {class: 'haupttext'}, element('strong', {title: beleg.quellpfad || null}, name),
          element('span', {class: 'leise'}, `${alsGroesse(beleg.groesse)}, ${herkuenfte[beleg.herkunft] ?? ''}`)),
      element('span', {class: `schild ${klasse}`}, wort),
      element(
          'span', {class: 'taten'},
          element('a', {class: 'knopf klein ansehen', href: dienst.belegadresse(beleg.id), target: '_blank', rel: 'noopener', 'aria-label': `${name} ansehen`, onclick: (e) => imProgramm(e, () => belegOeffnen(beleg.id))}, 'Ansehen'),
          element('a', {class: 'knopf klein sichern', href: dienst.belegadresse(beleg.id, {anhang: true}), 'aria-label': `${name} herunterladen`, onclick: (e) => imProgramm(e, () => gehe(dienst.belegadresse(beleg.id, {anhang: true})))}, 'Herunterladen'),
          element('button', {type: 'button', class: 'klein drucken', 'aria-label': `${name} drucken`, onclick: () => drucke(beleg)}, 'Drucken')));
}

/// In the program a link becomes an action of the page (see bruecke.js); a browser follows it as it stands.
function imProgramm(ereignis, handlung) {
  if (!app) return;
  ereignis.preventDefault();
  handlung();
}

export function belegOeffnen(id) {
  try {
    oeffneFenster(dienst.belegadresse(id));
  } catch (fehler) {
    melde(grundVon(fehler), 'fehler');
  }
}

const istPdf = (beleg) => beleg.typ === 'application/pdf' || /\.pdf$/i.test(beleg.name);

/// Prints the file. An image gets a window of its own to be printed from: WebKit's print operation takes a view's
/// whole page, whichever frame asks for it. A PDF in the program is only opened: its viewer is a page within the
/// window's page, of which only the visible part would be printed from here; the viewer has a button of its own.
function drucke(beleg) {
  const adresse = new URL(dienst.belegadresse(beleg.id), location.href).href;
  if (!istPdf(beleg)) return druckeBild(beleg, adresse);
  if (app) {
    belegOeffnen(beleg.id);
    melde(`„${dateiname(beleg)}“ ist in einem eigenen Fenster geöffnet. Drucke dort über das Druckersymbol.`);
    return;
  }
  document.querySelector('.druckrahmen')?.remove();
  // Stays until the next print: the dialog outlives the call.
  const rahmen = element('iframe', {class: 'druckrahmen', title: 'Druckansicht', tabindex: '-1', 'aria-hidden': 'true', src: adresse});
  rahmen.addEventListener('load', () => rahmen.contentWindow.print(), {once: true});
  document.body.append(rahmen);
}

function druckeBild(beleg, adresse) {
  const fenster = window.open('', '_blank');
  if (!fenster) return melde('Das Fenster ließ sich nicht öffnen.', 'fehler');
  const seite = fenster.document;
  seite.title = dateiname(beleg);
  const bild = seite.createElement('img');
  bild.alt = dateiname(beleg);
  Object.assign(seite.body.style, {margin: '0', background: '#fff'});
  Object.assign(bild.style, {maxWidth: '100%', maxHeight: '25cm', display: 'block', margin: '0 auto'}); // one sheet
  bild.addEventListener('load', () => fenster.print(), {once: true});
  bild.addEventListener('error', () => {
    fenster.close();
    melde('Diese Datei lässt sich hier nicht drucken. Lade sie herunter und drucke sie von dort.', 'fehler');
  }, {once: true});
  bild.src = adresse;
  seite.body.append(bild);
}

export function belegeEinrichten() {
  finde('belege-filter').addEventListener('input', zeichne);
}
