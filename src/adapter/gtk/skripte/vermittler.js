// The page's end of the road to the program, in the page's own world, main frame only. It keeps the interface that
// pages rely on, window.webkit.messageHandlers.NAME, and holds no secret: whatever takes it over can only speak as the
// document that it is in, which bote.js tells the program.
// It is the first script of its document. What it calls later it takes hold of now, since pages replace such functions.
(name) => {
  const rufe = Reflect.apply, alsText = JSON.stringify, ausText = JSON.parse, Ereignis = CustomEvent;
  const sende = EventTarget.prototype.dispatchEvent, ziel = performance, ort = location, Zuviel = RangeError;
  const griff = {
    postMessage(nachricht) {
      // Throws for what JSON cannot say, cycles for one.
      const text = alsText(nachricht);
      const ereignis = new Ereignis(
        'quillmate-nachricht', {__proto__: null, cancelable: true, detail: text === undefined ? 'null' : text});
      // Who takes the message prevents the event. A call that nobody took must not wait for ever.
      if (rufe(sende, ziel, [ereignis])) throw new Zuviel('Die Nachricht ist zu groß.');
    },
  };
  // The program's way back. It names the document's origin: another document may just have come in its place.
  Object.defineProperty(griff, 'zustellen', {
    __proto__: null,
    value(ursprung, funktion, werte) {
      if (ort.origin !== ursprung) return;
      const empfaenger = window[funktion];
      if (typeof empfaenger === 'function') rufe(empfaenger, window, ausText(werte));
    },
  });
  Object.defineProperty(window, 'webkit', {
    __proto__: null,
    value: Object.freeze({messageHandlers: Object.freeze({[name]: Object.freeze(griff)})}),
    enumerable: true,
  });
}
