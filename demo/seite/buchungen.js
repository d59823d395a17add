// Bookings, and the search for one booking's receipt.
import {app, rufe} from './bruecke.js';
import {alsDatum, beiKlick, element, finde, melde, mitWort} from './hilfen.js';
import * as dienst from './dienst.js';
import {gezieltAnfrage} from './anfragen.js';
import {belegOeffnen, belegeLaden} from './belege.js';

let buchungen = [];
let gesuchte = null; // number of the booking whose receipt is being looked for

export const alleBuchungen = () => buchungen;

export async function buchungenLaden() {
  buchungen = await dienst.buchungen();
  zeichne();
  return buchungen;
}

const ohneBeleg = (buchung) => buchung.belege.length === 0;

function zeichne() {
  const offene = buchungen.filter(ohneBeleg).length;
  const zahl = finde('zahl-buchungen');
  zahl.textContent = offene;
  zahl.title = mitWort(offene, 'Buchung ohne Beleg', 'Buchungen ohne Beleg');
  zahl.hidden = offene === 0;
  const nurOffene = finde('buchungen-offen').checked;
  const gesucht = finde('buchungen-filter').value.trim().toLowerCase();
  const gezeigte = buchungen.filter(
      (buchung) => (!nurOffene || ohneBeleg(buchung) || buchung.id === gesuchte) &&
          `${buchung.gegenpartei} ${buchung.zweck} ${buchung.betrag} ${alsDatum(buchung.datum)}`.toLowerCase().includes(gesucht));
  finde('buchungsliste').replaceChildren(...gezeigte.map(alsZeile));
  const leer = finde('buchungen-leer');
  leer.hidden = gezeigte.length > 0;
  leer.textContent = gesucht ? 'Keine Buchung passt zum Filter.' : 'Zu jeder Buchung gibt es einen Beleg.';
  zeichneAuswahl();
}

function alsZeile(buchung) {
  const sucht = gesuchte === buchung.id;
  return element(
      'li', {'data-buchung': buchung.id}, element('span', {class: 'leise tag'}, alsDatum(buchung.datum)),
      element('span', {class: 'haupttext'}, element('strong', {}, buchung.gegenpartei || 'Ohne Namen'), element('span', {class: 'leise'}, buchung.zweck)),
      element('span', {class: `betrag${buchung.betrag_cent > 0 ? ' eingang' : ''}`}, buchung.betrag.replace('-', '\u2212')),
      element(
          'span', {class: 'taten'},
          ...buchung.belege.map((beleg) => element(
              'button',
              {type: 'button', class: `klein beleg ${beleg.art}`, title: beleg.art === 'vorschlag' ? 'Vorschlag: der Betrag weicht ab' : 'Zugeordnet', onclick: () => belegOeffnen(beleg.id)},
              beleg.art === 'vorschlag' ? `Vorschlag ${beleg.id}` : `Beleg ${beleg.id}`)),
          app && (ohneBeleg(buchung) || sucht) ? element(
              'button',
              {type: 'button', class: 'klein suchen', disabled: gesuchte !== null, 'aria-label': `Beleg suchen für ${buchung.gegenpartei}, ${buchung.betrag}`, 'aria-busy': sucht ? 'true' : null, onclick: () => sucheBeleg(buchung)},
              sucht ? 'Sucht …' : 'Beleg suchen') : null));
}

async function sucheBeleg(buchung) {
  gesuchte = buchung.id;
  zeichne();
  try {
    const antwort = await rufe('gezieltSuchen', gezieltAnfrage(dienst.zugang, buchung));
    const treffer = antwort.treffer ?? [];
    const umfang = `${mitWort(antwort.durchsucht ?? 0, 'Datei', 'Dateien')} angesehen, ${antwort.gelesen ?? 0} gelesen`;
    if (treffer.length > 0) melde(`${buchung.gegenpartei}: ${treffer.map((name) => `„${name}“`).join(', ')} gefunden und angehängt.`, 'gut');
    else melde(`${buchung.gegenpartei}: kein passender Beleg gefunden (${umfang}${antwort.abgebrochen ? ', Zeit abgelaufen' : ''}).`);
  } catch (fehler) {
    melde(`${buchung.gegenpartei}: ${fehler.message}`, 'fehler');
  }
  gesuchte = null;
  zeichne();
  await Promise.all([buchungenLaden(), belegeLaden()]).catch((fehler) => melde(fehler.message, 'fehler'));
}

/// The bookings that a portal's receipts may be meant for.
function zeichneAuswahl() {
  if (!app) return; // there are no portals then
  const auswahl = finde('portal-buchung');
  const bisher = auswahl.value;
  const offene = buchungen.filter(ohneBeleg);
  auswahl.replaceChildren(
      auswahl.options[0],
      ...offene.map((buchung) => element('option', {value: buchung.id}, `${alsDatum(buchung.datum)} · ${buchung.gegenpartei} · ${buchung.betrag}`)));
  if (offene.some((buchung) => String(buchung.id) === bisher)) auswahl.value = bisher;
}

export function buchungenEinrichten() {
  finde('buchungen-offen').addEventListener('change', zeichne);
  finde('buchungen-filter').addEventListener('input', zeichne);
}

/// Loads everything that a scan, a search or a portal may have changed.
export const allesLaden = () => Promise.all([buchungenLaden(), belegeLaden()]);

export function aktualisieren(knopf) {
  return beiKlick(knopf, allesLaden);
}
