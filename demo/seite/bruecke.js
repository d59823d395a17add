// The desktop program's side of the page. Null in an ordinary browser.

export const app = window.quillmateApp ?? null;

/// What is told when a page is newer than the program around it.
const fehlt = 'Diese Fassung des Programms kann das noch nicht.';

/// Calls a function of the program. Rejects with the program's German sentence.
export function rufe(name, daten) {
  if (typeof app?.[name] !== 'function') return Promise.reject(new Error(fehlt));
  return daten === undefined ? app[name]() : app[name](daten);
}

/// Leads the page somewhere without being a clicked link: the program sends clicks on links that leave its own
/// hosts to the default browser, and a demo's address is none of those.
export const gehe = (adresse) => location.assign(adresse);

/// Opens an address in a window of its own; for the same reason the window comes first and then its address.
export function oeffneFenster(adresse) {
  if (!app) {
    window.open(adresse, '_blank', 'noopener');
    return;
  }
  const fenster = window.open('', '_blank');
  if (!fenster) throw new Error('Das Fenster ließ sich nicht öffnen.');
  fenster.location.replace(new URL(adresse, location.href).href);
}
