// What the page sends to the program, as plain functions without page or program. The names of the fields are
// those that the program reads; a wrong one would be taken for a missing one.

const zugangsfelder = (zugang) => ({client_id: zugang.client_id, token: zugang.token, server: zugang.server});

/// For macScannen: all folders.
export function scanAnfrage(zugang, {alles = false, fotos = false} = {}) {
  return {...zugangsfelder(zugang), alles, fotos};
}

/// For macScannen: the images of one folder.
export function bilderAnfrage(zugang, kennung, hoechstens) {
  const anzahl = Math.trunc(Number(hoechstens));
  return {
    ...zugangsfelder(zugang),
    fotos: true,
    nurOrdner: kennung,
    hoechstensBilder: Number.isFinite(anzahl) ? Math.min(Math.max(anzahl, 1), 500) : 500,
  };
}

/// For gezieltSuchen.
export function gezieltAnfrage(zugang, buchung) {
  return {
    ...zugangsfelder(zugang),
    transaction_id: buchung.id,
    stichworte: stichworte(buchung),
    betrag_texte: betragTexte(buchung.betrag_cent),
    datum: buchung.datum,
  };
}

/// For portalOeffnen. `name` and `buchung` (a number) are optional.
export function portalAnfrage(zugang, kennung, {name = '', buchung = null} = {}) {
  return {
    kennung,
    client_id: zugang.client_id,
    token: zugang.token,
    ...(name.trim() ? {name: name.trim()} : {}),
    ...(buchung !== null ? {transaction_id: buchung} : {}),
  };
}

/// The amount as it may stand on a receipt, which shows no sign and may be written the German or the English
/// way.
export function betragTexte(cent) {
  const betrag = Math.abs(cent);
  const euro = String(Math.floor(betrag / 100));
  const rest = String(betrag % 100).padStart(2, '0');
  const gruppiert = (zeichen) => euro.replace(/\B(?=(\d{3})+$)/g, zeichen);
  return [...new Set([`${gruppiert('.')},${rest}`, `${euro},${rest}`, `${gruppiert(',')}.${rest}`, `${euro}.${rest}`])];
}

// Stand on many receipts, whoever they are from.
const nichtssagend = new Set([
  'gmbh', 'mbh', 'firma', 'rechnung', 'quittung', 'beleg', 'deutschland', 'gesellschaft', 'international', 'zahlung',
  'miete', 'nummer',
]);

/// Words that tell this booking's receipt from others: of the counterparty, and numbers of the purpose.
export function stichworte(buchung) {
  const worte = (text) => (text ?? '').split(/[\s,;:/()&]+/).map((wort) => wort.replace(/^[.\-]+|[.\-]+$/g, ''));
  const vomPartner = worte(buchung.gegenpartei).filter((wort) => wort.length > 3 && !nichtssagend.has(wort.toLowerCase()));
  const nummern = worte(buchung.zweck).filter((wort) => wort.length > 4 && /\d/.test(wort));
  return [...new Set([...vomPartner, ...nummern])];
}
