// Vendor portals: opening them, and what comes back from their windows.
import {app, rufe} from './bruecke.js';
import {beiKlick, element, finde, grundVon, melde} from './hilfen.js';
import {zugang} from './dienst.js';
import {portalAnfrage} from './anfragen.js';
import {allesLaden} from './buchungen.js';

/// Keys of the program's catalogue, with the names that it shows.
const portale = [
  ['amazon', 'Amazon'], ['telekom', 'Telekom'], ['vodafone', 'Vodafone'], ['einsundeins', '1&1'],
  ['deutsche_bahn', 'Deutsche Bahn'], ['microsoft365', 'Microsoft 365'], ['adobe', 'Adobe'],
  ['aws', 'Amazon Web Services'], ['meta_ads', 'Meta Ads'],
];
const namen = new Map([...portale, ['weiteres', 'Weiteres Portal']]);

const zustaende = {wird_importiert: ['wartet', 'wird übernommen'], importiert: ['zugeordnet', 'übernommen'], fehler: ['gescheitert', 'Fehler'], geschlossen: ['frei', 'geschlossen']};
const hoechstensEreignisse = 50;

async function oeffne(kennung, name = '') {
  const wahl = finde('portal-buchung').value;
  const antwort = await rufe('portalOeffnen', portalAnfrage(zugang, kennung, {name, buchung: wahl ? Number(wahl) : null}));
  return antwort.abgebrochen !== true;
}

function nimmEreignis(ereignis) {
  const [klasse, wort] = zustaende[ereignis?.status] ?? ['frei', String(ereignis?.status ?? '')];
  const name = namen.get(ereignis?.kennung) ?? String(ereignis?.kennung ?? '');
  const liste = finde('portalereignisse');
  liste.prepend(element(
      'li', {'data-status': ereignis?.status}, element('span', {class: 'leise tag'}, new Date().toLocaleTimeString('de-DE', {hour: '2-digit', minute: '2-digit'})),
      element('span', {class: 'haupttext'}, element('strong', {}, ereignis?.transaction_id ? `${name} · Buchung ${ereignis.transaction_id}` : name), element('span', {class: 'leise'}, ereignis?.nachricht ?? '')),
      element('span', {class: `schild ${klasse}`}, wort)));
  while (liste.children.length > hoechstensEreignisse) liste.lastElementChild.remove();
  finde('ereignisse-leer').hidden = true;
  if (ereignis?.status === 'fehler') melde(`${name}: ${ereignis.nachricht}`, 'fehler');
  if (ereignis?.status === 'importiert') allesLaden().catch((fehler) => melde(grundVon(fehler), 'fehler'));
}

export function portaleEinrichten() {
  if (!app) return;
  window.__quillmatePortalEreignis = nimmEreignis;
  finde('portalliste').replaceChildren(...portale.map(([kennung, name]) => element(
      'li', {},
      element('button', {type: 'button', class: 'kachel', 'data-kennung': kennung, onclick: (ereignis) => beiKlick(ereignis.currentTarget, () => oeffne(kennung))}, name))));
  // The program opens no address that a page names, so the person takes this one over by hand.
  if (zugang.portal) {
    finde('demoportal').hidden = false;
    finde('demoportal-adresse').textContent = zugang.portal;
    finde('demoportal-oeffnen').addEventListener('click', (ereignis) => beiKlick(ereignis.currentTarget, () => oeffne('weiteres', 'Demoportal')));
    finde('demoportal-kopieren').addEventListener('click', (ereignis) => beiKlick(ereignis.currentTarget, async () => {
      await navigator.clipboard.writeText(zugang.portal);
      melde('Adresse kopiert. Füge sie im Fenster „Weiteres Anbieterportal öffnen“ ein.', 'gut');
    }));
  }
  finde('portalformular').addEventListener('submit', (ereignis) => {
    ereignis.preventDefault();
    beiKlick(finde('portal-weiteres'), () => oeffne('weiteres', finde('portal-name').value));
  });
}
