// Remembered folders, and the image search in one of them.
import {rufe} from './bruecke.js';
import {alsZahl, beiKlick, element, finde, grundVon, melde, mitWort} from './hilfen.js';
import {zugang} from './dienst.js';
import {bilderAnfrage} from './anfragen.js';
import {laeuft, sucheStarten} from './suche.js';

let ordner = [];
let gezaehlt = ''; // folder whose images are counted, so that a late answer for another one is dropped

const dateien = (eintrag) =>
    eintrag.grenze_erreicht ? `mehr als ${alsZahl(eintrag.anzahl)} Dateien` : mitWort(eintrag.anzahl, 'Datei', 'Dateien');

export async function ordnerLaden() {
  ordner = (await rufe('gemerkteOrdner')).ordner ?? [];
  zeichne();
  await zaehleBilder();
  return ordner;
}

function zeichne() {
  finde('ordnerliste').replaceChildren(...ordner.map((eintrag) => element(
      'li', {'data-kennung': eintrag.kennung},
      element('span', {class: 'haupttext'}, element('strong', {}, eintrag.ordner), element('span', {class: 'leise'}, dateien(eintrag))),
      element(
          'button',
          {type: 'button', class: 'klein', 'aria-label': `Ordner ${eintrag.ordner} vergessen`, onclick: (ereignis) => vergiss(ereignis.currentTarget, eintrag)},
          'Vergessen'))));
  finde('ordner-leer').hidden = ordner.length > 0;
  const auswahl = finde('bilder-ordner');
  const bisher = auswahl.value;
  auswahl.replaceChildren(...ordner.map((eintrag) => element('option', {value: eintrag.kennung}, eintrag.ordner)));
  if (ordner.some((eintrag) => eintrag.kennung === bisher)) auswahl.value = bisher;
  auswahl.disabled = ordner.length === 0;
  if (ordner.length === 0) auswahl.append(element('option', {value: ''}, 'Erst einen Ordner hinzufügen'));
}

function vergiss(knopf, eintrag) {
  if (!window.confirm(`Den Ordner „${eintrag.ordner}“ nicht mehr durchsuchen? Seine Dateien bleiben, wie sie sind.`)) return;
  beiKlick(knopf, async () => {
    await rufe('ordnerVergessen', {kennung: eintrag.kennung});
    await ordnerLaden();
    finde('ordner-hinzufuegen').focus();
  });
}

async function fuegeHinzu() {
  const antwort = await rufe('ordnerWaehlen');
  if (antwort.abgebrochen) return;
  await ordnerLaden();
  melde(`„${antwort.ordner}“ wird ab jetzt mit durchsucht: ${dateien(antwort)}.`, 'gut');
}

async function zaehleBilder() {
  const kennung = finde('bilder-ordner').value;
  const zeile = finde('bilder-anzahl');
  const knopf = finde('bilder-starten');
  gezaehlt = kennung;
  knopf.disabled = true;
  if (!kennung) {
    zeile.textContent = '';
    return;
  }
  zeile.textContent = 'Die Bilder werden gezählt …';
  try {
    const {anzahl} = await rufe('bilderZaehlen', {kennung});
    if (gezaehlt !== kennung) return;
    zeile.textContent = anzahl === 0 ? 'In diesem Ordner liegen keine Bilder.' : `In diesem Ordner ${anzahl === 1 ? 'liegt' : 'liegen'} ${mitWort(anzahl, 'Bild', 'Bilder')}.`;
    finde('bilder-hoechstens').value = Math.min(Math.max(anzahl, 1), 500);
    knopf.disabled = anzahl === 0;
  } catch (fehler) {
    if (gezaehlt === kennung) zeile.textContent = grundVon(fehler);
  }
}

export function ordnerEinrichten() {
  finde('ordner-hinzufuegen').addEventListener('click', (ereignis) => beiKlick(ereignis.currentTarget, fuegeHinzu));
  finde('bilder-ordner').addEventListener('change', zaehleBilder);
  finde('bilderformular').addEventListener('submit', (ereignis) => {
    ereignis.preventDefault();
    if (laeuft()) {
      melde('Es läuft bereits eine Suche.', 'fehler');
      return;
    }
    sucheStarten(bilderAnfrage(zugang, finde('bilder-ordner').value, finde('bilder-hoechstens').value));
    finde('titel-suche').scrollIntoView({block: 'start'});
  });
}
