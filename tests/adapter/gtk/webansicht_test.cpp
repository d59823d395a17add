// The adapter on WebKitGTK against real pages of a loopback server, in a real window on a display of the test's own.
#include "adapter/gtk/druck_gtk.h"
#include "adapter/gtk/fensterwerk_gtk.h"
#include "adapter/gtk/hauptschleife_gtk.h"
#include "echte_webansicht.h"
#include "fenster/seiten.h"
#include "werkzeug/voreinstellungen.h"

#include <adwaita.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace quillmate::adapter::gtk {
namespace {

/// The engine writes the members of an object in any order.
nlohmann::json alsJson(std::string const& text) {
    return nlohmann::json::parse(text);
}

TEST_F(EchteWebansicht, LoadsAPageAndTellsItsAddressAndTitle) {
    oeffnen();
    laden("/");
    EXPECT_EQ(mitschrift.zuletzt, dienst.adresse() + "/");
    EXPECT_EQ(wert("document.title"), "Start");
    EXPECT_EQ(wert("navigator.language"), "de-DE");
    EXPECT_TRUE(mitschrift.fehlschlaege.empty());
}

TEST_F(EchteWebansicht, FailedLoadIsReportedOnceAndNotAsLoaded) {
    oeffnen();
    web->laden(werkzeug::toteAdresse() + "/", std::chrono::seconds{60});
    ASSERT_TRUE(drehenBis([&] { return !mitschrift.fehlschlaege.empty(); }));
    EXPECT_FALSE(mitschrift.fehlschlaege.front().abgebrochen);
    EXPECT_FALSE(mitschrift.fehlschlaege.front().beschreibung.empty());
    EXPECT_EQ(mitschrift.fertig, 0);
    laden("/");
    EXPECT_EQ(mitschrift.fehlschlaege.size(), 1U);
}

TEST_F(EchteWebansicht, DocumentIsThereBeforeALoadThatIsAskedForAtOnce) {
    oeffnen();
    seiten["/stumm"] = {.haengen = true};
    web->ladenHtml("<!doctype html><title>Vorher</title>");
    web->laden(dienst.adresse() + "/stumm", std::chrono::seconds{60});
    EXPECT_EQ(web->adresse(), dienst.adresse() + "/stumm");
    ASSERT_TRUE(drehenBis([&] { return !dienst.anfragenAn("/stumm").empty(); }));
    EXPECT_EQ(mitschrift.fertig, 1);
    EXPECT_EQ(mitschrift.zuletzt, "-");
    EXPECT_EQ(wert("document.title"), "Vorher");
    EXPECT_TRUE(mitschrift.fehlschlaege.empty());
}

TEST_F(EchteWebansicht, SilentServerFailsAtTheDeadlineInGerman) {
    seiten["/stumm"] = {.haengen = true};
    oeffnen();
    web->laden(dienst.adresse() + "/stumm", std::chrono::seconds{1});
    ASSERT_TRUE(drehenBis([&] { return !mitschrift.fehlschlaege.empty(); }));
    // The engine may report the stopped load as cancelled, too; by the end of the next load it has.
    laden("/");
    int echte = 0;
    for (auto const& fehler : mitschrift.fehlschlaege)
        if (!fehler.abgebrochen) {
            ++echte;
            EXPECT_EQ(fehler.beschreibung, "Der Server hat nicht rechtzeitig geantwortet.");
        }
    EXPECT_EQ(echte, 1);
}

TEST_F(EchteWebansicht, EveryLoadFromASilentServerFailsAtTheDeadlineWithItsAddress) {
    seiten["/stumm"] = {.haengen = true};
    seiten["/wechselnd"] = html("<title>Erst</title>");
    seiten["/links"] =
        html("<a id=a href=/stumm>weiter</a><form id=f method=post action=/stumm><input name=x></form>");
    oeffnen({}, std::chrono::seconds{1});
    auto const gescheitert = [&](std::string const& pfad) {
        auto const erwartet = dienst.adresse() + pfad;
        EXPECT_TRUE(drehenBis([&] {
            return std::ranges::any_of(
                mitschrift.fehlschlaege, [](ports::Ladefehler const& fehler) { return !fehler.abgebrochen; });
        })) << pfad;
        for (auto const& fehler : mitschrift.fehlschlaege)
            if (!fehler.abgebrochen) {
                EXPECT_EQ(fehler.beschreibung, "Der Server hat nicht rechtzeitig geantwortet.");
                EXPECT_EQ(fehler.adresse, erwartet);
            }
        // As the window does it. When that is there, the stopped load has been reported, too.
        int const vorher = mitschrift.fertig;
        web->ladenErsatz("<!doctype html><title>Fehler</title>", erwartet);
        EXPECT_TRUE(drehenBis([&] { return mitschrift.fertig > vorher; }));
        mitschrift.fehlschlaege.clear();
    };
    web->laden(dienst.adresse() + "/stumm", std::chrono::seconds{1});
    gescheitert("/stumm");
    web->neuLaden();
    gescheitert("/stumm");
    laden("/links");
    web->skript("document.getElementById('a').click()");
    gescheitert("/stumm");
    laden("/links");
    web->skript("location.href = '/stumm?skript'");
    gescheitert("/stumm?skript");
    laden("/wechselnd");
    seiten["/wechselnd"] = {.haengen = true};
    web->neuLaden();
    gescheitert("/wechselnd");
    laden("/links");
    auto const vorher = std::chrono::steady_clock::now();
    web->skript("document.getElementById('f').submit()");
    gescheitert("/stumm");
    EXPECT_GE(std::chrono::steady_clock::now() - vorher, std::chrono::seconds{2})
        << "it may be sending for long";
}

TEST_F(EchteWebansicht, AfterItsFirstBytesNoDeadlineEndsAPage) {
    seiten["/lang"] = {
        .koerper = "<!doctype html><title>Lang</title><p id=p>" + std::string(100000, 'x'),
        .inhaltstyp = "text/html; charset=utf-8",
        .abschneiden = 60000,
        .haengen = true};
    seiten["/links"] = html("<a id=a href=/lang>weiter</a>");
    oeffnen({}, std::chrono::seconds{1});
    laden("/links");
    web->skript("document.getElementById('a').click()");
    ASSERT_TRUE(drehenBis([&] { return web->dokument().dokument == dienst.adresse() + "/lang"; }));
    EXPECT_EQ(wert("await new Promise(auf => setTimeout(() => auf(document.title), 2000))"), "Lang");
    EXPECT_TRUE(mitschrift.fehlschlaege.empty());
}

TEST_F(EchteWebansicht, ReplacementPageKeepsTheAddressSoThatReloadTriesItAgain) {
    oeffnen();
    laden("/");
    auto const ziel = dienst.adresse() + "/spaeter";
    int const vorher = mitschrift.fertig;
    web->ladenErsatz("<!doctype html><title>Ersatz</title>", ziel);
    ASSERT_TRUE(drehenBis([&] { return mitschrift.fertig > vorher; }));
    EXPECT_EQ(wert("document.title"), "Ersatz");
    EXPECT_EQ(web->adresse(), ziel);
    seiten["/spaeter"] = html("<title>Da</title>");
    int const zwischen = mitschrift.fertig;
    web->neuLaden();
    ASSERT_TRUE(drehenBis([&] { return mitschrift.fertig > zwischen; }));
    EXPECT_EQ(wert("document.title"), "Da");
}

TEST_F(EchteWebansicht, ClickedLinkIsALinkAndAScriptsNavigationIsNot) {
    seiten["/zwei"] = html("<title>Zwei</title>");
    seiten["/drei"] = html("<title>Drei</title>");
    seiten["/links"] = html("<a id=a href=/zwei>zwei</a>");
    oeffnen();
    laden("/links");
    mitschrift.navigationen.clear();
    web->skript("document.getElementById('a').click()");
    ASSERT_TRUE(drehenBis([&] { return mitschrift.zuletzt == dienst.adresse() + "/zwei"; }));
    ASSERT_EQ(mitschrift.navigationen.size(), 1U);
    EXPECT_EQ(mitschrift.navigationen[0].art, ports::Navigationsart::link);
    EXPECT_EQ(mitschrift.navigationen[0].adresse, dienst.adresse() + "/zwei");
    web->skript("location.href = '/drei'");
    ASSERT_TRUE(drehenBis([&] { return mitschrift.zuletzt == dienst.adresse() + "/drei"; }));
    EXPECT_EQ(mitschrift.navigationen[1].art, ports::Navigationsart::anderes);
}

TEST_F(EchteWebansicht, CancelledNavigationLoadsNothing) {
    seiten["/links"] = html("<a id=a href=/zwei>zwei</a>");
    oeffnen();
    laden("/links");
    mitschrift.navigationAntwort = [](ports::Navigation const&) {
        return ports::Entscheidung::abbrechen;
    };
    mitschrift.navigationen.clear();
    web->skript("document.getElementById('a').click()");
    ASSERT_TRUE(drehenBis([&] { return !mitschrift.navigationen.empty(); }));
    EXPECT_EQ(wert("location.pathname"), "/links");
    EXPECT_TRUE(dienst.anfragenAn("/zwei").empty());
}

TEST_F(EchteWebansicht, NewWindowsAskThePolicyFirstHoweverTheyAreOpened) {
    seiten["/zwei"] = html("<title>Zwei</title>");
    seiten["/links"] = html("<a id=a target=_blank href=/zwei>zwei</a>");
    oeffnen();
    laden("/links");
    mitschrift.navigationen.clear();
    web->skript("document.getElementById('a').click()");
    ASSERT_TRUE(drehenBis([&] { return mitschrift.zuletzt == dienst.adresse() + "/zwei"; }));
    ASSERT_EQ(mitschrift.fenster.size(), 1U);
    EXPECT_EQ(mitschrift.fenster[0].adresse, dienst.adresse() + "/zwei");
    EXPECT_EQ(mitschrift.navigationen.front().art, ports::Navigationsart::link);
    mitschrift.neben.reset();
    mitschrift.navigationen.clear();
    mitschrift.navigationAntwort = [](ports::Navigation const&) {
        return ports::Entscheidung::abbrechen;
    };
    EXPECT_EQ(wert("window.open('/zwei') === null"), "true");
    ASSERT_EQ(mitschrift.navigationen.size(), 1U);
    EXPECT_EQ(mitschrift.navigationen[0].art, ports::Navigationsart::anderes);
    EXPECT_EQ(mitschrift.fenster.size(), 1U);
}

TEST_F(EchteWebansicht, ResponseHeadCarriesTypeAndDisposition) {
    seiten["/anhang"] = {
        .koerper = "%PDF-1.4",
        .inhaltstyp = "application/pdf",
        .weitererKopf = "Content-Disposition: Attachment; filename=x.pdf\r\n"};
    oeffnen();
    laden("/");
    mitschrift.antwortAntwort = [](ports::Antwortkopf const&) {
        return ports::Entscheidung::abbrechen;
    };
    mitschrift.koepfe.clear();
    web->laden(dienst.adresse() + "/anhang", std::chrono::seconds{60});
    ASSERT_TRUE(drehenBis([&] { return !mitschrift.koepfe.empty(); }));
    EXPECT_EQ(mitschrift.koepfe[0].mimetyp, "application/pdf");
    EXPECT_EQ(mitschrift.koepfe[0].contentDisposition, "Attachment; filename=x.pdf");
    EXPECT_TRUE(mitschrift.koepfe[0].darstellbar);
    EXPECT_TRUE(mitschrift.koepfe[0].hauptrahmen);
    ASSERT_TRUE(drehenBis([&] { return !mitschrift.fehlschlaege.empty(); }));
    EXPECT_TRUE(mitschrift.fehlschlaege.front().abgebrochen);
}

class EchterDownload : public EchteWebansicht {
protected:
    void zielBestimmen() {
        mitschrift.zielordner = ordner.pfad();
        mitschrift.zielname = "ziel.bin";
    }
    /// Somebody saves a file under the claimed name before the first byte of the download has come.
    void jemandIstSchneller() {
        mitschrift.nachWahl = [this](std::string const& pfad) {
            // Runs before anything that the engine says next.
            auto* const tun = new std::function<void()>{[this, pfad] {
                std::filesystem::rename(ordner.datei("fremd", "fremd"), pfad);
            }};
            g_idle_add_full(
                G_PRIORITY_HIGH,
                [](gpointer daten) -> gboolean {
                    (*static_cast<std::function<void()>*>(daten))();
                    return G_SOURCE_REMOVE;
                },
                tun, [](gpointer daten) { delete static_cast<std::function<void()>*>(daten); });
        };
    }
    void holen(HttpAntwort antwort) {
        seiten["/datei"] = std::move(antwort);
        mitschrift.antwortAntwort = [](ports::Antwortkopf const& kopf) {
            return kopf.adresse && kopf.adresse->ends_with("/datei") ? ports::Entscheidung::herunterladen
                                                                     : ports::Entscheidung::zulassen;
        };
        zielBestimmen();
        oeffnen();
        laden("/");
        web->laden(dienst.adresse() + "/datei", std::chrono::seconds{60});
        ASSERT_TRUE(
            drehenBis([&] { return mitschrift.downloadFertig > 0 || !mitschrift.downloadFehler.empty(); }));
    }
    /// Everything in the destination's folder.
    std::vector<std::string> dateien() {
        std::vector<std::string> namen;
        for (auto const& eintrag : std::filesystem::directory_iterator{ordner.pfad()})
            if (eintrag.is_regular_file())
                namen.push_back(eintrag.path().filename());
        return namen;
    }
};

TEST_F(EchterDownload, CompleteFileHasItsNameAndItsBytes) {
    std::string const bytes(200000, 'x');
    holen(
        {.koerper = bytes,
         .inhaltstyp = "application/octet-stream",
         .weitererKopf = "Content-Disposition: attachment; filename=\"../../boese/rechnung.pdf\"\r\n"});
    EXPECT_EQ(mitschrift.downloadFertig, 1);
    EXPECT_EQ(mitschrift.vorschlaege, std::vector<std::string>{"rechnung.pdf"});
    EXPECT_EQ(werkzeug::inhaltVon(ordner.pfad("ziel.bin")), bytes);
    EXPECT_EQ(dateien(), std::vector<std::string>{"ziel.bin"});
    for (auto const& fehler : mitschrift.fehlschlaege)
        EXPECT_TRUE(fehler.abgebrochen);
}

TEST_F(EchterDownload, BodyCutShortIsAFailureThatLeavesNothing) {
    holen(
        {.koerper = std::string(200000, 'x'),
         .inhaltstyp = "application/octet-stream",
         .abschneiden = 50000});
    EXPECT_EQ(mitschrift.downloadFertig, 0);
    EXPECT_EQ(mitschrift.downloadFehler.size(), 1U);
    EXPECT_TRUE(dateien().empty());
}

TEST_F(EchterDownload, ErrorStatusIsAFailureThatLeavesNothing) {
    holen({.status = 500, .koerper = "nein", .inhaltstyp = "application/octet-stream"});
    EXPECT_EQ(mitschrift.downloadFertig, 0);
    EXPECT_EQ(mitschrift.downloadFehler.size(), 1U);
    EXPECT_TRUE(dateien().empty());
}

TEST_F(EchterDownload, ErrorStatusIsToldInGermanWithItsNumber) {
    holen({.status = 404, .koerper = "nein", .inhaltstyp = "application/octet-stream"});
    EXPECT_EQ(
        mitschrift.downloadFehler,
        std::vector<std::string>{"Die Datei gibt es auf dem Server nicht (HTTP 404)."});
}

TEST_F(EchterDownload, AFileThatCameUnderTheNameMeanwhileStaysAndTheDownloadGetsTheNextName) {
    jemandIstSchneller();
    holen({.koerper = "bytes", .inhaltstyp = "application/octet-stream"});
    EXPECT_EQ(mitschrift.downloadFertig, 1);
    EXPECT_EQ(werkzeug::inhaltVon(ordner.pfad("ziel.bin")), "fremd");
    EXPECT_EQ(werkzeug::inhaltVon(ordner.pfad("ziel 2.bin")), "bytes");
    EXPECT_EQ(mitschrift.vorschlaege.size(), 2U);
    EXPECT_EQ(mitschrift.vorschlaege.front(), mitschrift.vorschlaege.back());
    EXPECT_EQ(dateien().size(), 2U);
}

TEST_F(EchterDownload, AFileThatCameUnderTheNameMeanwhileOutlivesAFailure) {
    jemandIstSchneller();
    holen(
        {.koerper = std::string(200000, 'x'),
         .inhaltstyp = "application/octet-stream",
         .abschneiden = 50000});
    EXPECT_EQ(mitschrift.downloadFehler.size(), 1U);
    EXPECT_EQ(werkzeug::inhaltVon(ordner.pfad("ziel.bin")), "fremd");
    EXPECT_TRUE(drehenBis([&] { return dateien() == std::vector<std::string>{"ziel.bin"}; }));
}

TEST_F(EchterDownload, EndOfTheProgramLeavesNothingOfWhatIsUnderWay) {
    seiten["/datei"] = {
        .koerper = std::string(200000, 'x'),
        .inhaltstyp = "application/octet-stream",
        .abschneiden = 50000,
        .haengen = true};
    mitschrift.antwortAntwort = [](ports::Antwortkopf const& kopf) {
        return kopf.adresse && kopf.adresse->ends_with("/datei") ? ports::Entscheidung::herunterladen
                                                                 : ports::Entscheidung::zulassen;
    };
    zielBestimmen();
    std::optional<adapter::gtk::WebSitzungen> eigene;
    eigene.emplace(adapter::gtk::WebSitzungen::Ordner{
        .daten = ordner.pfad("daten2"), .zwischenspeicher = ordner.pfad("cache2")});
    web =
        std::make_unique<adapter::gtk::WebansichtGtk>(*eigene, ports::Webansicht::Einrichtung{}, mitschrift);
    web->laden(dienst.adresse() + "/datei", std::chrono::seconds{60});
    ASSERT_TRUE(drehenBis([&] {
        auto const namen = dateien();
        return std::ranges::any_of(
            namen, [](std::string const& name) { return name.contains(".quillmate-teil.wkdownload"); });
    })) << "bytes arrive";
    web.reset();
    EXPECT_TRUE(mitschrift.downloadFehler.empty());
    eigene.reset();
    EXPECT_EQ(mitschrift.downloadFehler, std::vector<std::string>{"Quillmate wurde beendet."});
    EXPECT_EQ(mitschrift.downloadFertig, 0);
    EXPECT_TRUE(drehenBis([&] { return dateien().empty(); })) << "the engine's process tidies up, too";
}

TEST_F(EchterDownload, BlobOfAPageIsADownload) {
    zielBestimmen();
    oeffnen();
    laden("/");
    web->skript("const a = document.createElement('a'); a.download = 'blob.txt';"
                "a.href = URL.createObjectURL(new Blob(['hallo'], {type: 'text/plain'})); a.click();");
    ASSERT_TRUE(
        drehenBis([&] { return mitschrift.downloadFertig > 0 || !mitschrift.downloadFehler.empty(); }));
    EXPECT_EQ(mitschrift.vorschlaege, std::vector<std::string>{"blob.txt"});
    EXPECT_EQ(werkzeug::inhaltVon(ordner.pfad("ziel.bin")), "hallo");
}

TEST_F(EchteWebansicht, PrintingOnAPrinterThatDoesNotExistIsToldInGermanAndEnds) {
    oeffnen();
    laden("/");
    auto const einstellungen = adapter::gtk::Objekt<GtkPrintSettings>::uebernommen(gtk_print_settings_new());
    gtk_print_settings_set_printer(einstellungen.get(), "Den Drucker gibt es nicht");
    std::vector<std::string> geschehen;
    adapter::gtk::druckenOhneDialog(
        WEBKIT_WEB_VIEW(web->widget()), einstellungen.get(), [&] { geschehen.emplace_back("beendet"); },
        [&](std::string const& beschreibung) { geschehen.push_back(beschreibung); });
    ASSERT_TRUE(drehenBis([&] { return geschehen.size() == 2; }));
    EXPECT_EQ(geschehen, (std::vector<std::string>{"Der Drucker wurde nicht gefunden.", "beendet"}));
}

TEST_F(EchteWebansicht, TheEndOfTheProgramClosesAPrintDialog) {
    oeffnen();
    laden("/");
    int gefragt = 0;
    auto const ende = g_timeout_add(
        10,
        [](gpointer daten) -> gboolean {
            ++*static_cast<int*>(daten);
            adapter::gtk::druckdialogeSchliessen();
            return G_SOURCE_CONTINUE;
        },
        &gefragt);
    adapter::gtk::druckenMitDialog(
        WEBKIT_WEB_VIEW(web->widget()), GTK_WINDOW(fenster),
        [](std::string const& beschreibung) { ADD_FAILURE() << beschreibung; });
    g_source_remove(ende);
    EXPECT_GT(gefragt, 0);
}

/// Clicks on links that lead nowhere: what counts is what the view says of them.
class Linkklick : public EchteWebansicht {
protected:
    void SetUp() override {
        oeffnen();
        laden("/");
        mitschrift.navigationAntwort = [](ports::Navigation const&) {
            return ports::Entscheidung::abbrechen;
        };
    }
    /// Whether the click that `skript` does with the link `a` is a download's.
    std::optional<bool> klick(std::string const& skript) {
        mitschrift.navigationen.clear();
        web->skript("const a = document.createElement('a'); a.href = '/export';" + skript);
        if (!drehenBis([&] { return !mitschrift.navigationen.empty(); }))
            return std::nullopt;
        EXPECT_EQ(mitschrift.navigationen[0].art, ports::Navigationsart::link);
        return mitschrift.navigationen[0].alsDownload;
    }

