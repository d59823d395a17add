// A portal that wants more than to be looked at: its pages try to reach other programs, sign-ins, the bridge and the
// user's whole screen, and to keep their window. Each time with a control that the honest way works.
#include "demo/portalzertifikat.h"
#include "echtes_fenster.h"
#include "werkzeug/https_faden.h"
#include "werkzeug/warten.h"

#include <csignal>
#include <filesystem>

namespace quillmate::fenster_echt {
namespace {

using nlohmann::json;
using werkzeug::wartenBis;

class Portalangriffe : public EchtesFenster {
protected:
    Portalangriffe() {
        std::signal(SIGPIPE, SIG_IGN); // The portal's listener lives in this process.
        ordner.datei("portal.pem", zertifikat->pem());
        dienst.inhalt("<a id=link href='https://fremd.example/ehrlich'>x</a>");
        for (auto const* const pfad : {"/ende", "/da", "/nein", "/ja", "/klick"})
            portal.seite(pfad, {.koerper = "x", .typ = "text/plain"});
    }
    /// The main window with its page, and above it a portal that shows this body. Its script may call melde(path).
    void oeffnePortal(std::string const& rumpf) {
        portal.seite(
            "/",
            {.koerper = "<!doctype html><meta charset=utf-8><title>Portal</title><script>const melde = p => "
                        "fetch('/' + p, {cache: 'no-store', keepalive: true});</script>" +
                        rumpf});
        oeffne({{"QUILLMATE_DEMO_ZERTIFIKAT", ordner.pfad("portal.pem")}}, QUILLMATE_DEMOPROGRAMM);
        dienst.rufe(
            "window.__ereignisse = []; window.__quillmatePortalEreignis = e => __ereignisse.push(e);");
        int const nummer =
            dienst.beginne("return await window.quillmateApp.portalOeffnen({kennung: 'weiteres', "
                           "client_id: 1, token: 'geheim', name: 'Boese', transaction_id: 12})");
        ASSERT_TRUE(warteAufDialog());
        bildschirm.tippe(portal.adresse("/"));
        bildschirm.taste("Return");
        EXPECT_EQ(dienst.ergebnis(nummer), (json{{"geoeffnet", true}}));
        auto const offen = bildschirm.warteAufFenster("Belegportal — Boese · 127.0.0.1");
        ASSERT_TRUE(offen);
        fenster = *offen;
        tastaturAnPortal();
    }
    void tastaturAnPortal() {
        EXPECT_TRUE(wartenBis([&] {
            if (bildschirm.tastaturBei() != fenster.nummer)
                bildschirm.tastaturAn(fenster.nummer);
            return bildschirm.tastaturBei() == fenster.nummer;
        }));
    }
    [[nodiscard]] bool erreicht(std::string const& pfad, long wieOft = 1) {
        return wartenBis([&] { return portal.anzahl("GET " + pfad) >= wieOft; });
    }
    /// As a person would, in the middle of the portal's page.
    void klickeInsPortal() {
        bildschirm.klicke({.x = fenster.x + fenster.breite / 2, .y = fenster.y + fenster.hoehe * 2 / 3});
    }
    [[nodiscard]] bool portalDa() const {
        for (auto const& eines : bildschirm.fenster())
            if (eines.nummer == fenster.nummer)
                return true;
        return false;
    }
    /// One click on the window's own button closes it, and the program goes on.
    void schliesstMitEinemKlick() {
        bildschirm.schliessen(fenster.nummer);
        EXPECT_TRUE(wartenBis([&] { return !portalDa(); })) << "the page keeps its window";
        EXPECT_TRUE(warteBisDialogWeg());
        EXPECT_TRUE(programm->laeuft());
        EXPECT_EQ(dienst.rufe("return 1"), 1);
    }
    /// The control: the service's own page may do with a click what the portal may not.
    void ehrlicherLinkOeffnetDenBrowser() {
        EXPECT_TRUE(imBrowser().empty()) << "the portal has started " << imBrowser().front();
        klicke("#link");
        EXPECT_TRUE(warteAufBrowser("https://fremd.example/ehrlich"));
        EXPECT_EQ(imBrowser().size(), 1U);
    }

