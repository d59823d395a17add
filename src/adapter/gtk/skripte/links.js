// The engine's decisions tell neither whether a clicked link has the attribute "download" nor which document it is in.
// This script does, in every frame, in a world that no page can see into, just before the decision is asked for.
() => {
  const griff = window.webkit.messageHandlers.geklickt;
  const seiteninhalt = ['blob:', 'data:'];
  // The attribute counts for what is the document's own; of other links it makes links like any other.
  const eigene = adresse => {
    try {
      const {origin, protocol} = new URL(adresse);
      return origin === window.origin || seiteninhalt.includes(protocol);
    } catch { return false; }
  };
  // The decision is asked for within the click. Whoever prevents the click asks for none; the next one is not its.
  const merke = (adresse, herunterladen) => {
    griff.postMessage([adresse, window.origin, herunterladen && eigene(adresse)]);
    setTimeout(() => griff.postMessage(null));
  };
  addEventListener('click', ereignis => {
    const link = ereignis.composedPath().find(teil =>
      teil instanceof HTMLAnchorElement || teil instanceof HTMLAreaElement);
    if (link) merke(link.href, link.hasAttribute('download'));
  }, true);
  addEventListener('quillmate-download', ereignis => {
    if (typeof ereignis.detail === 'string') merke(ereignis.detail, true);
  }, true);
}
