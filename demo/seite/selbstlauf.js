// The page drives itself once ("?selbstlauf=1"): folders, scan, receipts, and tells the service how it went.
// For trying the program where nobody can click.
import {app} from './bruecke.js';
import {grundVon, warte} from './hilfen.js';
import {meldeSelbstlauf, zugang} from './dienst.js';
import {scanAnfrage} from './anfragen.js';
import {ordnerLaden} from './ordner.js';
import {sucheStarten} from './suche.js';
import {allesLaden} from './buchungen.js';

const vorgabefrist = 300; // s
const hoechstfrist = 3600;
const takt = 1000; // ms
const malpause = 500; // ms; whoever takes a picture at the report shall see the list

const frist = () => {
  const gewuenscht = Number(new URLSearchParams(location.search).get('frist'));
  return gewuenscht > 0 ? Math.min(gewuenscht, hoechstfrist) : vorgabefrist;
};

async function fahre(ergebnis, verbleibend) {
  if (!app) throw new Error('Die Seite läuft nicht im Programm.');
  ergebnis.ordner = (await ordnerLaden()).length;
  const suche = await sucheStarten(scanAnfrage(zugang));
  if (suche.ausgang !== 'fertig') throw new Error(suche.grund ?? 'Die Suche wurde gestoppt.');
  ergebnis.dateien = suche.bericht.gesamt;
  ergebnis.hochgeladen = suche.bericht.gruende.hochgeladen ?? 0;
  // The service reads on; the list is worth more when it has finished, but it need not.
  for (;; await warte(takt)) {
    const [, belege] = await allesLaden();
    ergebnis.belege = belege.length;
    ergebnis.zugeordnet = belege.filter((beleg) => beleg.buchungen.length > 0).length;
    ergebnis.ungelesen = belege.filter((beleg) => beleg.zustand === 'ungelesen').length;
    if (ergebnis.ungelesen === 0 || verbleibend() < 10) break;
  }
  ergebnis.erfolg = true;
}

/// Runs and reports, whatever happens; `zeigeBelege` shows the list at the end.
export async function selbstlauf(zeigeBelege) {
  const beginn = performance.now();
  const vergangen = () => (performance.now() - beginn) / 1000;
  const ende = frist();
  const ergebnis = {erfolg: false};
  const wache = warte(ende * 1000).then(() => { throw new Error(`Nach ${ende} s noch nicht fertig.`); });
  try {
    await Promise.race([fahre(ergebnis, () => ende - vergangen()), wache]);
    zeigeBelege();
    await warte(malpause);
  } catch (fehler) {
    ergebnis.grund = grundVon(fehler);
  }
  ergebnis.sekunden = vergangen();
  document.documentElement.dataset.selbstlauf = ergebnis.erfolg ? 'fertig' : 'gescheitert';
  await meldeSelbstlauf(ergebnis);
}

export const selbstlaufGewuenscht = () => new URLSearchParams(location.search).get('selbstlauf') === '1';
