// The overview page. Map of its files:
//
//   seite        this one: tabs, first load
//   bruecke      the program (window.quillmateApp), windows, ways out of the page
//   dienst       the service this page came from
//   anfragen     what is sent to the program, as plain functions
//   ordner, suche, buchungen, belege, portale, programm    the parts of the page
//   selbstlauf   the page driving itself
//   hilfen       elements, messages, numbers
import {app} from './bruecke.js';
import {finde, grundVon, melde} from './hilfen.js';
import {ordnerEinrichten, ordnerLaden} from './ordner.js';
import {beiEnde, sucheEinrichten} from './suche.js';
import {aktualisieren, allesLaden, buchungenEinrichten, buchungenLaden} from './buchungen.js';
import {belegeEinrichten} from './belege.js';
import {portaleEinrichten} from './portale.js';
import {programmEinrichten} from './programm.js';
import {selbstlauf, selbstlaufGewuenscht} from './selbstlauf.js';

const zeigeFehler = (fehler) => melde(grundVon(fehler), 'fehler');
const alleReiter = () => [...document.querySelectorAll('[role="tab"]')];

function waehle(reiter) {
  for (const jeder of alleReiter()) {
    const gewaehlt = jeder === reiter;
    jeder.setAttribute('aria-selected', String(gewaehlt));
    jeder.tabIndex = gewaehlt ? 0 : -1;
    finde(jeder.getAttribute('aria-controls')).hidden = !gewaehlt;
  }
  reiter.scrollIntoView({block: 'nearest', inline: 'nearest'});
  // Replaced, not navigated: a reload comes back to the same part, and "back" leaves the page.
  history.replaceState(null, '', `#${reiter.id.replace('reiter-', '')}`);
}

function reiterEinrichten() {
  for (const reiter of alleReiter()) {
    reiter.addEventListener('click', () => waehle(reiter));
    reiter.addEventListener('keydown', (ereignis) => {
      const alle = alleReiter();
      const hier = alle.indexOf(reiter);
      const ziele = {
        ArrowRight: hier + 1, ArrowDown: hier + 1, ArrowLeft: hier - 1, ArrowUp: hier - 1, Home: 0, End: alle.length - 1,
      };
      if (!(ereignis.key in ziele)) return;
      ereignis.preventDefault();
      const ziel = alle[(ziele[ereignis.key] + alle.length) % alle.length];
      waehle(ziel);
      ziel.focus();
    });
  }
  waehle(finde(`reiter-${location.hash.slice(1)}`) ?? alleReiter()[0]);
}

function einrichten() {
  programmEinrichten(); // first: takes away what only the program can do
  reiterEinrichten();
  buchungenEinrichten();
  belegeEinrichten();
  portaleEinrichten();
  finde('belege-aktualisieren').addEventListener('click', (ereignis) => aktualisieren(ereignis.currentTarget));
  addEventListener('belege-gelesen', () => buchungenLaden().catch(zeigeFehler));
  if (app) ordnerEinrichten();
  sucheEinrichten();
  beiEnde(() => allesLaden().catch(zeigeFehler));
  allesLaden().catch(zeigeFehler);
  if (selbstlaufGewuenscht()) selbstlauf(() => waehle(finde('reiter-belege'))).catch(zeigeFehler);
  else if (app) ordnerLaden().catch(zeigeFehler);
}

addEventListener('unhandledrejection', (ereignis) => zeigeFehler(ereignis.reason));
einrichten();
