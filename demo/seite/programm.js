// The program around the page: version, place, updates; signing in and the bank.
import {app, rufe} from './bruecke.js';
import {beiKlick, element, finde, melde} from './hilfen.js';
import {anmeldeadresse, bankadresse} from './dienst.js';

const orte = {programme: 'Programme', downloads: 'Downloads', dmg: 'Abbild', anderswo: 'anderer Ordner'};

async function verschiebe() {
  const antwort = await rufe('inProgrammeVerschieben');
  if (antwort.neustart) melde('Quillmate zieht um und startet gleich neu …', 'gut');
  else melde(`Quillmate liegt schon richtig: ${orte[antwort.ort] ?? antwort.ort}.`);
}

export function programmEinrichten() {
  finde('anmelden').href = anmeldeadresse();
  finde('bank-verbinden').href = bankadresse();
  finde('umgebung').textContent = app ? `Programm ${app.version || '?'}` : 'im Browser';
  for (const teil of document.querySelectorAll('[data-nur-programm]')) if (!app) teil.remove();
  finde('nur-browser').hidden = Boolean(app);
  if (!app) return;
  const angaben = [['Fassung', `${app.version || '–'} (Build ${app.build})`], ['Ort', orte[app.ort] ?? app.ort], ['Brücke', app.fassung]];
  finde('programmangaben').replaceChildren(...angaben.flatMap(([name, wert]) => [element('dt', {}, name), element('dd', {}, String(wert))]));
  finde('umzug-hinweis').hidden = app.aktualisierbar;
  finde('verschieben').hidden = app.aktualisierbar;
  finde('verschieben').addEventListener('click', (ereignis) => beiKlick(ereignis.currentTarget, verschiebe));
  finde('updates-suchen').addEventListener('click', (ereignis) => beiKlick(ereignis.currentTarget, () => rufe('nachUpdatesSuchen')));
}
