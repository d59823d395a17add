// Pages and frames of strangers that try to make the program act for them, each beside the own page, for which the same
// action works.
#include "echtes_fenster.h"
#include "werkzeug/warten.h"

#include <future>

namespace quillmate::fenster_echt {
namespace {

using nlohmann::json;
using werkzeug::HttpAnfrage;
using werkzeug::HttpAntwort;
using werkzeug::wartenBis;

constexpr char const* scanziel = "/clients/5/local-scan-preference";

/// A button over the whole page: wherever somebody clicks.
constexpr char const* knopf =
    "<button id=knopf style='position:fixed;inset:0;width:100%;height:100%' onclick='angriff()'>x</button>";

/// Runs in the attacker's document: `w` is the window that it prepares for its page "beute", `merke` keeps what is found.
struct Vorbereitung {
    char const* name;
    char const* skript;
};
constexpr Vorbereitung vorbereitungen[] = {
    {"Reflect.apply", "const alt = w.Reflect.apply; w.Reflect.apply = (f, t, a) => { merke([f, t, a]);"
                      "return alt(f, t, a); };"},
    {"getPrototypeOf",
     "const alt = w.Object.getPrototypeOf; w.Object.getPrototypeOf = o => { merke(o);"
     "return typeof o === 'function' ? alt(o) : {postMessage(...a) { merke([this, a]); }}; };"},
    {"webkit", "Object.defineProperty(w, 'webkit', {configurable: true, value: {messageHandlers:"
               "{quillmate: {__proto__: {postMessage(...a) { merke([this, a]); }}}}}});"},
    {"postMessage", "const h = w.webkit?.messageHandlers?.quillmate;"
                    "if (h) Object.getPrototypeOf(h).postMessage = function (...a) { merke([this, a]); };"},
    {"origin", "Object.defineProperty(w, 'origin', {get: () => EIGENER});"
               "Object.defineProperty(w, 'performance', {get: () => opener?.performance ?? performance});"},
    {"JSON, String, isArray",
     "for (const [wo, was] of [[w.JSON, 'stringify'], [w.JSON, 'parse'], [w, 'String'], [w.Array, "
     "'isArray']]) {"
     "  const alt = wo[was]; wo[was] = (...a) => { merke(a); return alt(...a); }; }"},
    {"proxies",
     "const lausche = {apply(f, t, a) { merke([f, t, a]); return Reflect.apply(f, t, a); },"
     "construct(f, a, n) { merke(a); return Reflect.construct(f, a, n); }};"
     "for (const [wo, was] of [[w.EventTarget.prototype, 'dispatchEvent'], [w, 'CustomEvent'],"
     "  [w.EventTarget.prototype, 'addEventListener'], [w.Object, 'defineProperty'],"
     "  [w.Object, 'freeze'], [w, 'RangeError'], [w, 'Map'], [w, 'Promise'], [w.Reflect, 'apply']])"
     "  wo[was] = new Proxy(wo[was], lausche);"},
    {"prototypes",
     "for (const was of ['0', '1', 'detail', 'aktion', 'postMessage', 'messageHandlers', 'quillmate', "
     "'value'])"
     "  Object.defineProperty(w.Object.prototype, was, {configurable: true, set(x) { merke(x); }});"
     "w.Object.prototype.toJSON = w.Array.prototype.toJSON = function () { merke(this); return this; };"},
};

/// The attacker's tools: what it posts, by every way there might be, and again with whatever secret it got hold of.
constexpr char const* werkzeug = R"(
  window.fund = [];
  window.merke = was => { window.fund.push(was); };
  window.nachricht = (id, server) => ({aktion: 'macScannen', id, client_id: 5, token: 't', server});
  window.geheimnisse = () => {
    const gesehen = new Set(), liste = [];
    const suche = (was, tiefe) => {
      if (tiefe > 6 || was === null || typeof was !== 'object' || gesehen.has(was)) return;
      gesehen.add(was);
      try {
        if (Array.isArray(was) && typeof was[0] === 'string' && /^[0-9a-f]{16,}$/.test(was[0])) liste.push(was[0]);
        for (const teil of Object.values(was)) suche(teil, tiefe + 1);
      } catch {}
    };
    suche(window.fund, 0);
    return liste;
  };
  window.sendeAlles = (fenster, was) => {
    for (const w of fenster) {
      try { w.webkit.messageHandlers.quillmate.postMessage(was); } catch {}
      for (const geheim of geheimnisse())
        try { w.webkit.messageHandlers.quillmate.postMessage([geheim, EIGENER, was]); } catch {}
      for (const ziel of ['performance', 'document'])
        try {
          w[ziel].dispatchEvent(new w.CustomEvent('quillmate-nachricht', {cancelable: true, detail: JSON.stringify(was)}));
          w[ziel].dispatchEvent(new w.CustomEvent('quillmate-nachricht',
            {cancelable: true, detail: [EIGENER, JSON.stringify(was)]}));
        } catch {}
    }
  };
)";

class Fremde : public EchtesFenster {
protected:
    Fremde() {
        for (auto* const server : {&dienst, &fremd})
            for (auto const* const ende :
                 {"seen-paths", "known-nonreceipt-hashes", "progress", "progress-start", "progress-update",
                  "progress-finish"})
                server->antworte(std::string{"/clients/5/local-scan/"} + ende, HttpAntwort{.koerper = "{}"});
        dienst.antworte(scanziel, HttpAntwort{.koerper = "{}"});
        fremd.antworte(scanziel, HttpAntwort{.koerper = "{}"});
        fremd.inhalt(knopf);
    }
    /// A frame of the stranger's that covers the own page.
    void rahmen() {
        dienst.inhalt(
            "<iframe style='position:fixed;inset:0;width:100%;height:100%;border:0' src='" +
            fremd.adresse("/seite/rahmen") + "'></iframe>");
    }
    [[nodiscard]] std::string mitEigenem(std::string text) const {
        auto const eigener = "'" + dienst.adresse() + "'";
        for (auto stelle = text.find("EIGENER"); stelle != std::string::npos;
             stelle = text.find("EIGENER", stelle))
            text.replace(stelle, 7, eigener);
        return text;
    }
    /// The own page's same action works, and whatever was said before it has been heard by then.
    void gegenprobe() {
        auto const bisher = dienst.anfragenAn(scanziel).size();
        EXPECT_TRUE(
            dienst
                .rufe(
                    "return await window.quillmateApp.macScannen({client_id: 5, token: 't', server: '" +
                    dienst.adresse() + "'})")
                .is_object());
        EXPECT_TRUE(wartenBis([&] { return dienst.anfragenAn(scanziel).size() > bisher; }));
        EXPECT_TRUE(wartenBis(
            [&] { return dienst.rufe("return await window.quillmateApp.suchStand()")["laeuft"] == false; }));
    }
    /// Whether somebody was obeyed whose server is the stranger's.
    [[nodiscard]] bool hatGehorcht() const { return !fremd.anfragenAn(scanziel).empty(); }
    /// Keeps every answer of the program in window.antworten.
    void mithoeren() {
        dienst.rufe("const echt = window.__quillmateAntwort; window.antworten = {};"
                    "window.__quillmateAntwort = (id, e) => { window.antworten[id] = e; echt(id, e); };");
    }
    [[nodiscard]] std::size_t zeilenUeber(Seitendienst const& wen) const {
        return programm->anzahlZeilen("Bruecke: Nachrichten von " + wen.adresse() + " werden nicht beachtet");
    }

