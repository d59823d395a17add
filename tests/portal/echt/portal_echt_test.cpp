// The portal's window on the real engine: where it can be led to, what becomes a download, and what the capture makes of
// whatever a portal answers. The portal is the test's own, over https, with a certificate that only this test trusts; pages
// act by their own scripts.
#include "adapter/gtk/anwendung_gtk.h"
#include "adapter/gtk/fensterwerk_gtk.h"
#include "adapter/gtk/hauptschleife_gtk.h"
#include "adapter/gtk/portalleiste_gtk.h"
#include "adapter/gtk/web_sitzung.h"
#include "demo/portalzertifikat.h"
#include "demo/textpdf.h"
#include "portal/portalfenster.h"
#include "werkzeug/anzeige.h"
#include "werkzeug/dialoge.h"
#include "werkzeug/drehen.h"
#include "werkzeug/http_attrappe.h"
#include "werkzeug/https_attrappe.h"
#include "werkzeug/ordner_auf_zeit.h"
#include "werkzeug/voreinstellungen.h"

#include <adwaita.h>
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace quillmate {
namespace {

using werkzeug::drehenBis;
using werkzeug::HttpAnfrage;
using werkzeug::HttpAntwort;
using werkzeug::HttpAttrappe;

/// What the program has once as well: the portals' session, which trusts this certificate.
struct Sitzung {
    Sitzung() {
        if (!zertifikat || !schreibeAtomar(ordner.pfad("portal.pem"), zertifikat->pem(), Dauerhaft::nein))
            throw std::runtime_error{"Kein Zertifikat"};
        sitzungen.emplace(
            adapter::gtk::WebSitzungen::Ordner{
                .daten = ordner.pfad("daten"), .zwischenspeicher = ordner.pfad("cache")},
            ordner.pfad("portal.pem"));
    }
    werkzeug::OrdnerAufZeit ordner;
    std::optional<demo::Portalzertifikat> const zertifikat{demo::Portalzertifikat::erzeugen()};
    std::string const ausweis{
        zertifikat ? werkzeug::ausweisAus(zertifikat->zertifikat(), zertifikat->schluessel()) : ""};
    std::optional<adapter::gtk::WebSitzungen> sitzungen;
};

class EchtesPortal : public testing::Test {
public:
    static void SetUpTestSuite() {
        (void)anwendung();
        sitzung_ = new Sitzung;
    }
    static void TearDownTestSuite() { delete std::exchange(sitzung_, nullptr); }
    static adapter::gtk::AnwendungGtk& anwendung() {
        static werkzeug::Anzeige const anzeige;
        static auto& eine = *[] {
            adw_init();
            auto* const neu = new adapter::gtk::AnwendungGtk{"de.tandemwerk.quillmate.portaltest", {}, {}};
            EXPECT_TRUE(g_application_register(G_APPLICATION(neu->gtk()), nullptr, nullptr));
            neu->menuebalken({}); // The first window has one.
            return neu;
        }();
        return eine;
    }

protected:
    EchtesPortal() {
        portal.seite("/ziel", {.koerper = "<!doctype html><title>Ziel</title>Ziel"});
        portal.seite("/rechnung.pdf", {.koerper = pdf, .typ = "application/pdf"});
    }
    ~EchtesPortal() override {
        fenster.reset();
        (void)drehenBis([] { return g_main_context_pending(nullptr) == FALSE; });
    }
    void oeffne(std::string const& pfad) {
        fenster = std::make_unique<portal::PortalFenster>(
            portal::PortalFenster::Umgebung{
                .werk = werk,
                .leisten = leisten,
                .dialoge = dialoge,
                .schleife = schleife,
                .ablage = ablage,
                .versand = versand},
            portal::PortalFenster::Auftrag{
                .ziel =
                    {.kennung = "probe",
                     .name = "Probe",
                     .adresse = Adresse::lesen(portal.adresse(pfad)).value()},
                .clientId = 7,
                .token = "t",
                .basis = Adresse::lesen(dienst.adresse() + "/").value(),
                .transaction = {},
                .ereignis = [this](Json const& ereignis) {
                    ereignisse.push_back(
                        ereignis.at("status").get<std::string>() + ": " +
                        ereignis.at("nachricht").get<std::string>());
                }});
        fenster->zeigen();
    }
    /// The page at "/" with this body opens, and the portal sees this request in the end.
    [[nodiscard]] bool fuehrtZu(std::string const& rumpf, std::string const& anfrage) {
        portal.seite("/", {.koerper = "<!doctype html><title>Start</title>" + rumpf});
        oeffne("/");
        return drehenBis([&] { return portal.anzahl(anfrage) > 0; });
    }
    /// As fuehrtZu(), for something that does not happen: the page tells afterwards that it has tried.
    [[nodiscard]] bool versucht(std::string const& rumpf, std::string const& skript) {
        portal.seite("/versucht", {.koerper = "x", .typ = "text/plain"});
        return fuehrtZu(
            rumpf + "<script>onload = () => { " + skript +
                "; setTimeout(() => fetch('/versucht'), 500); };</script>",
            "GET /versucht");
    }
    /// The last report, once there are so many.
    [[nodiscard]] std::string bericht(std::size_t anzahl) {
        EXPECT_TRUE(drehenBis([&] { return ereignisse.size() >= anzahl; }));
        return ereignisse.size() >= anzahl ? ereignisse[anzahl - 1] : "(nichts)";
    }
    /// What pressing the button on the page at `pfad` ends with. `bereit` is the request after which the page is there.
    [[nodiscard]] std::string erfasse(std::string const& pfad) {
        oeffne(pfad);
        EXPECT_TRUE(drehenBis([&] { return portal.anzahl("GET " + pfad) > 0; }));
        // The page may still be loading; as a person would, one tries until the engine lets scripts in.
        std::string letzter;
        for (int i = 0; i < 20; ++i) {
            auto const bisher = ereignisse.size();
            auto const gefragt = portal.anzahl("GET " + pfad);
            fenster->aktuellePDFUebernehmen();
            letzter = bericht(bisher + 2);
            // "Load failed": the page came to its end in between, which ends its earlier document's requests.
            if (portal.anzahl("GET " + pfad) > gefragt && letzter != "fehler: Load failed")
                return letzter;
        }
        return letzter;
    }
    [[nodiscard]] bool nichtsLiegtHerum() {
        return drehenBis([&] {
            std::error_code fehler;
            return std::filesystem::is_empty(ordner.pfad("tmp"), fehler) || fehler;
        });
    }

    static inline Sitzung* sitzung_{nullptr};
    adapter::gtk::AnwendungGtk& anwendung_ = anwendung();
    std::string const pdf{demo::textPdf({"Rechnung 1"})};
    werkzeug::OrdnerAufZeit ordner;
    werkzeug::HttpsAttrappe portal{sitzung_->ausweis};
    HttpAttrappe klartext{[](HttpAnfrage const&) {
        return HttpAntwort{.koerper = "nein", .inhaltstyp = "text/html"};
    }};
    HttpAttrappe dienst{[](HttpAnfrage const&) {
        return HttpAntwort{.koerper = "{}"};
    }};
    werkzeug::SpeicherVoreinstellungen voreinstellungen;
    adapter::gtk::FensterwerkGtk werk{anwendung_.gtk(), *sitzung_->sitzungen, voreinstellungen};
    adapter::gtk::PortalleistenwerkGtk leisten;
    werkzeug::DialogeAttrappe dialoge;
    adapter::gtk::HauptschleifeGtk schleife{[] {
    }};
    portal::Portalablage ablage{ordner.pfad("tmp")};
    portal::Belegversand versand{ablage};
    std::vector<std::string> ereignisse;
    std::unique_ptr<portal::PortalFenster> fenster;
};

constexpr char const* importiert =
    "importiert: Beleg importiert und automatisch zugeordnet, wenn eine Buchung passt.";

// ------------------------------------------------------------------------------------------ where it leads

TEST_F(EchtesPortal, ALinkToHttpDoesNothing) {
    EXPECT_TRUE(versucht(
        "<a id=a href='" + klartext.adresse() + "/boese'>x</a>",
        "document.getElementById('a').click(); location.href = '" + klartext.adresse() + "/boese2'"));
    EXPECT_TRUE(klartext.anfragen().empty());
}

TEST_F(EchtesPortal, AFrameWithHttpStaysEmpty) {
    EXPECT_TRUE(versucht("<iframe src='" + klartext.adresse() + "/boese'></iframe>", ""));
    EXPECT_TRUE(klartext.anfragen().empty());
}

TEST_F(EchtesPortal, ARedirectToHttpIsNotFollowed) {
    for (auto const* const pfad : {"/um", "/rahmen"})
        portal.seite(
            pfad, {.koerper = "x", .status = 302, .koepfe = {{"Location", klartext.adresse() + "/boese"}}});
    EXPECT_TRUE(
        versucht("<iframe src='/rahmen'></iframe>", "setTimeout(() => { location.href = '/um'; }, 1000)"));
    EXPECT_TRUE(drehenBis([&] { return portal.anzahl("GET /um") > 0 && portal.anzahl("GET /rahmen") > 0; }));
    // Whatever would follow has followed once the next page is there.
    portal.seite("/danach", {.koerper = "<!doctype html><script>fetch('/gelesen')</script>"});
    fenster.reset();
    oeffne("/danach");
    EXPECT_TRUE(drehenBis([&] { return portal.anzahl("GET /gelesen") > 0; }));
    EXPECT_TRUE(klartext.anfragen().empty());
}

TEST_F(EchtesPortal, ALinkIntoANewWindowThatNobodyClickedDoesNothing) {
    // The script that the button runs counts as a gesture for the engine; here it is none.
    auto const seite = [](std::string const& ziel, std::string const& da) {
        return "<a id=a target=_blank href='" + ziel +
               "'>x</a><script>const eigenes = fetch; fetch = (...was) => { "
               "document.getElementById('a').click(); return eigenes(...was); }; eigenes('" +
               da + "')</script>";
    };
    ASSERT_TRUE(fuehrtZu(seite(klartext.adresse() + "/boese", "/da"), "GET /da"));
    fenster->aktuellePDFUebernehmen();
    EXPECT_TRUE(bericht(2).contains("ist keine PDF"));
    EXPECT_TRUE(klartext.anfragen().empty());

    ASSERT_TRUE(fuehrtZu(seite("/ziel", "/wieder"), "GET /wieder"));
    fenster->aktuellePDFUebernehmen();
    EXPECT_TRUE(bericht(4).contains("ist keine PDF"));
    EXPECT_EQ(portal.anzahl("GET /ziel"), 0U);
}

// ------------------------------------------------------------------------------------------ downloads

TEST_F(EchtesPortal, AFileWithinAnAddressIsADownload) {
    ASSERT_TRUE(fuehrtZu(
        "<a id=a download='aus-der-adresse.pdf' href='data:application/pdf;base64,JVBERi0xLjQKJSVFT0YK'>x</a>"
        "<script>onload = () => { document.getElementById('a').click(); fetch('/da') }</script>",
        "GET /da"));
    EXPECT_EQ(bericht(2), importiert);
    ASSERT_EQ(dienst.anfragen().size(), 1U);
    EXPECT_TRUE(dienst.anfragen()[0].koerper.contains("filename=\"aus-der-adresse.pdf\"\r\n"));
    EXPECT_TRUE(dienst.anfragen()[0].koerper.contains("\r\n\r\n%PDF-1.4\n%%EOF\n\r\n--"));
    EXPECT_TRUE(nichtsLiegtHerum());
}

TEST_F(EchtesPortal, AnAnswerToAFormThatIsAnAttachmentIsADownload) {
    portal.seite(
        "POST /holen", {.koerper = pdf,
                        .typ = "application/pdf",
                        .koepfe = {{"Content-Disposition", "attachment; filename=\"nach-formular.pdf\""}}});
    ASSERT_TRUE(fuehrtZu(
        "<form id=f method=post action='/holen'></form><script>onload = () => "
        "document.getElementById('f').submit()</script>",
        "POST /holen"));
    EXPECT_EQ(bericht(2), importiert);
    EXPECT_TRUE(dienst.anfragen()[0].koerper.contains(pdf));
    EXPECT_TRUE(nichtsLiegtHerum());
}

TEST_F(EchtesPortal, ADownloadOfAWrongKindIsRefusedAndItsFolderRemoved) {
    portal.seite(
        "/scan", {.koerper = "II*",
                  .typ = "image/tiff",
                  .koepfe = {{"Content-Disposition", "attachment; filename=\"a/b/scan.tiff\""}}});
    oeffne("/scan");
    EXPECT_EQ(bericht(1), "fehler: Nur PDF- und Bildbelege werden automatisch übernommen.");
    EXPECT_TRUE(dienst.anfragen().empty());
    EXPECT_TRUE(nichtsLiegtHerum());
}

// ------------------------------------------------------------------------------------------ capture

TEST_F(EchtesPortal, TheShownPdfIsTakenUnderTheDecodedNameOfItsAddress) {
    portal.seite("/Rechnung März 7", {.koerper = pdf, .typ = "application/pdf"});
    portal.seite(
        "/weiter", {.koerper = "", .status = 302, .koepfe = {{"Location", "/Rechnung%20M%C3%A4rz%207"}}});
    oeffne("/weiter");
    ASSERT_TRUE(drehenBis([&] { return portal.anzahl("GET /Rechnung März 7") > 0; }));
    std::string letzter;
    for (int i = 0; i < 20 && letzter != importiert; ++i) {
        auto const bisher = ereignisse.size();
        fenster->aktuellePDFUebernehmen();
        ASSERT_TRUE(drehenBis([&] {
            return ereignisse.size() > bisher + 1 && !ereignisse.back().starts_with("wird_importiert");
        }));
        letzter = ereignisse.back();
    }
    EXPECT_EQ(letzter, importiert);
    ASSERT_EQ(dienst.anfragen().size(), 1U);
    EXPECT_TRUE(dienst.anfragen()[0].koerper.contains("filename=\"Rechnung März 7.pdf\"\r\n"));
    EXPECT_TRUE(dienst.anfragen()[0].koerper.contains(pdf));
    EXPECT_TRUE(nichtsLiegtHerum());
}

TEST_F(EchtesPortal, APdfThatAnsweredAFormIsAskedForAgainAndTheRefusalTold) {
    portal.seite("POST /holen", {.koerper = pdf, .typ = "application/pdf"});
    portal.seite("GET /holen", {.koerper = "nein", .typ = "text/plain", .status = 405});
    ASSERT_TRUE(fuehrtZu(
        "<form id=f method=post action='/holen'></form><script>onload = () => "
        "document.getElementById('f').submit()</script>",
        "POST /holen"));
    std::string letzter;
    for (int i = 0; i < 20 && portal.anzahl("GET /holen") == 0; ++i) {
        auto const bisher = ereignisse.size();
        fenster->aktuellePDFUebernehmen();
        letzter = bericht(bisher + 2);
    }
    EXPECT_EQ(letzter, "fehler: Portal antwortet mit 405.");
    EXPECT_TRUE(dienst.anfragen().empty());
}

TEST_F(EchtesPortal, AnAnswerThatIsNotOkIsTold) {
    portal.seite("/weg", {.koerper = "<!doctype html>weg", .status = 410});
    EXPECT_EQ(erfasse("/weg"), "fehler: Portal antwortet mit 410.");
}

TEST_F(EchtesPortal, AnEmptyAnswerIsTold) {
    portal.seite("/leer", {.koerper = "", .typ = "text/plain"});
    EXPECT_EQ(erfasse("/leer"), "fehler: Die angezeigte Datei ist leer.");
}

TEST_F(EchtesPortal, APageIsNoPdf) {
    EXPECT_EQ(
        erfasse("/ziel"), "fehler: Die aktuelle Seite ist keine PDF. Öffne zuerst die Rechnung oder nutze "
                          "ihren Download-Knopf.");
}

TEST_F(EchtesPortal, ExactlyFiftyMebibytesAreTakenWholeAndOneByteMoreIsRefusedByThePage) {
    portal.seite("/gross", {.koerper = "<!doctype html><script>fetch('/da')</script>"});
    oeffne("/gross");
    ASSERT_TRUE(drehenBis([&] { return portal.anzahl("GET /da") > 0; }));
    std::string gross(std::size_t{50} * 1024 * 1024, 'x');
    gross.replace(0, 5, "%PDF-");
    portal.seite("/gross", {.koerper = gross, .typ = "application/pdf"});
    fenster->aktuellePDFUebernehmen();
    EXPECT_TRUE(drehenBis([&] { return ereignisse.size() >= 3; }, std::chrono::seconds{120}));
    EXPECT_EQ(bericht(3), importiert);
    ASSERT_EQ(dienst.anfragen().size(), 1U);
    EXPECT_TRUE(dienst.anfragen()[0].koerper.contains("\r\n\r\n" + gross + "\r\n--"));
    EXPECT_TRUE(nichtsLiegtHerum());

    portal.seite("/gross", {.koerper = gross + 'x', .typ = "application/pdf"});
    fenster->aktuellePDFUebernehmen();
    EXPECT_EQ(bericht(5), "fehler: Die angezeigte Datei ist größer als 50 MB.");
    EXPECT_EQ(dienst.anfragen().size(), 1U);
}

TEST_F(EchtesPortal, APageThatBreaksItsOwnToolsGetsNoReceiptPastTheChecks) {
    // Page code shares the script's world: it may answer what it likes, and is judged like any other answer.
    portal.seite(
        "/boese",
        {.koerper = "<!doctype html><script>JSON.stringify = () => '[1]'; fetch('/boese2')</script>"});
    oeffne("/boese");
    ASSERT_TRUE(drehenBis([&] { return portal.anzahl("GET /boese2") > 0; }));
    fenster->aktuellePDFUebernehmen();
    EXPECT_EQ(bericht(2), "fehler: Das Portal hat keine lesbare PDF zurückgegeben.");
}

} // namespace
} // namespace quillmate
