// Searches that the page starts, with real files, the real readers and a service that the test plays.
#include "echtes_fenster.h"
#include "werkzeug/warten.h"

#include <atomic>
#include <csignal>
#include <set>

namespace quillmate::fenster_echt {
namespace {

using nlohmann::json;
using werkzeug::HttpAnfrage;
using werkzeug::HttpAntwort;
using werkzeug::wartenBis;

/// One page with a text layer, as small as it can be.
std::string beleg(std::string const& text) {
    auto const inhalt = "BT /F1 12 Tf 20 100 Td (" + text + ") Tj ET";
    return "%PDF-1.4\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n2 0 obj<</Type/Pages/Kids[3 0 R]/Count "
           "1>>endobj\n3 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 300 200]/Contents 4 0 "
           "R/Resources<</Font<</F1<</Type/Font/Subtype/Type1/BaseFont/Helvetica>>>>>>>>endobj\n4 0 "
           "obj<</Length " +
           std::to_string(inhalt.size()) + ">>stream\n" + inhalt +
           "\nendstream endobj\ntrailer<</Root 1 0 R>>\n";
}

class Suchen : public EchtesFenster {
protected:
    Suchen() {
        for (auto const* const ende :
             {"local-scan-preference", "local-scan/seen-paths", "local-scan/known-nonreceipt-hashes",
              "local-scan/progress", "local-scan/progress-start", "local-scan/progress-update",
              "local-scan/progress-finish", "local-receipts/upload"})
            dienst.antworte(std::string{"/clients/5/"} + ende, {.koerper = "{}"});
    }
    void belege(int anzahl) {
        for (int i = 0; i < anzahl; ++i)
            ordner.datei(
                "home/Documents/beleg" + std::to_string(i) + ".pdf",
                beleg(
                    "Rechnung " + std::to_string(4711 + i) + ", Betrag 12," + std::to_string(10 + i) +
                    " EUR"));
    }
    json starteSuche() {
        return dienst.rufe(
            "return await window.quillmateApp.macScannen({client_id: 5, token: 'geheim', server: '" +
            dienst.adresse() + "'})");
    }
    [[nodiscard]] std::size_t uploads() const {
        return dienst.anfragenAn("/clients/5/local-receipts/upload").size();
    }
    [[nodiscard]] bool warteAufEnde() {
        return wartenBis(
            [&] { return dienst.rufe("return await window.quillmateApp.suchStand()")["laeuft"] == false; },
            std::chrono::seconds{60});
    }
};

TEST_F(Suchen, AFullScanFromThePageSendsTheReceiptsAndReportsItsSteps) {
    belege(4);
    ordner.datei("home/Documents/brief.pdf", beleg("Liebe Oma, hier ist es schoen."));
    oeffne();
    EXPECT_EQ(
        dienst.rufe("return await window.quillmateApp.suchStand()"),
        (json{{"laeuft", false}, {"art", ""}, {"sekunden", 0}, {"schritte", json::array()}}));
    auto const begonnen = starteSuche();
    EXPECT_EQ(begonnen["gestartet"], true) << begonnen;
    EXPECT_EQ(begonnen["gesamt"], 5);
    ASSERT_TRUE(warteAufEnde());
    std::set<std::string> gesendet;
    for (auto const& anfrage : dienst.anfragenAn("/clients/5/local-receipts/upload")) {
        auto const anfang = anfrage.koerper.find("filename=\"") + 10;
        gesendet.insert(anfrage.koerper.substr(anfang, anfrage.koerper.find('"', anfang) - anfang));
        EXPECT_EQ(anfrage.abfrage.at(0), (std::pair<std::string, std::string>{"token", "geheim"}));
    }
    EXPECT_EQ(gesendet, (std::set<std::string>{"beleg0.pdf", "beleg1.pdf", "beleg2.pdf", "beleg3.pdf"}));
    EXPECT_EQ(dienst.anfragenAn("/clients/5/local-scan/progress-finish").size(), 1U);
    std::vector<std::string> schritte;
    auto const stand = dienst.rufe("return await window.quillmateApp.suchStand()");
    for (auto const& schritt : stand["schritte"]) {
        schritte.push_back(schritt["schluessel"]);
        EXPECT_EQ(schritt["fertig"], true) << schritt;
    }
    EXPECT_EQ(schritte.front(), "vorgaben");
    EXPECT_EQ(schritte.back(), "lesen");
    EXPECT_TRUE(programm->warteAufZeile("MacScan: 5 Dateien"));
    EXPECT_EQ(programm->fehlerausgabe().find("geheim"), std::string::npos) << "the token is in the log";
}

TEST_F(Suchen, AScanThatIsStoppedInTheMiddleEndsWithoutSendingTheRest) {
    constexpr int anzahl = 30;
    belege(anzahl);
    std::atomic<bool> gestoppt{false};
    std::atomic<int> gehoert{0};
    dienst.antworte("/clients/5/local-scan/progress", [&](HttpAnfrage const&) {
        if (!gestoppt)
            return HttpAntwort{.koerper = R"({"gestoppt": false})"};
        ++gehoert;
        return HttpAntwort{.koerper = R"({"gestoppt": true})"};
    });
    // Uploads wait until the program has heard of the stop, so that it comes in the middle for sure. Between hearing and
    // understanding, a starved machine would send all the rest; those uploads wait too, for as long as that may take.
    dienst.antworte("/clients/5/local-receipts/upload", [&](HttpAnfrage const&) {
        bool const zuSpaet = gehoert > 0;
        (void)wartenBis([&] { return gehoert > 0; });
        if (zuSpaet)
            (void)wartenBis(
                [&] { return programm->anzahlZeilen("MacScan: vom Nutzer") > 0; }, std::chrono::seconds{5});
        return HttpAntwort{.koerper = "{}"};
    });
    oeffne();
    EXPECT_EQ(starteSuche()["gesamt"], anzahl);
    EXPECT_TRUE(wartenBis([&] { return uploads() > 0; }));
    EXPECT_EQ(dienst.rufe("return await window.quillmateApp.suchStand()")["laeuft"], true);
    EXPECT_EQ(
        dienst.rufe(
            "try { await window.quillmateApp.macScannen({client_id: 5, token: 't', server: '" +
            dienst.adresse() + "'}); return ''; } catch (fehler) { return fehler.message; }"),
        "Es läuft bereits ein Scan.");
    gestoppt = true;
    ASSERT_TRUE(warteAufEnde());
    EXPECT_TRUE(programm->warteAufZeile("MacScan: vom Nutzer gestoppt nach "));
    EXPECT_LT(uploads(), static_cast<std::size_t>(anzahl) / 2);
    EXPECT_TRUE(dienst.rufe("return window.quillmateApp.fassung") == 3);
}

TEST_F(Suchen, ThePageStaysUsableWhileAScanRuns) {
    belege(20);
    oeffne();
    (void)starteSuche();
    EXPECT_EQ(
        dienst.rufe(
            "let n = 0; for (let i = 0; i < 200; ++i) n += 'laeuft' in await window.quillmateApp.suchStand();"
            "return n;"),
        200);
    ASSERT_TRUE(warteAufEnde());
    EXPECT_EQ(uploads(), 20U);
}

TEST_F(Suchen, ClosingTheWindowWhileAScanRunsEndsTheProgramSoon) {
    belege(20);
    dienst.antworte("/clients/5/local-receipts/upload", HttpAntwort{.haengen = true});
    oeffne();
    (void)starteSuche();
    EXPECT_TRUE(wartenBis([&] { return uploads() > 0; }));
    beende();
}

TEST_F(Suchen, TheReceiptOfOneBookingIsFoundAndAttached) {
    belege(6);
    dienst.antworte("/transactions/9/attach-receipt", {.koerper = "{}"});
    oeffne();
    auto const antwort = dienst.rufe(
        "return await window.quillmateApp.gezieltSuchen({client_id: 5, token: 'geheim', server: '" +
        dienst.adresse() +
        "', transaction_id: 9, stichworte: ['Rechnung'], betrag_texte: ['12,13'], datum: ''})");
    EXPECT_FALSE(antwort.contains("fehler")) << antwort;
    auto const angehaengt = dienst.anfragenAn("/transactions/9/attach-receipt");
    ASSERT_EQ(angehaengt.size(), 1U) << antwort;
    EXPECT_NE(angehaengt[0].koerper.find("filename=\"beleg3.pdf\""), std::string::npos);
}

TEST_F(Suchen, IncompleteRequestsAreRefusedInGerman) {
    oeffne();
    auto const fehler = [&](std::string const& aufruf) {
        return dienst.rufe(
            "try { await window.quillmateApp." + aufruf +
            "; return ''; } catch (fehler) { return fehler.message; }");
    };
    EXPECT_EQ(
        fehler("macScannen({client_id: 0, token: 't', server: 'http://127.0.0.1:1'})"),
        "Unvollständige Scan-Anfrage.");
    EXPECT_EQ(
        fehler("macScannen({client_id: 5, token: 't', server: 'ftp://127.0.0.1'})"),
        "Unvollständige Scan-Anfrage.");
    EXPECT_EQ(
        fehler("gezieltSuchen({client_id: 5, token: 't', server: 'http://127.0.0.1:1', transaction_id: 0})"),
        "Unvollständige Suchanfrage.");
    EXPECT_EQ(fehler("bilderZaehlen({})"), "Kein Ordner angegeben.");
    EXPECT_EQ(
        fehler("bilderZaehlen({kennung: '0123456789abcdef'})"), "Der Ordner ist nicht mehr freigegeben.");
    EXPECT_EQ(fehler("portalOeffnen({kennung: 'x'})"), "Unvollständige Portalanfrage.");
}

TEST_F(Suchen, AScanGoesOnWhileTheWebProcessDiesAndItsStateIsThereAfterTheReload) {
    belege(3);
    std::atomic<bool> weiter{false};
    dienst.antworte("/clients/5/local-receipts/upload", [&](HttpAnfrage const&) {
        (void)wartenBis([&] { return weiter.load(); });
        return HttpAntwort{.koerper = "{}"};
    });
    oeffne();
    EXPECT_EQ(starteSuche()["gestartet"], true);
    ASSERT_TRUE(wartenBis([&] { return uploads() > 0; }));
    for (auto const nummer : programm->kinder("WebKitWebProcess"))
        ::kill(nummer, SIGKILL);
    ASSERT_TRUE(dienst.warteAufDokument(2));
    auto const stand = dienst.rufe("return await window.quillmateApp.suchStand()");
    EXPECT_EQ(stand["laeuft"], true) << stand;
    EXPECT_FALSE(stand["schritte"].empty());
    weiter = true;
    EXPECT_TRUE(warteAufEnde());
    EXPECT_EQ(uploads(), 3U);
}

} // namespace
} // namespace quillmate::fenster_echt
