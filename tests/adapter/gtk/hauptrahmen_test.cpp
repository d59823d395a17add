#include "adapter/gtk/hauptrahmen.h"
#include "bruecke/einspielung.h"

#include <gtest/gtest.h>
#include <jsc/jsc.h>

#include <memory>
#include <string>

namespace quillmate::adapter::gtk {
namespace {

/// A script engine without any page: what browsers add is played in a few lines.
class Skriptwelt : public testing::Test {
protected:
    ~Skriptwelt() override { g_object_unref(welt_); }

    std::string wert(std::string const& quelltext) {
        JSCValue* const ergebnis = jsc_context_evaluate(welt_, quelltext.c_str(), -1);
        std::unique_ptr<char, decltype(&g_free)> const text{jsc_value_to_string(ergebnis), &g_free};
        g_object_unref(ergebnis);
        if (auto* const fehler = jsc_context_get_exception(welt_)) {
            std::string const meldung = jsc_exception_get_message(fehler);
            jsc_context_clear_exception(welt_);
            return "!" + meldung;
        }
        return text.get();
    }
    /// A page with the shim, and with bote.js in the same world: the engine keeps them apart, not their meaning.
    void SetUp() override {
        EXPECT_EQ(
            wert(
                "var window = globalThis, location = {origin: 'https://a.example'};"
                "window.origin = 'https://a.example'; window.gesendet = [];"
                "const setze = Object.defineProperty;"
                "class EventTarget { constructor() { this.hoerer = []; }"
                "  addEventListener(name, hoerer) { this.hoerer.push(hoerer); }"
                "  dispatchEvent(e) { for (let i = 0; i < this.hoerer.length; ++i) this.hoerer[i](e); return "
                "!e.verhindert; } }"
                "class CustomEvent { constructor(name, {detail}) { this.detail = detail; }"
                "  preventDefault() { this.verhindert = true; } }"
                "class TextEncoder { encode(t) { return {length: unescape(encodeURIComponent(t)).length}; } }"
                "var performance = new EventTarget();"
                "window.webkit = {messageHandlers: {quillmate: {postMessage(x) { setze(gesendet, "
                "gesendet.length, {__proto__: null, value: x, configurable: true}); }}}};"
                "1"),
            "1");
        EXPECT_EQ(wert(adapter::gtk::botenskript("quillmate", 60)), "undefined");
        EXPECT_EQ(wert("delete window.webkit"), "true");
        EXPECT_EQ(wert(adapter::gtk::vermittlerskript("quillmate")), "undefined");
    }
    std::string sende(std::string const& ausdruck) {
        return wert(
            "gesendet.length = 0; webkit.messageHandlers.quillmate.postMessage(" + ausdruck +
            "); JSON.stringify(gesendet)");
    }

private:
    JSCContext* welt_{jsc_context_new()};
};

TEST_F(Skriptwelt, EveryScriptOfTheViewIsJavaScript) {
    auto* const welt = jsc_context_new();
    for (auto const& skript :
         {adapter::gtk::vermittlerskript("quillmate"), adapter::gtk::botenskript("quillmate", 1),
          adapter::gtk::linkskript(), adapter::gtk::klickskript(), adapter::gtk::zustellrumpf("quillmate")}) {
        JSCException* fehler = nullptr;
        EXPECT_EQ(
            jsc_context_check_syntax(
                welt, skript.c_str(), -1, JSC_CHECK_SYNTAX_MODE_SCRIPT, "skript", 1, &fehler),
            JSC_CHECK_SYNTAX_RESULT_SUCCESS)
            << skript << (fehler ? jsc_exception_get_message(fehler) : "");
        if (fehler)
            g_object_unref(fehler);
    }
    g_object_unref(welt);
}

TEST_F(Skriptwelt, AMessageArrivesAsJsonTextWithTheOriginOfItsDocument) {
    EXPECT_EQ(sende("{aktion: 'a', id: 1}"), R"([["https://a.example","{\"aktion\":\"a\",\"id\":1}"]])");
    EXPECT_EQ(sende("'text'"), R"([["https://a.example","\"text\""]])");
    EXPECT_EQ(sende("undefined"), R"([["https://a.example","null"]])");
}

TEST_F(Skriptwelt, ValuesBecomeWhatJsonMakesOfThem) {
    EXPECT_EQ(
        sende("{d: new Date(0), f: new Uint8Array([1, 2]), n: NaN, u: undefined}"),
        R"([["https://a.example","{\"d\":\"1970-01-01T00:00:00.000Z\",\"f\":{\"0\":1,\"1\":2},\"n\":null}"]])");
}

TEST_F(Skriptwelt, WhatJsonCannotSayThrowsInThePage) {
    EXPECT_TRUE(sende("(k => { k.k = k; return k; })({})").starts_with("!"));
    EXPECT_TRUE(sende("{zahl: 1n}").starts_with("!"));
    EXPECT_EQ(wert("gesendet.length"), "0");
}

TEST_F(Skriptwelt, AMessageThatIsTooLongThrowsInsteadOfWaitingForEver) {
    EXPECT_EQ(sende("'x'.repeat(59)"), "!Die Nachricht ist zu groß.");
    EXPECT_EQ(wert("gesendet.length"), "0");
    EXPECT_EQ(sende("'x'.repeat(58)").size(), 88U);
    EXPECT_EQ(sende("'ä'.repeat(30)"), "!Die Nachricht ist zu groß.") << "bytes count, not characters";
}

TEST_F(Skriptwelt, WhateverThePageReplacesLaterChangesNothing) {
    EXPECT_EQ(
        wert("const stumm = () => { throw new Error('ersetzt'); };"
             "Reflect.apply = JSON.stringify = JSON.parse = stumm; CustomEvent = stumm; RangeError = stumm;"
             "EventTarget.prototype.dispatchEvent = stumm; Array.prototype.map = stumm;"
             "Array.prototype[Symbol.iterator] = stumm; Object.defineProperty = stumm; String = stumm;"
             "Object.defineProperties(Object.prototype, {cancelable: {get: stumm}, bubbles: {get: stumm},"
             "  composed: {get: stumm}, '0': {set: stumm}}); performance = location = null;"
             "window.webkit = {}; webkit.messageHandlers.quillmate.postMessage = stumm;"
             "window.da = (a, b) => { window.empfangen = a + b.c; }; 1"),
        "1");
    EXPECT_EQ(wert("webkit.messageHandlers.quillmate.postMessage({id: 1}); gesendet.length"), "1");
    EXPECT_EQ(wert("gesendet[0][1]"), R"({"id":1})");
    EXPECT_EQ(
        wert("webkit.messageHandlers.quillmate.zustellen('https://a.example', 'da', '[1,{\"c\":2}]'); "
             "empfangen"),
        "3");
}

TEST_F(Skriptwelt, ThePagesInterfaceWorksOverThisRoad) {
    EXPECT_EQ(
        wert(bruecke::einspielungsskript({.kurzfassung = "1.2", .buildnummer = "3", .ort = "programme"})),
        "undefined");
    EXPECT_EQ(wert("quillmateApp.fassung + quillmateApp.version"), "31.2");
    EXPECT_EQ(
        wert("var wert = [], kreis = {}; kreis.kreis = kreis;"
             "quillmateApp.suchStand().then(a => { wert[0] = a.laeuft; });"
             "quillmateApp.bilderZaehlen({kennung: 'x', id: 9}).catch(f => { wert[1] = f.message; });"
             "quillmateApp.portalOeffnen(kreis).catch(f => { wert[2] = f.name; });"
             "JSON.stringify(gesendet.map(paar => JSON.parse(paar[1])))"),
        R"([{"aktion":"suchStand","id":1},{"kennung":"x","id":2,"aktion":"bilderZaehlen"}])");
    EXPECT_EQ(
        wert("const liefere = werte => webkit.messageHandlers.quillmate.zustellen("
             "  'https://a.example', '__quillmateAntwort', werte);"
             "liefere('[1,{\"laeuft\":true}]'); liefere('[2,{\"fehler\":\"nein\"}]'); liefere('[7,{}]'); 1"),
        "1");
    EXPECT_EQ(wert("wert.join()"), "true,nein,TypeError");
}

TEST_F(Skriptwelt, NothingIsDeliveredToADocumentOfAnotherOrigin) {
    EXPECT_EQ(
        wert("var zahl = 0; window.da = () => ++zahl;"
             "const z = webkit.messageHandlers.quillmate.zustellen;"
             "for (const o of ['https://b.example', 'http://a.example', 'null', undefined]) z(o, 'da', '[]');"
             "z('https://a.example', 'nichtDa', '[]'); zahl"),
        "0");
    EXPECT_EQ(wert("z('https://a.example', 'da', '[]'); zahl"), "1");
}

TEST(Ursprung, IsThatOfAWebPageAsEnginesWriteIt) {
    EXPECT_EQ(adapter::gtk::ursprungVon("https://A.Example:443/x?y#z"), "https://a.example");
    EXPECT_EQ(adapter::gtk::ursprungVon("https://a.example:444/x"), "https://a.example:444");
    EXPECT_EQ(adapter::gtk::ursprungVon("http://127.0.0.1:8080/"), "http://127.0.0.1:8080");
    EXPECT_EQ(adapter::gtk::ursprungVon("http://[::1]/"), "http://[::1]");
    EXPECT_EQ(adapter::gtk::ursprungVon("https://ä.example/"), "https://xn--4ca.example");
    for (auto const* const anderes :
         {"", "about:blank", "file:///etc/passwd", "data:text/html,x", "kein URL"})
        EXPECT_EQ(adapter::gtk::ursprungVon(anderes), std::nullopt) << anderes;
}

} // namespace
} // namespace quillmate::adapter::gtk
