// Who may speak to the bridge, and that it withstands whatever is said.
#include "echtes_fenster.h"
#include "werkzeug/warten.h"

#include <algorithm>
#include <fstream>
#include <future>

namespace quillmate::fenster_echt {
namespace {

using nlohmann::json;
using werkzeug::HttpAntwort;
using werkzeug::wartenBis;

/// Calls the bridge below the page's object and keeps every answer of the native side in window.antworten.
constexpr char const* mithoeren = R"(
  const echt = window.__quillmateAntwort;
  window.antworten = {};
  window.__quillmateAntwort = (id, ergebnis) => { window.antworten[id] = ergebnis; echt(id, ergebnis); };
)";

class Bruecken : public EchtesFenster {
protected:
    json antwortAuf(int id) {
        json antwort;
        EXPECT_TRUE(wartenBis([&] {
            antwort = dienst.rufe("return window.antworten[" + std::to_string(id) + "] ?? null");
            return !antwort.is_null();
        })) << id;
        return antwort;
    }
    /// Peak memory of the program's own process in kB.
    [[nodiscard]] long speicher() const {
        std::ifstream datei{"/proc/" + std::to_string(programm->nummer()) + "/status"};
        for (std::string zeile; std::getline(datei, zeile);)
            if (zeile.starts_with("VmRSS:"))
                return std::stol(zeile.substr(6));
        return 0;
    }
    /// The page's first call starts a scan whose replies wait until the gate opens; then the page is left.
    void verlasseSeiteMitOffenemScan(std::shared_future<void> tor, std::string const& ziel) {
        for (auto const* const ende :
             {"seen-paths", "known-nonreceipt-hashes", "progress", "progress-start", "progress-update",
              "progress-finish"})
            dienst.antworte(std::string{"/clients/5/local-scan/"} + ende, {.koerper = "{}"});
        dienst.antworte(vorgaben, [tor = std::move(tor)](werkzeug::HttpAnfrage const&) {
            tor.wait();
            return HttpAntwort{.koerper = "{}"};
        });
        dienst.rufe(
            "window.quillmateApp.macScannen({client_id: 5, token: 't', server: '" + dienst.adresse() +
            "'});");
        ASSERT_TRUE(wartenBis([&] { return !dienst.anfragenAn(vorgaben).empty(); }));
        dienst.rufe("setTimeout(() => location.href = '" + ziel + "')");
    }
    static constexpr char const* vorgaben = "/clients/5/local-scan-preference";