    std::optional<demo::Portalzertifikat> const zertifikat{demo::Portalzertifikat::erzeugen()};
    werkzeug::HttpsFaden portal{werkzeug::ausweisAus(zertifikat->zertifikat(), zertifikat->schluessel())};
    XFenster fenster;
};

/// Everything that a page can do with an address, for each of these addresses; then melde('ende').
std::string alleWege(std::string const& danach) {
    return R"html(<button id=k style='position:fixed;inset:0;width:100%;height:100%'>x</button><script>
const ziele = ['mailto:a@fremd.example', 'tel:+49', 'smb://fremd.example/x', 'boese:x', 'file:///etc/passwd',
    'quillmate://anmeldung?token=x', 'http://fremd.example/', 'javascript:melde("nein")'];
const wege = [
  z => { location.href = z; },
  z => { const a = document.createElement('a'); a.href = z; document.body.append(a); a.click(); },
  z => { const a = document.createElement('a'); a.href = z; a.target = '_blank'; document.body.append(a); a.click(); },
  z => { const f = document.createElement('iframe'); f.src = z; document.body.append(f); },
  z => { const f = document.createElement('form'); f.action = z; document.body.append(f); f.submit(); },
  z => { open(z); },
];
const alle = async () => {
  for (const z of ziele.slice(0, 7))
    for (const weg of wege) {
      try { weg(z); } catch (e) {}
      await new Promise(weiter => setTimeout(weiter, 20));
    }
};
)html" + danach +
           "</script>";
}

TEST_F(Portalangriffe, NoProgramNoBrowserAndNoSignInIsStartedWithoutAClick) {
    browserEinrichten({"http", "https", "mailto", "tel", "smb", "boese", "quillmate"});
    ASSERT_NO_FATAL_FAILURE(oeffnePortal(alleWege("alle().then(() => melde('ende'));")));
    ASSERT_TRUE(erreicht("/ende"));
    EXPECT_EQ(bildschirm.fenster().size(), 2U) << "something else than the two windows is open";
    schliesstMitEinemKlick();
    ehrlicherLinkOeffnetDenBrowser();
}

TEST_F(Portalangriffe, NorWithOne) {
    browserEinrichten({"http", "https", "mailto", "tel", "smb", "boese", "quillmate"});
    ASSERT_NO_FATAL_FAILURE(oeffnePortal(alleWege(R"html(
let nummer = 0;
document.getElementById('k').onclick = () => {
  const n = nummer++;
  try { wege[n % wege.length](ziele[Math.floor(n / wege.length)]); } catch (e) {}
  melde('klick');
};
melde('da');)html")));
    ASSERT_TRUE(erreicht("/da"));
    constexpr long alle = 7L * 6;
    for (long i = 1; i <= alle; ++i) {
        klickeInsPortal();
        ASSERT_TRUE(erreicht("/klick", i)) << "after click " << i;
    }
    EXPECT_EQ(bildschirm.fenster().size(), 2U) << "something else than the two windows is open";
    schliesstMitEinemKlick();
    ehrlicherLinkOeffnetDenBrowser();
}

TEST_F(Portalangriffe, SignInAndBankPathsArePagesOfThePortalAndNothingElse) {
    browserEinrichten({"http", "https", "quillmate"});
    for (auto const* const pfad : {"/auth/google/login", "/auth/enable-banking/start"})
        portal.seite(pfad, {.koerper = "<!doctype html>x"});
    ASSERT_NO_FATAL_FAILURE(
        oeffnePortal("<iframe src='/auth/google/login'></iframe><script>onload = () => { location.href = "
                     "'/auth/enable-banking/start'; };</script>"));
    EXPECT_TRUE(erreicht("/auth/google/login"));
    EXPECT_TRUE(erreicht("/auth/enable-banking/start"));
    EXPECT_TRUE(
        wartenBis([&] { return !portalDa() || bildschirm.fensterMit("Belegportal — Boese · 127.0.0.1"); }));
    EXPECT_EQ(bildschirm.fenster().size(), 2U) << "somebody is asked";
    schliesstMitEinemKlick();
    EXPECT_TRUE(imBrowser().empty());
    // The control: the service's own page does start one.
    dienst.rufe("setTimeout(() => { location.href = '/auth/google/login'; }, 0)");
    EXPECT_TRUE(wartenBis([&] { return !imBrowser().empty(); }));
}

TEST_F(Portalangriffe, TheBridgeIsNotThereAndGuessedNumbersSettleNothing) {
    ASSERT_NO_FATAL_FAILURE(oeffnePortal(R"html(<script>
const da = window.webkit?.messageHandlers?.quillmate || window.quillmateApp || window.__quillmateAntwort;
const nachricht = id => ({aktion: 'suchStand', id});
for (let id = 0; id < 20; ++id)
  for (const name of ['quillmate-nachricht', 'quillmate-download', 'quillmate-klick'])
    for (const wo of [window, document, performance])
      for (const was of [JSON.stringify(nachricht(id)), nachricht(id)])
        wo.dispatchEvent(new CustomEvent(name, {detail: was, cancelable: true}));
try { for (const name of Object.keys(window.webkit?.messageHandlers ?? {})) window.webkit.messageHandlers[name].postMessage(nachricht(1)); } catch (e) {}
melde(da ? 'ja' : 'nein').then(() => melde('ende'));
</script>)html"));
    ASSERT_TRUE(erreicht("/ende"));
    EXPECT_EQ(portal.anzahl("GET /ja"), 0);
    EXPECT_EQ(portal.anzahl("GET /nein"), 1);
    EXPECT_EQ(programm->anzahlZeilen("Bruecke: Aktion 'suchStand'"), 0U);
    schliesstMitEinemKlick();
    EXPECT_TRUE(dienst.rufe("return await window.quillmateApp.suchStand()").is_object());
}

TEST_F(Portalangriffe, AFloodOfWindowsOpensNone) {
    ASSERT_NO_FATAL_FAILURE(oeffnePortal(R"html(<button style='position:fixed;inset:0;width:100%;height:100%'
onclick="for (let i = 0; i < 200; ++i) open('/fenster?' + i, 'f' + i, 'width=100,height=100'); melde('klick')">x</button>
<script>for (let i = 0; i < 200; ++i) open('/fenster?' + i); melde('da');</script>)html"));
    ASSERT_TRUE(erreicht("/da"));
    EXPECT_EQ(portal.anzahl("GET /fenster"), 0);
    EXPECT_EQ(bildschirm.fenster().size(), 2U);
    klickeInsPortal();
    EXPECT_TRUE(erreicht("/klick"));
    // The control: what the person has clicked for is shown, in the same window, once.
    EXPECT_TRUE(erreicht("/fenster"));
    EXPECT_EQ(bildschirm.fenster().size(), 2U);
    schliesstMitEinemKlick();
    EXPECT_EQ(portal.anzahl("GET /fenster"), 1);
}

TEST_F(Portalangriffe, AlertsWithoutEndAreLeftWithOneClick) {
    ASSERT_NO_FATAL_FAILURE(
        oeffnePortal("<script>melde('da').then(() => { for (;;) alert('Sie haben gewonnen'); });</script>"));
    ASSERT_TRUE(erreicht("/da"));
    std::optional<XFenster> dialog;
    auto const frage = [&](unsigned long nichtDiese) {
        return wartenBis([&] {
            for (auto const& eines : bildschirm.fenster())
                if (eines.nummer != fenster.nummer && eines.titel != "Quillmate" &&
                    eines.nummer != nichtDiese && !eines.aufgeklappt)
                    dialog = eines;
            if (dialog && bildschirm.tastaturBei() != dialog->nummer)
                bildschirm.tastaturAn(dialog->nummer);
            return dialog && dialog->nummer != nichtDiese && bildschirm.tastaturBei() == dialog->nummer;
        });
    };
    ASSERT_TRUE(frage(0));
    bildschirm.taste("Return");
    ASSERT_TRUE(frage(dialog->nummer)) << "the second one did not come";
    bildschirm.bild("portal_hinweise_ohne_ende");
    // "Portal schließen" stands in the middle, above "OK".
    constexpr int hundertstel = 100;
    constexpr int hoehe = 58;
    bildschirm.klicke(
        {.x = dialog->x + dialog->breite / 2, .y = dialog->y + dialog->hoehe * hoehe / hundertstel});
    EXPECT_TRUE(wartenBis([&] { return !portalDa(); })) << "the page keeps its window";
    EXPECT_TRUE(warteBisDialogWeg());
    EXPECT_EQ(dienst.rufe("return 1"), 1);
}

TEST_F(Portalangriffe, APageThatWantsToStayIsLeftWithOneClick) {
    ASSERT_NO_FATAL_FAILURE(oeffnePortal(R"html(<button style='position:fixed;inset:0;width:100%;height:100%'
onclick="melde('klick')">x</button><script>
for (const name of ['beforeunload', 'pagehide', 'unload'])
  addEventListener(name, e => {
        e.preventDefault();
        e.returnValue = 'Bleib!';
        alert('Bleib!'); });
melde('da');</script>)html"));
    ASSERT_TRUE(erreicht("/da"));
    klickeInsPortal(); // Only a page that was used may ask.
    ASSERT_TRUE(erreicht("/klick"));
    schliesstMitEinemKlick();
}

TEST_F(Portalangriffe, APageThatNeverRestsIsLeftWithOneClick) {
    ASSERT_NO_FATAL_FAILURE(oeffnePortal("<script>melde('da').then(() => { for (;;) ; });</script>"));
    ASSERT_TRUE(erreicht("/da"));
    schliesstMitEinemKlick();
}

TEST_F(Portalangriffe, APageThatLoadsItselfForEverIsLeftWithOneClick) {
    ASSERT_NO_FATAL_FAILURE(
        oeffnePortal("<script>melde('da').then(() => setTimeout(() => location.reload(), 5));</script>"));
    ASSERT_TRUE(erreicht("/da", 5));
    schliesstMitEinemKlick();
}

TEST_F(Portalangriffe, NoPageFillsTheScreenAlsoWithAClick) {
    ASSERT_NO_FATAL_FAILURE(oeffnePortal(R"html(<button style='position:fixed;inset:0;width:100%;height:100%'
onclick="try { (document.documentElement.requestFullscreen ?? document.documentElement.webkitRequestFullscreen)
  .call(document.documentElement)?.then(() => melde('ja'), () => melde('nein')); } catch (e) { melde('nein'); } melde('klick')">x</button>
<script>for (const name of ['fullscreenchange', 'webkitfullscreenchange']) document.addEventListener(name, () => {
        if (document.fullscreenElement || document.webkitFullscreenElement)
            melde('ja'); }); melde('da');</script>)html"));
    ASSERT_TRUE(erreicht("/da"));
    klickeInsPortal();
    ASSERT_TRUE(erreicht("/klick"));
    klickeInsPortal();
    ASSERT_TRUE(erreicht("/klick", 2)) << "the window is elsewhere now";
    EXPECT_EQ(portal.anzahl("GET /ja"), 0);
    auto const jetzt = bildschirm.fensterMit("Belegportal — Boese · 127.0.0.1");
    ASSERT_TRUE(jetzt);
    EXPECT_EQ(jetzt->breite, fenster.breite);
    EXPECT_EQ(jetzt->hoehe, fenster.hoehe);
    schliesstMitEinemKlick();
}

TEST_F(Portalangriffe, ADownloadBeyondFiftyMebibytesEndsWithAMessageAndASmallOneIsTaken) {
    dienst.antworte("/transactions/12/attach-receipt", {.koerper = R"({"status": "matched"})"});
    auto const anhang = [](std::string const& name) {
        return std::map<std::string, std::string>{
            {"Content-Disposition", "attachment; filename=\"" + name + '"'}};
    };
    portal.seite(
        "/gross.pdf", {.koerper = std::string((std::size_t{50} << 20U) + 1, 'x'),
                       .typ = "application/pdf",
                       .koepfe = anhang("gross.pdf")});
    portal.seite(
        "/klein.pdf",
        {.koerper = "%PDF-1.4\n%%EOF\n", .typ = "application/pdf", .koepfe = anhang("klein.pdf")});
    ASSERT_NO_FATAL_FAILURE(oeffnePortal(
        "<button style='position:fixed;inset:0;width:100%;height:100%' onclick=\"location.href = "
        "'/klein.pdf'\">x</button><script>onload = () => { location.href = '/gross.pdf'; };</script>"));
    auto const letztes = [&] {
        return dienst.rufe("return window.__ereignisse.at(-1) ?? {}");
    };
    EXPECT_TRUE(wartenBis([&] { return letztes().value("status", "") == "fehler"; }));
    EXPECT_EQ(letztes().value("nachricht", ""), "Download fehlgeschlagen: Die Datei ist größer als 50 MB.");
    EXPECT_TRUE(wartenBis([&] {
        for (auto const& eintrag : std::filesystem::recursive_directory_iterator{ordner.pfad("tmp")})
            if (eintrag.is_regular_file() && eintrag.file_size() > 1000)
                return false;
        return true;
    })) << "a part of it is left";
    klickeInsPortal();
    EXPECT_TRUE(wartenBis([&] { return letztes().value("status", "") == "importiert"; }));
}

} // namespace
} // namespace quillmate::fenster_echt
