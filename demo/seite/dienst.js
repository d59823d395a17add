// Requests to the service that this page came from.

export const zugang = JSON.parse(document.getElementById('zugang').textContent);

const mitToken = (pfad, felder = {}) => `${pfad}?${new URLSearchParams({...felder, token: zugang.token})}`;
const vomKunden = (pfad) => `/clients/${zugang.client_id}${pfad}`;

async function anfrage(pfad, {methode = 'GET', inhalt} = {}) {
  let antwort;
  try {
    antwort = await fetch(mitToken(pfad), {
      method: methode,
      cache: 'no-store',
      ...(inhalt === undefined ? {} : {headers: {'Content-Type': 'application/json'}, body: JSON.stringify(inhalt)}),
    });
  } catch {
    throw new Error('Der Dienst antwortet nicht.');
  }
  const objekt = await antwort.json().catch(() => null);
  if (!antwort.ok) throw new Error(objekt?.detail ?? `Der Dienst antwortet mit ${antwort.status}.`);
  return objekt ?? {};
}

export const buchungen = async () => (await anfrage(vomKunden('/buchungen'))).buchungen;
export const belege = async () => (await anfrage(vomKunden('/belege'))).belege;
export const letzterBericht = () => anfrage(vomKunden('/letzter-bericht'));
export const fortschritt = () => anfrage(vomKunden('/local-scan/progress'));
/// Sets or lifts the stop that a running scan asks for.
export const setzeStopp = (gestoppt) => anfrage(vomKunden('/local-scan/stop'), {methode: 'POST', inhalt: {gestoppt}});
export const meldeSelbstlauf = (ergebnis) => anfrage('/demo/selbstlauf', {methode: 'POST', inhalt: ergebnis});

/// The address of a receipt's file, to be shown or, with `anhang`, to be saved.
export const belegadresse = (id, {anhang = false} = {}) => mitToken(`/belege/${id}`, anhang ? {anhang: '1'} : {});

/// Where signing in and connecting a bank begin. The token spares whoever sees this page the question for it.
export const anmeldeadresse = () => mitToken('/auth/google/login');
export const bankadresse = () => `/auth/enable-banking/start?${new URLSearchParams({client: zugang.client_id})}`;
