// The program's end of the road from the page, in a script world of its own, main frame only. The engine's message
// handler is registered in this world alone: no page has it, and nothing that a page replaces is seen here. So the
// origin that is told is the one of the document in this window, whoever has sent the event.
// The event goes to `performance`: what listens on window or document is forgotten by document.open().
(name, grenze) => {
  const griff = window.webkit.messageHandlers[name];
  // A character has three bytes at most (two characters for one of four bytes).
  const passt = text => text.length * 3 <= grenze || new TextEncoder().encode(text).length <= grenze;
  performance.addEventListener('quillmate-nachricht', ereignis => {
    const text = ereignis.detail;
    if (typeof text !== 'string' || !passt(text)) return;
    griff.postMessage([window.origin, text]);
    ereignis.preventDefault();
  });
}