    Seitendienst fremd;
};

TEST_F(Fremde, NoWayOfTakingAWindowOverMakesTheProgramObeyAFrame) {
    rahmen();
    oeffne();
    ASSERT_TRUE(fremd.warteAufDokument(1, "rahmen"));
    fremd.rufe(mitEigenem(werkzeug), "rahmen");
    int angriffe = 0;
    auto const greifeAn = [&](std::string const& oeffnen, Vorbereitung const& wie) {
        SCOPED_TRACE(oeffnen + " " + wie.name);
        int const bisher = fremd.dokumente("beute");
        fremd.rufe(
            mitEigenem(
                "window.fund.length = 0; window.angriff = () => { const w = window.w = " + oeffnen +
                "; try { " + wie.skript + " } catch {} w.location = '/seite/beute'; };"),
            "rahmen");
        klicke("#knopf", "rahmen", &fremd);
        ASSERT_TRUE(fremd.warteAufDokument(bisher + 1, "beute"));
        // First the prepared functions are given something to listen to.
        fremd.rufe(mitEigenem(werkzeug) + "sendeAlles([window], {aktion: 'suchStand', id: 1});", "beute");
        auto const post = "sendeAlles([window, window.opener, window.w].filter(x => x), nachricht(" +
                          std::to_string(++angriffe) + ", '" + fremd.adresse() + "'));";
        fremd.rufe(post, "rahmen");
        fremd.rufe(post + "setTimeout(() => window.close())", "beute");
        EXPECT_TRUE(wartenBis([&] { return bildschirm.fenster().size() == 1; }));
        EXPECT_FALSE(hatGehorcht());
    };
    for (auto const& wie : vorbereitungen)
        greifeAn("open('javascript:void 0')", wie);
    for (auto const* const oeffnen : {"open('about:blank')", "open()"})
        greifeAn(oeffnen, vorbereitungen[0]);
    gegenprobe();
    EXPECT_FALSE(hatGehorcht());
    EXPECT_EQ(zeilenUeber(fremd), 1U) << "one line for the document, whatever is sent";
}

TEST_F(Fremde, AFramesOwnSrcdocFrameIsNotObeyed) {
    rahmen();
    oeffne();
    ASSERT_TRUE(fremd.warteAufDokument(1, "rahmen"));
    fremd.rufe(mitEigenem(werkzeug), "rahmen");
    for (auto const& wie : vorbereitungen)
        fremd.rufe(
            mitEigenem(
                std::string{"const f = document.createElement('iframe'); document.body.append(f);"
                            "let w = f.contentWindow; try { "} +
                wie.skript +
                " } catch {} await new Promise(auf => { f.onload = auf; f.srcdoc = '<p>da'; });"
                "w = f.contentWindow; sendeAlles([w, window], nachricht(1, '" +
                fremd.adresse() + "')); f.remove();"),
            "rahmen");
    gegenprobe();
    EXPECT_FALSE(hatGehorcht());
    EXPECT_EQ(programm->anzahlZeilen("Bruecke: "), 0U) << "a frame is not even heard";
}

TEST_F(Fremde, NumbersThatAFrameGuessesSettleNoCallOfThePage) {
    rahmen();
    oeffne();
    ASSERT_TRUE(fremd.warteAufDokument(1, "rahmen"));
    mithoeren();
    int const tafel = dienst.beginne("return await window.quillmateApp.ordnerWaehlen()");
    ASSERT_TRUE(warteAufDialog());
    fremd.rufe(
        mitEigenem(werkzeug) +
            "for (let id = 1; id <= 20; ++id) for (const aktion of ['ordnerWaehlen', 'boese'])"
            "  sendeAlles([window], {aktion, id});",
        "rahmen");
    EXPECT_TRUE(dienst.rufe("return await window.quillmateApp.suchStand()").contains("laeuft"));
    EXPECT_EQ(dienst.rufe("return Object.keys(window.antworten)"), json::array({"2"}));
    EXPECT_FALSE(dienst.fertig(tafel));
    bildschirm.taste("Escape");
    EXPECT_EQ(dienst.ergebnis(tafel), (json{{"abgebrochen", true}}));
}

TEST_F(Fremde, AForeignPageThatKeepsAWindowDoesNotComeBackAtTheOwnPage) {
    browserEinrichten();
    oeffne();
    dienst.rufe("setTimeout(() => location.href = '" + fremd.adresse("/seite/haupt") + "')");
    ASSERT_TRUE(fremd.warteAufDokument());
    fremd.rufe(
        "window.angriff = () => { const w = open('javascript:void 0'); w.location = '/seite/wache'; };");
    klicke("#knopf", "haupt", &fremd);
    ASSERT_TRUE(fremd.warteAufDokument(1, "wache"));
    fremd.rufe(mitEigenem(werkzeug), "wache");
    int const bisher = dienst.dokumente();
    fremd.rufe("opener.location = '" + dienst.adresse("/uebersicht") + "'", "wache");
    ASSERT_TRUE(dienst.warteAufDokument(bisher + 1));
    mithoeren();
    int const tafel = dienst.beginne("return await window.quillmateApp.ordnerWaehlen()");
    ASSERT_TRUE(wartenBis([&] { return bildschirm.fenster().size() >= 3; })) << "the panel is open";
    fremd.rufe(
        "for (let id = 1; id <= 20; ++id) sendeAlles([window, opener], nachricht(id, '" + fremd.adresse() +
            "'));"
            "for (const wie of [() => { opener.location = 'javascript:alert(1)'; },"
            "  () => opener.__quillmateAntwort(1, {}), () => opener.postMessage('x', '*')]) try { wie(); } "
            "catch {}",
        "wache");
    EXPECT_TRUE(dienst.rufe("return await window.quillmateApp.suchStand()").contains("laeuft"));
    EXPECT_EQ(dienst.rufe("return Object.keys(window.antworten)"), json::array({"2"}));
    EXPECT_FALSE(dienst.fertig(tafel));
    EXPECT_FALSE(hatGehorcht());
    EXPECT_EQ(zeilenUeber(fremd), 1U);
}

TEST_F(Fremde, AForeignPageThatLeavesForTheOwnHostIsNotObeyedMeanwhile) {
    std::promise<void> tor;
    dienst.antworte("/seite/haelt", [offen = tor.get_future().share()](HttpAnfrage const&) {
        offen.wait();
        return HttpAntwort{.koerper = "<title>da</title>", .inhaltstyp = "text/html"};
    });
    oeffne();
    dienst.rufe("setTimeout(() => location.href = '" + fremd.adresse("/seite/angriff") + "')");
    ASSERT_TRUE(fremd.warteAufDokument(1, "angriff"));
    // While the answer is outstanding, the view's address is the service's already, and nothing can be fetched.
    fremd.beginne(
        mitEigenem(werkzeug) +
            "window.__quillmateAntwort = (...a) => fetch('/gehoert', {method: 'POST', keepalive: true});"
            "location.href = '" +
            dienst.adresse("/seite/haelt") +
            "'; for (let id = 1;; id = id % 20 + 1) { sendeAlles([window], nachricht(id, '" +
            fremd.adresse() + "')); await new Promise(auf => setTimeout(auf, 50)); }",
        "angriff");
    ASSERT_TRUE(wartenBis([&] { return !dienst.anfragenAn("/seite/haelt").empty(); }));
    EXPECT_TRUE(wartenBis([&] { return zeilenUeber(fremd) == 1; }));
    tor.set_value();
    EXPECT_TRUE(programm->warteAufZeile("geladen: " + dienst.adresse("/seite/haelt")));
    EXPECT_FALSE(hatGehorcht());
    EXPECT_TRUE(fremd.anfragenAn("/gehoert").empty());
}

TEST_F(Fremde, AnAddressThatOnlyLooksLikeTheStartPagesMayNotSpeak) {
    oeffne();
    // The same server under another name is another origin.
    auto anders = dienst.adresse("/seite/anders");
    anders.replace(anders.find("127.0.0.1"), 9, "localhost");
    dienst.rufe("setTimeout(() => location.href = '" + anders + "')");
    ASSERT_TRUE(dienst.warteAufDokument(1, "anders"));
    int const ruf = dienst.beginne("return await window.quillmateApp.suchStand()", "anders");
    EXPECT_TRUE(programm->warteAufZeile("Bruecke: Nachrichten von http://localhost:"));
    dienst.rufe("setTimeout(() => location.href = '" + dienst.adresse("/uebersicht") + "')", "anders");
    ASSERT_TRUE(dienst.warteAufDokument(2));
    EXPECT_TRUE(dienst.rufe("return await window.quillmateApp.suchStand()").contains("laeuft"));
    EXPECT_FALSE(dienst.fertig(ruf));
}

TEST_F(Fremde, ThePageDoesNotNoticeThatItsMessagesTakeAnotherRoad) {
    oeffne();
    EXPECT_EQ(dienst.rufe("return typeof window.webkit.messageHandlers.quillmate.postMessage"), "function");
    // Replaced by the page's own scripts, whether they look on or break things.
    dienst.rufe(
        "const stumm = () => { throw new Error('ersetzt'); };"
        "Reflect.apply = Object.defineProperty = Object.freeze = stumm; window.CustomEvent = stumm;"
        "JSON.parse = stumm; Array.prototype.map = stumm; EventTarget.prototype.dispatchEvent = stumm;"
        "const alt = JSON.stringify; JSON.stringify = x => alt(x);"
        "Object.prototype.composed = true;");
    EXPECT_TRUE(dienst.rufe("return await window.quillmateApp.suchStand()").contains("laeuft"));
    EXPECT_EQ(
        dienst.rufe("const kreis = {}; kreis.kreis = kreis;"
                    "try { await window.quillmateApp.bilderZaehlen({kennung: kreis}); return 'ging'; }"
                    "catch (fehler) { return fehler.name; }"),
        "TypeError");
    EXPECT_EQ(
        dienst.rufe("const ruf = daten => window.quillmateApp.bilderZaehlen(daten).catch(f => f.message);"
                    "return [await ruf({kennung: new Date(0)}), await ruf({kennung: new Uint8Array(3)}),"
                    "  await ruf({kennung: '😀'.slice(0, 1)})];"),
        json::array(
            {"Der Ordner ist nicht mehr freigegeben.", "Kein Ordner angegeben.",
             "Der Ordner ist nicht mehr freigegeben."}));
    EXPECT_EQ(
        dienst.rufe("try { await window.quillmateApp.bilderZaehlen({kennung: 'x'.repeat(17 * 1024 * 1024)});"
                    "  return 'ging'; } catch (fehler) { return fehler.message; }"),
        "Die Nachricht ist zu groß.");
}

} // namespace
} // namespace quillmate::fenster_echt
