// Small things that every part of the page uses: elements, messages, texts of numbers.

export const finde = (kennung) => document.getElementById(kennung);

/// An element with attributes and children. Texts become text nodes, so nothing from outside is ever markup.
export function element(name, merkmale = {}, ...kinder) {
  const neu = document.createElement(name);
  for (const [merkmal, wert] of Object.entries(merkmale)) {
    if (wert === null || wert === undefined || wert === false) continue;
    if (merkmal === 'onclick') neu.addEventListener('click', wert);
    else neu.setAttribute(merkmal, wert === true ? '' : String(wert));
  }
  neu.append(...kinder.filter((kind) => kind !== null && kind !== undefined));
  return neu;
}

export const warte = (millisekunden) => new Promise((fertig) => setTimeout(fertig, millisekunden));

const zahlformat = new Intl.NumberFormat('de-DE');
export const alsZahl = (zahl) => zahlformat.format(zahl);

export const mitWort = (anzahl, eines, viele) => `${alsZahl(anzahl)} ${anzahl === 1 ? eines : viele}`;

export const alsDatum = (iso) => iso.split('-').reverse().join('.');

export function alsGroesse(bytes) {
  const format = new Intl.NumberFormat('de-DE', {maximumFractionDigits: 1});
  return bytes < 1e6 ? `${format.format(bytes / 1e3)} kB` : `${format.format(bytes / 1e6)} MB`;
}

export function alsDauer(sekunden) {
  const ganze = Math.max(0, Math.round(sekunden));
  return ganze < 60 ? `${ganze} s` : `${Math.floor(ganze / 60)} min ${String(ganze % 60).padStart(2, '0')} s`;
}

const hoechstensMeldungen = 4;

const dauerMeldung = 15000; // ms

/// Shows a message above everything; `art` is "fehler", "gut" or "hinweis". Errors stay until they are closed.
export function melde(text, art = 'hinweis') {
  const ort = finde('meldungen');
  for (const alte of [...ort.children])
    if (alte.dataset.text === text) alte.remove(); // the same again is shown once
  const meldung = element(
      'div', {class: `meldung ${art}`, role: art === 'fehler' ? 'alert' : 'status', 'data-text': text},
      element('span', {}, text),
      element('button', {type: 'button', class: 'schliessen', 'aria-label': 'Meldung schließen', onclick: () => meldung.remove()}, '×'));
  ort.append(meldung);
  if (art !== 'fehler') setTimeout(() => meldung.remove(), dauerMeldung);
  while (ort.children.length > hoechstensMeldungen) ort.firstElementChild.remove();
}

/// The text of whatever a promise was rejected with.
export const grundVon = (fehler) => (fehler && fehler.message) || String(fehler);

/// Runs an action of a control: the control rests meanwhile, and what goes wrong is shown.
export async function beiKlick(knopf, handlung) {
  knopf.disabled = true;
  try {
    return await handlung();
  } catch (fehler) {
    melde(grundVon(fehler), 'fehler');
    return undefined;
  } finally {
    knopf.disabled = false;
  }
}
