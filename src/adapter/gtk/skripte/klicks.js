// Clicks on a link that is in no document pass no listener but the link's own, and scripts make links only to click
// them. So this script, in the page's own world, tells links.js of such a click. All that a page gains by calling it, it
// could do by clicking a link of its own. Only links get functions of ours: portals take a page whose general functions
// are not the engine's own for one that a robot reads. So a click on what is within such a link is told by nobody.
() => {
  const rufe = Reflect.apply, Ereignis = CustomEvent, sende = EventTarget.prototype.dispatchEvent;
  for (const name of ['click', 'dispatchEvent']) {
    const echt = HTMLAnchorElement.prototype[name];
    const {[name]: value} = {[name](...werte) {
      if (this instanceof HTMLAnchorElement && !this.isConnected && this.hasAttribute('download') &&
          (name === 'click' || werte[0]?.type === 'click'))
        rufe(sende, window, [new Ereignis('quillmate-download', {detail: this.href})]);
      return rufe(echt, this, werte);
    }};
    Object.defineProperty(HTMLAnchorElement.prototype, name,
      {value, writable: true, enumerable: true, configurable: true});
  }
}