    /// The log's line about documents of this server.
    [[nodiscard]] static std::string nichtBeachtet(Seitendienst const& wen) {
        return "Bruecke: Nachrichten von " + wen.adresse() + " werden nicht beachtet";
    }
};

TEST_F(Bruecken, UnknownActionsAndMalformedMessagesAreRefusedToTheLetter) {
    oeffne();
    dienst.rufe(mithoeren);
    dienst.rufe("const s = m => window.webkit.messageHandlers.quillmate.postMessage(m);"
                "s({aktion: 'loeschen', id: 7}); s({aktion: 'suchStand'}); s({aktion: 'suchStand', id: '8'});"
                "s('text'); s(null); s(17); s([1]); s({id: 9}); s({aktion: 5, id: 9}); s({aktion: "
                "'suchStand', id: 1.5});"
                "s({aktion: 'suchStand', id: NaN}); s({aktion: 'suchStand', id: 1e300});"
                "s({aktion: 'suchStand', id: 10, tief: [[[[{a: [1]}]]]]});");
    EXPECT_TRUE(antwortAuf(10).contains("laeuft"));
    EXPECT_EQ(antwortAuf(7), (json{{"fehler", "unbekannte Aktion"}}));
    EXPECT_EQ(programm->anzahlZeilen("Bruecke: unverständliche Nachricht abgewiesen"), 11U);
    EXPECT_TRUE(programm->hatZeile("Bruecke: Aktion 'loeschen' ist nicht erlaubt - abgewiesen"));
    EXPECT_EQ(dienst.rufe("return Object.keys(window.antworten).length"), 2);
}

TEST_F(Bruecken, TenThousandCallsInABurstAreAllAnswered) {
    oeffne();
    auto const anzahl = dienst.ergebnis(
        dienst.beginne(
            "const alle = []; for (let i = 0; i < 10000; ++i) alle.push(window.quillmateApp.suchStand());"
            "const antworten = await Promise.all(alle); return antworten.filter(a => 'laeuft' in a).length;"),
        std::chrono::seconds{120});
    EXPECT_EQ(anzahl, 10000);
    auto const vorher = speicher();
    for (int mal = 0; mal < 3; ++mal)
        dienst.ergebnis(
            dienst.beginne(
                "const alle = []; for (let i = 0; i < 10000; ++i) alle.push(window.quillmateApp.suchStand());"
                "return (await Promise.all(alle)).length;"),
            std::chrono::seconds{120});
    EXPECT_LT(speicher(), vorher + 50'000) << "nothing of the calls stays";
}

TEST_F(Bruecken, AMessageOfTenMegabytesIsRefusedOrServedAndTheProgramGoesOn) {
    oeffne();
    dienst.rufe(mithoeren);
    long eingeschwungen = 0;
    for (int mal = 0; mal < 30; ++mal) {
        dienst.rufe(
            "window.webkit.messageHandlers.quillmate.postMessage("
            "{aktion: 'suchStand', id: " +
            std::to_string(100 + mal) + ", last: 'x'.repeat(10 * 1024 * 1024)})");
        EXPECT_TRUE(wartenBis([&] {
            return programm->anzahlZeilen("Bruecke: unverständliche Nachricht abgewiesen") +
                       dienst.rufe("return Object.keys(window.antworten).length").get<std::size_t>() ==
                   static_cast<std::size_t>(mal) + 1;
        }));
        if (mal == 9)
            eingeschwungen =
                speicher(); // The engine frees such texts when it likes; that is room for a few of them.
    }
    EXPECT_TRUE(dienst.rufe("return await window.quillmateApp.suchStand()").contains("laeuft"));
    EXPECT_LT(speicher(), eingeschwungen + 100'000) << "twenty more of them are 200 MB";
}

TEST_F(Bruecken, NoFrameHasAWayToTheBridge) {
    Seitendienst fremd;
    dienst.inhalt("<iframe id=rahmen src='" + fremd.adresse("/seite/rahmen") + "'></iframe>");
    oeffne();
    ASSERT_TRUE(fremd.warteAufDokument(1, "rahmen"));
    constexpr char const* was = "return typeof window.quillmateApp + typeof window.webkit";
    EXPECT_EQ(fremd.rufe(was, "rahmen"), "undefinedundefined");
    EXPECT_EQ(
        dienst.rufe("const f = document.createElement('iframe'); document.body.append(f);"
                    "return typeof f.contentWindow.webkit"),
        "undefined");
    EXPECT_EQ(dienst.rufe(was), "objectobject");
}

TEST_F(Bruecken, APageOfAnotherHostInTheMainWindowIsNotAnswered) {
    Seitendienst fremd;
    oeffne();
    dienst.rufe("setTimeout(() => location.href = '" + fremd.adresse("/seite/angriff") + "')");
    ASSERT_TRUE(fremd.warteAufDokument(1, "angriff"));
    int const ruf = fremd.beginne("return await window.quillmateApp.gemerkteOrdner()", "angriff");
    EXPECT_TRUE(programm->warteAufZeile(nichtBeachtet(fremd)));
    fremd.rufe(
        "for (let id = 2; id < 30; ++id)"
        "  window.webkit.messageHandlers.quillmate.postMessage({aktion: 'ordnerVergessen', id})",
        "angriff");
    EXPECT_FALSE(fremd.fertig(ruf));
    EXPECT_EQ(programm->anzahlZeilen(nichtBeachtet(fremd)), 1U);
}

TEST_F(Bruecken, AWindowOfThePagesOwnHostIsObeyedAndAnsweredInTheMainPage) {
    dienst.inhalt("<button id=knopf onclick=\"window.neben = window.open('')\">auf</button>");
    oeffne();
    dienst.rufe(mithoeren);
    klicke("#knopf");
    ASSERT_TRUE(wartenBis([&] { return bildschirm.fenster().size() == 2; }));
    dienst.rufe("window.neben.location.href = '/seite/neben'");
    ASSERT_TRUE(dienst.warteAufDokument(1, "neben"));
    dienst.rufe(
        "window.webkit.messageHandlers.quillmate.postMessage({aktion: 'suchStand', id: 70})", "neben");
    EXPECT_TRUE(antwortAuf(70).contains("laeuft"));
}

TEST_F(Bruecken, AWindowOfAnotherHostThatThePageOpenedIsRefused) {
    Seitendienst fremd;
    dienst.inhalt("<button id=knopf onclick=\"window.neben = window.open('')\">auf</button>");
    oeffne();
    klicke("#knopf");
    ASSERT_TRUE(wartenBis([&] { return bildschirm.fenster().size() == 2; }));
    dienst.rufe("window.neben.location.href = '" + fremd.adresse("/seite/neben") + "'");
    ASSERT_TRUE(fremd.warteAufDokument(1, "neben"));
    fremd.rufe(
        "window.webkit.messageHandlers.quillmate.postMessage({aktion: 'ordnerVergessen', id: 70})", "neben");
    EXPECT_TRUE(programm->warteAufZeile(nichtBeachtet(fremd)));
    EXPECT_EQ(programm->anzahlZeilen("Bruecke: Aktion"), 0U);
}

TEST_F(Bruecken, ALateReplySettlesNoCallOfTheSameNumberInTheNextPage) {
    oeffne();
    std::promise<void> tor;
    verlasseSeiteMitOffenemScan(tor.get_future().share(), "/seite/naechste");
    ASSERT_TRUE(dienst.warteAufDokument(1, "naechste"));
    dienst.rufe(mithoeren, "naechste");
    int const tafel = dienst.beginne("return await window.quillmateApp.ordnerWaehlen()", "naechste");
    ASSERT_TRUE(warteAufDialog());
    tor.set_value();
    EXPECT_TRUE(wartenBis([&] {
        return dienst.rufe("return await window.quillmateApp.suchStand()", "naechste")["laeuft"] == false;
    })) << "the scan is over, and all of its replies are before this one";
    EXPECT_EQ(dienst.rufe("return window.antworten[1] ?? null", "naechste"), nullptr);
    bildschirm.taste("Escape");
    EXPECT_EQ(dienst.ergebnis(tafel), (json{{"abgebrochen", true}}));
    EXPECT_EQ(dienst.rufe("return window.antworten[1]", "naechste"), (json{{"abgebrochen", true}}));
}

TEST_F(Bruecken, AForeignPageReadsNoReplyToTheOneBeforeIt) {
    Seitendienst fremd;
    oeffne();
    std::promise<void> tor;
    verlasseSeiteMitOffenemScan(tor.get_future().share(), fremd.adresse("/seite/fremd"));
    ASSERT_TRUE(fremd.warteAufDokument(1, "fremd"));
    fremd.rufe(
        "window.gelesen = []; window.__quillmateAntwort = (id, ergebnis) => window.gelesen.push({id, "
        "ergebnis});"
        "window.__quillmatePortalEreignis = ereignis => window.gelesen.push({ereignis});",
        "fremd");
    tor.set_value();
    EXPECT_TRUE(wartenBis([&] { return programm->anzahlZeilen("MacScan: 0 Dateien") == 1; }));
    // What is said now is heard after all that has been sent.
    fremd.rufe("window.webkit.messageHandlers.quillmate.postMessage({aktion: 'suchStand', id: 99})", "fremd");
    EXPECT_TRUE(programm->warteAufZeile(nichtBeachtet(fremd)));
    EXPECT_EQ(fremd.rufe("return window.gelesen", "fremd"), json::array());
}

} // namespace
} // namespace quillmate::fenster_echt