    static constexpr std::string_view ereignis = "new MouseEvent('click', {bubbles: true, cancelable: true})";
};

TEST_F(Linkklick, IsADownloadExactlyWhenTheLinkHasTheAttribute) {
    for (int mal = 0; mal < 20; ++mal) {
        EXPECT_EQ(klick("a.download = 'x.csv'; a.click()"), true) << mal;
        EXPECT_EQ(klick("a.click()"), false) << mal;
        EXPECT_EQ(klick("a.download = ''; a.dispatchEvent(" + std::string{ereignis} + ")"), true) << mal;
        EXPECT_EQ(klick("a.dispatchEvent(" + std::string{ereignis} + ")"), false) << mal;
        EXPECT_EQ(klick("a.download = 'x.csv'; document.body.append(a); a.click()"), true) << mal;
        EXPECT_EQ(klick("document.body.append(a); a.click()"), false) << mal;
    }
    EXPECT_EQ(
        wert("document.createElement('a').click.name + document.createElement('div').click.name"),
        "clickclick");
}

TEST_F(Linkklick, OnAChildOfTheLinkIsOneOnTheLink) {
    for (std::string const kind :
         {"document.createElement('img')", "document.createElement('span')",
          "document.createElementNS('http://www.w3.org/2000/svg', 'svg')"}) {
        SCOPED_TRACE(kind);
        auto const anlegen = "const k = " + kind +
                             "; const h = document.createElement('b'); h.append(k);"
                             "a.append(h);";
        std::vector<std::string> klicks{"k.dispatchEvent(" + std::string{ereignis} + ");"};
        if (!kind.ends_with("'svg')")) // A drawing has no such function.
            klicks.emplace_back("k.click();");
        for (auto const& klicken : klicks)
            for (std::string const wo :
                 {"document.body.append(a);", "document.body.append(a); a.onclick = () => a.remove();"}) {
                SCOPED_TRACE(wo + klicken);
                EXPECT_EQ(klick(anlegen + "a.download = 'x.csv';" + wo + klicken), true);
                EXPECT_EQ(klick(anlegen + wo + klicken), false);
            }
    }
}

TEST_F(Linkklick, IsTheOnlyThingThatThePageFindsChanged) {
    for (std::string const funktion : {"HTMLElement.prototype.click", "EventTarget.prototype.dispatchEvent"})
        EXPECT_EQ(wert(funktion + ".toString().includes('[native code]')"), "true") << funktion;
}

TEST_F(Linkklick, ThatIsPreventedMakesNoOtherLinkADownload) {
    // A link in a drawing is one that nothing tells of.
    std::string const zeichnung =
        "const s = document.createElementNS('http://www.w3.org/2000/svg', 'svg');"
        "const l = document.createElementNS('http://www.w3.org/2000/svg', 'a');"
        "l.setAttribute('href', '/anders'); s.append(l); document.body.append(s);"
        "setTimeout(() => l.dispatchEvent(new MouseEvent('click', {bubbles: true, cancelable: true})), "
        "20);";
    for (auto const* const einhaengen : {"", "document.body.append(a);"}) {
        mitschrift.navigationen.clear();
        web->skript(
            std::string{"const a = document.createElement('a'); a.href = '/export'; a.download = 'x.csv';"} +
            einhaengen + "a.addEventListener('click', e => e.preventDefault()); a.click();" + zeichnung);
        ASSERT_TRUE(drehenBis([&] { return !mitschrift.navigationen.empty(); })) << einhaengen;
        ASSERT_EQ(mitschrift.navigationen.size(), 1U);
        EXPECT_EQ(mitschrift.navigationen[0].adresse, dienst.adresse() + "/anders");
        EXPECT_FALSE(mitschrift.navigationen[0].alsDownload) << einhaengen;
    }
}

TEST_F(EchteWebansicht, ScriptDialogsAnswerThePage) {
    oeffnen();
    laden("/");
    mitschrift.ja = true;
    EXPECT_EQ(wert("confirm('Sicher?')"), "true");
    mitschrift.ja = false;
    EXPECT_EQ(wert("confirm('Sicher?')"), "false");
    EXPECT_EQ(wert("prompt('Wie?', 'so')"), "null");
    mitschrift.eingegeben = "";
    EXPECT_EQ(wert("JSON.stringify(prompt('Wie?', 'so'))"), "\"\"");
    mitschrift.eingegeben = "anders";
    EXPECT_EQ(wert("prompt('Wie?', 'so')"), "anders");
    EXPECT_EQ(wert("alert('Nur so')"), "undefined");
    EXPECT_EQ(
        mitschrift.hinweise,
        (std::vector<std::string>{"Sicher?", "Sicher?", "Wie?|so", "Wie?|so", "Wie?|so", "Nur so"}));
}

TEST_F(EchteWebansicht, MessageOfTheMainFrameCarriesItsDocument) {
    oeffnen();
    laden("/");
    web->skript("window.webkit.messageHandlers.quillmate.postMessage({aktion: 'suchStand', id: 1})");
    ASSERT_TRUE(drehenBis([&] { return !nachrichten.empty(); }));
    EXPECT_EQ(alsJson(nachrichten[0].first), alsJson(R"({"aktion":"suchStand","id":1})"));
    EXPECT_EQ(nachrichten[0].second.ursprung, dienst.adresse());
    EXPECT_EQ(nachrichten[0].second.dokument, dienst.adresse() + "/");
}

TEST_F(EchteWebansicht, EveryDocumentHasANumberOfItsOwnAndStepsWithinItDoNotChangeIt) {
    seiten["/zwei"] = html("<title>Zwei</title>");
    oeffnen();
    EXPECT_EQ(web->dokument().nummer, 0U);
    laden("/");
    auto const erste = web->dokument();
    EXPECT_EQ(erste.ursprung, dienst.adresse());
    EXPECT_EQ(erste.dokument, dienst.adresse() + "/");
    EXPECT_EQ(
        wert("(history.pushState(null, '', '/schritt'), location.hash = 'stelle', location.pathname)"),
        "/schritt");
    EXPECT_EQ(
        wert("(history.back(), new Promise(auf => addEventListener('popstate', auf)).then(() => 1), 1)"),
        "1");
    web->skript("document.body.append(document.createElement('iframe'));"
                "window.webkit.messageHandlers.quillmate.postMessage({aktion: 'x', id: 1})");
    ASSERT_TRUE(drehenBis([&] { return !nachrichten.empty(); }));
    EXPECT_EQ(nachrichten[0].second.nummer, erste.nummer);
    EXPECT_EQ(nachrichten[0].second.ursprung, dienst.adresse());
    EXPECT_EQ(web->dokument().nummer, erste.nummer);
    laden("/zwei");
    auto const zweite = web->dokument().nummer;
    EXPECT_NE(zweite, erste.nummer);
    int const vorher = mitschrift.fertig;
    web->neuLaden();
    ASSERT_TRUE(drehenBis([&] { return mitschrift.fertig > vorher; }));
    auto const neu = web->dokument().nummer;
    EXPECT_GT(neu, zweite);
    webkit_web_view_terminate_web_process(WEBKIT_WEB_VIEW(web->widget()));
    ASSERT_TRUE(drehenBis([&] { return !mitschrift.tode.empty(); }));
    EXPECT_GT(web->dokument().nummer, neu);
    EXPECT_EQ(web->dokument().dokument, "");
}

TEST_F(EchteWebansicht, GoingBackLoadsThePageAnewSoThatNoneWaitsForRepliesOfBefore) {
    seiten["/zwei"] = html("<title>Zwei</title>");
    oeffnen();
    laden("/");
    auto const erste = web->dokument().nummer;
    EXPECT_EQ(wert("window.wartet = true"), "true");
    laden("/zwei");
    int const vorher = mitschrift.fertig;
    web->zurueck();
    ASSERT_TRUE(drehenBis([&] { return mitschrift.fertig > vorher; }));
    EXPECT_EQ(wert("document.title + window.wartet"), "Startundefined");
    EXPECT_GT(web->dokument().nummer, erste);
}

TEST_F(EchteWebansicht, AScriptRunsInThePageInItsReplacementAndInOwnDocuments) {
    oeffnen();
    laden("/");
    web->skript("window.da = 1 // no line end");
    EXPECT_EQ(wert("window.da"), "1");
    for (bool const ersatz : {true, false}) {
        int const vorher = mitschrift.fertig;
        if (ersatz)
            web->ladenErsatz("<!doctype html><title>Ersatz</title>", dienst.adresse() + "/");
        else
            web->ladenHtml("<!doctype html><title>Eigenes</title>");
        ASSERT_TRUE(drehenBis([&] { return mitschrift.fertig > vorher; }));
        web->skript("window.da = 2");
        EXPECT_EQ(wert("window.da"), "2") << ersatz;
    }
}

TEST_F(EchteWebansicht, TheNoticeShowsQuotesBackslashesAndLineBreaksLiterally) {
    oeffnen();
    laden("/");
    web->skript(fenster::meldeskript("a\"b\\c\nd „ü“ </div>", false));
    EXPECT_EQ(wert("document.getElementById('qm-melde').textContent"), "a\"b\\c d „ü“ </div>");
    EXPECT_EQ(wert("document.getElementById('qm-melde').children.length"), "0");
}

TEST_F(EchteWebansicht, ALaterNoticeTakesThePlaceOfTheEarlierOne) {
    oeffnen();
    laden("/");
    web->skript(fenster::meldeskript("erste", false));
    web->skript(fenster::meldeskript("zweite", true));
    EXPECT_EQ(wert("document.querySelectorAll('#qm-melde').length"), "1");
    EXPECT_EQ(wert("document.getElementById('qm-melde').textContent"), "zweiteIm Finder zeigen");
    web->skript("document.querySelector('#qm-melde button').click()");
    ASSERT_TRUE(drehenBis([&] { return !nachrichten.empty(); }));
    for (auto const* const teil : {R"("aktion":"zeigeDatei")", R"("id":0)"}) // in any order
        EXPECT_NE(nachrichten[0].first.find(teil), std::string::npos) << nachrichten[0].first;
    EXPECT_EQ(nachrichten[0].second.ursprung, dienst.adresse());
}

TEST_F(EchteWebansicht, NoFrameHasAMessageHandler) {
    constexpr char const* suche =
        "<script>parent.postMessage(typeof webkit + typeof quillmateApp, '*')</script>";
    HttpAttrappe fremd{[](HttpAnfrage const&) {
        return html(suche);
    }};
    seiten["/eigener"] = html(suche);
    seiten["/rahmen"] = html(
        "<script>window.gefunden = []; addEventListener('message', e => gefunden.push(e.data))</script>"
        "<iframe src='" +
        fremd.adresse() + "/'></iframe><iframe src='/eigener'></iframe><iframe srcdoc=\"" + suche +
        "\"></iframe><iframe id=leer></iframe>"
        "<script>gefunden.push(typeof document.getElementById('leer').contentWindow.webkit)</script>");
    oeffnen();
    laden("/rahmen");
    ASSERT_TRUE(drehenBis([&] { return wert("gefunden.length") == "4"; }));
    EXPECT_EQ(wert("[...new Set(gefunden)].sort()"), "undefined,undefinedundefined");
    EXPECT_EQ(wert("typeof webkit.messageHandlers.quillmate.postMessage"), "function");
}

TEST_F(EchteWebansicht, MessagesAndDeliveriesOutliveADocumentThatIsWrittenAnew) {
    oeffnen();
    laden("/");
    EXPECT_EQ(
        wert("(document.open(), document.write('<p>neu'), document.close(), document.body.textContent)"),
        "neu");
    web->skript("webkit.messageHandlers.quillmate.postMessage({aktion: 'x', id: 1})");
    ASSERT_TRUE(drehenBis([&] { return !nachrichten.empty(); }));
    EXPECT_EQ(nachrichten[0].second.ursprung, dienst.adresse());
    EXPECT_EQ(wert("(window.da = wert => { window.erhalten = wert; }, 1)"), "1");
    web->zustellen(web->dokument().nummer, "da", "[5]");
    EXPECT_TRUE(drehenBis([&] { return wert("window.erhalten") == "5"; }));
}

TEST_F(EchteWebansicht, NothingIsDeliveredToAnotherDocumentThanTheOneThatIsMeant) {
    oeffnen();
    laden("/");
    auto const nummer = web->dokument().nummer;
    EXPECT_EQ(wert("(window.zahl = 0, window.da = () => ++zahl, 1)"), "1");
    web->zustellen(nummer + 1, "da", "[]");
    web->zustellen(nummer - 1, "da", "[]");
    web->zustellen(nummer, "gibtEsNicht", "[]");
    web->zustellen(nummer, "da", "[]");
    EXPECT_TRUE(drehenBis([&] { return wert("zahl") == "1"; }));
}

TEST_F(EchteWebansicht, PageThatBeginsANavigationIsStillJudgedByItself) {
    seiten["/langsam"] = {.haengen = true};
    seiten["/start"] = html("<script>location.href = '/langsam';"
                            "setTimeout(() => window.webkit.messageHandlers.quillmate.postMessage({aktion: "
                            "'x', id: 1}), 50)</script>");
    oeffnen();
    web->laden(dienst.adresse() + "/start", std::chrono::seconds{60});
    ASSERT_TRUE(drehenBis([&] { return !nachrichten.empty(); }));
    EXPECT_EQ(nachrichten[0].second.dokument, dienst.adresse() + "/start");
}

TEST_F(EchteWebansicht, OddMessagesArriveAsJsonOrThrowInThePage) {
    oeffnen();
    laden("/");
    web->skript("const h = window.webkit.messageHandlers.quillmate;"
                "h.postMessage('text'); h.postMessage(undefined); h.postMessage({id: NaN, aktion: 2 ** 63});"
                "h.postMessage({halb: '😀'.slice(0, 1)});"
                "const kreis = {}; kreis.kreis = kreis; window.geworfen = 0;"
                "for (const was of [kreis, {a: 1n}, 'x'.repeat(17 * 1024 * 1024)])"
                "  try { h.postMessage(was); } catch { ++geworfen; }"
                "h.postMessage({aktion: 'ende'});");
    ASSERT_TRUE(drehenBis(
        [&] { return !nachrichten.empty() && nachrichten.back().first.find("ende") != std::string::npos; }));
    ASSERT_EQ(nachrichten.size(), 5U);
    EXPECT_EQ(nachrichten[0].first, "\"text\"");
    EXPECT_EQ(nachrichten[1].first, "null");
    EXPECT_EQ(alsJson(nachrichten[2].first), alsJson(R"({"aktion":9223372036854776000,"id":null})"));
    EXPECT_EQ(nachrichten[3].first, R"({"halb":"\ud83d"})");
    EXPECT_EQ(wert("geworfen"), "3");
}

TEST_F(EchteWebansicht, DeadWebProcessIsToldAndTheViewLoadsAgain) {
    oeffnen();
    laden("/");
    webkit_web_view_terminate_web_process(WEBKIT_WEB_VIEW(web->widget()));
    ASSERT_TRUE(drehenBis([&] { return !mitschrift.tode.empty(); }));
    laden("/");
    EXPECT_EQ(wert("document.title"), "Start");
}

TEST_F(EchteWebansicht, CallThatFailsSaysWhy) {
    oeffnen();
    laden("/");
    std::vector<std::string> gruende;
    for (auto const* const rumpf : {"throw new Error('kaputt')", "return 5"})
        web->rufen(rumpf, {}, [&](std::optional<std::string> const& text, std::string const& fehler) {
            EXPECT_FALSE(text);
            gruende.push_back(fehler);
        });
    ASSERT_TRUE(drehenBis([&] { return gruende.size() == 2; }));
    EXPECT_TRUE(gruende[0].contains("kaputt")) << gruende[0];
    EXPECT_EQ(gruende[1], "Die Seite hat nicht geantwortet.");
}

TEST_F(EchteWebansicht, AnswerToACallOfAViewThatIsGoneIsNothing) {
    oeffnen();
    laden("/");
    bool gerufen = false;
    web->rufen(
        "await new Promise(() => {})", {}, [&](std::optional<std::string> const& text, std::string const&) {
            gerufen = true;
            EXPECT_FALSE(text);
        });
    webkit_web_view_terminate_web_process(WEBKIT_WEB_VIEW(web->widget()));
    EXPECT_TRUE(drehenBis([&] { return gerufen; }));
}

TEST_F(EchteWebansicht, CookiesOutliveTheSessionInAFolderOfTheUserAlone) {
    seiten["/keks"] = {
        .koerper = "<!doctype html>",
        .inhaltstyp = "text/html",
        .weitererKopf = "Set-Cookie: wer=ich; Max-Age=86400; Path=/\r\n"};
    oeffnen();
    laden("/keks");
    auto const daten = std::filesystem::path{weblager().ordner.pfad("daten")} / "web";
    EXPECT_EQ(
        std::filesystem::status(daten).permissions() & std::filesystem::perms::all,
        std::filesystem::perms::owner_all);
    EXPECT_TRUE(drehenBis([&] {
        return werkzeug::inhaltVon((daten / "cookies.sqlite").string()).find("wer") != std::string::npos;
    }));
}

} // namespace
} // namespace quillmate::adapter::gtk
