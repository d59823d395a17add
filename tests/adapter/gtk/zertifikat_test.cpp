// What the view does with servers that cannot prove who they are. The certificates are made for each test, signed by
// themselves, and nobody trusts them.
#include "demo/portalzertifikat.h"
#include "echte_webansicht.h"
#include "werkzeug/https_attrappe.h"

#include <openssl/x509v3.h>

#include <ctime>
#include <ostream>

namespace quillmate::adapter::gtk {
namespace {

constexpr long tag = 24L * 60 * 60; // seconds

/// One fault of a certificate that is good for 127.0.0.1 today but for its unknown issuer.
struct Mangel {
    std::string_view name;
    void (*einbauen)(X509* zertifikat);
    std::string_view beschreibung;

    friend void PrintTo(Mangel const& mangel, std::ostream* aus) { *aus << mangel.name; }
};

void fuerAnderswo(X509* zertifikat) {
    X509_EXTENSION_free(
        X509_delete_ext(zertifikat, X509_get_ext_by_NID(zertifikat, NID_subject_alt_name, -1)));
    auto* const namen = X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, "DNS:anderswo.example");
    X509_add_ext(zertifikat, namen, -1);
    X509_EXTENSION_free(namen);
}

std::string ausweisMit(Mangel const& mangel) {
    auto const zertifikat = demo::Portalzertifikat::erzeugen();
    if (!zertifikat)
        throw std::runtime_error{"Kein Zertifikat"};
    mangel.einbauen(zertifikat->zertifikat());
    X509_sign(zertifikat->zertifikat(), zertifikat->schluessel(), EVP_sha256());
    return werkzeug::ausweisAus(zertifikat->zertifikat(), zertifikat->schluessel());
}

constexpr Mangel unbekannt{
    .name = "UnknownIssuer",
    .einbauen = [](X509*) {},
    .beschreibung = "Das Zertifikat des Servers stammt von einer unbekannten Stelle."};

class EchtesZertifikat : public EchteWebansicht {
protected:
    /// Waits for the one report of a load that failed, and shows a page of our own instead, as the window does.
    void erwarteAblehnung(std::string const& adresse, std::string_view beschreibung) {
        ASSERT_TRUE(drehenBis([&] { return !mitschrift.fehlschlaege.empty(); }));
        auto const fehler = mitschrift.fehlschlaege.front();
        EXPECT_TRUE(fehler.zertifikat) << fehler.bereich;
        EXPECT_FALSE(fehler.abgebrochen);
        EXPECT_EQ(fehler.beschreibung, beschreibung);
        EXPECT_EQ(fehler.adresse, adresse);
        int const vorher = mitschrift.fertig;
        web->ladenErsatz("<!doctype html><title>Ersatz</title>", adresse);
        ASSERT_TRUE(drehenBis([&] { return mitschrift.fertig > vorher; }));
        EXPECT_EQ(wert("document.title"), "Ersatz");
        EXPECT_EQ(mitschrift.fertig, vorher + 1) << "what failed is not told as loaded";
        EXPECT_EQ(mitschrift.fehlschlaege.size(), 1U);
        mitschrift.fehlschlaege.clear();
    }
};

class EchtesZertifikatMit : public EchtesZertifikat, public testing::WithParamInterface<Mangel> {};

TEST_P(EchtesZertifikatMit, IsRefusedWithTheReasonInGermanBeforeAnythingIsAskedFor) {
    werkzeug::HttpsAttrappe const server{ausweisMit(GetParam())};
    oeffnen();
    web->laden(server.adresse("/geheim"), std::chrono::seconds{60});
    ASSERT_NO_FATAL_FAILURE(erwarteAblehnung(server.adresse("/geheim"), GetParam().beschreibung));
    EXPECT_TRUE(server.anfragen().empty()) << server.anfragen().front();
    web->neuLaden(); // There is no "once more": the answer stays the same.
    ASSERT_NO_FATAL_FAILURE(erwarteAblehnung(server.adresse("/geheim"), GetParam().beschreibung));
    EXPECT_TRUE(server.anfragen().empty()) << server.anfragen().front();
    laden("/");
    EXPECT_EQ(wert("document.title"), "Start");
}

INSTANTIATE_TEST_SUITE_P(
    , EchtesZertifikatMit,
    testing::Values(
        unbekannt,
        Mangel{
            .name = "Expired",
            .einbauen =
                [](X509* zertifikat) {
                    X509_gmtime_adj(X509_getm_notBefore(zertifikat), -3 * tag);
                    X509_gmtime_adj(X509_getm_notAfter(zertifikat), -tag);
                },
            .beschreibung = "Das Zertifikat des Servers ist abgelaufen."},
        Mangel{
            .name = "NotYetValid",
            .einbauen = [](X509* zertifikat) { X509_gmtime_adj(X509_getm_notBefore(zertifikat), tag); },
            .beschreibung = "Das Zertifikat des Servers gilt noch nicht."},
        Mangel{
            .name = "OfAnotherHost",
            .einbauen = &fuerAnderswo,
            .beschreibung = "Das Zertifikat des Servers gilt für eine andere Adresse."}),
    [](auto const& lage) { return std::string{lage.param.name}; });

TEST_F(EchtesZertifikat, IsJudgedHoweverAPageLeadsToTheServer) {
    werkzeug::HttpsAttrappe const server{ausweisMit(unbekannt)};
    auto const ziel = server.adresse("/geheim");
    seiten["/um"] = {.status = 302, .weitererKopf = "Location: " + ziel + "\r\n"};
    seiten["/links"] = html(
        "<a id=a href='" + ziel + "'>hin</a><form id=f method=post action='" + ziel +
        "'><input name=kennwort value=geheim></form>");
    oeffnen();
    for (auto const* const weg :
         {"document.getElementById('a').click()", "document.getElementById('f').submit()",
          "location.href = '/um'"}) {
        SCOPED_TRACE(weg);
        laden("/links");
        web->skript(weg);
        ASSERT_NO_FATAL_FAILURE(erwarteAblehnung(ziel, unbekannt.beschreibung));
    }
    EXPECT_TRUE(server.anfragen().empty()) << server.anfragen().front();
}

/// As the engine tells it of a load that took over a connection just when its certificate was refused.
class VerloreneVerbindung : public EchteWebansicht {
protected:
    void verliere(std::string const& adresse) {
        GError fehler{.domain = G_IO_ERROR, .code = G_IO_ERROR_CANCELLED, .message = wort.data()};
        gboolean eigene = FALSE;
        g_signal_emit_by_name(
            web->widget(), "load-failed", WEBKIT_LOAD_STARTED, adresse.c_str(), &fehler, &eigene);
        EXPECT_TRUE(eigene);
        g_signal_emit_by_name(web->widget(), "load-changed", WEBKIT_LOAD_FINISHED);
    }
    std::string wort{"Operation was cancelled"};
};

TEST_F(VerloreneVerbindung, BeginsTheLoadAnewInsteadOfFailingIt) {
    seiten["/zwei"] = html("<title>Zwei</title>");
    oeffnen();
    laden("/");
    int const vorher = mitschrift.fertig;
    verliere(dienst.adresse() + "/zwei");
    ASSERT_TRUE(drehenBis([&] { return mitschrift.fertig > vorher; }));
    EXPECT_EQ(wert("document.title"), "Zwei");
    EXPECT_TRUE(mitschrift.fehlschlaege.empty());
}

TEST_F(VerloreneVerbindung, FailsInGermanWhenItIsLostAgainAndAgain) {
    oeffnen();
    laden("/");
    for (int mal = 0; mal < 6; ++mal) {
        EXPECT_TRUE(mitschrift.fehlschlaege.empty()) << mal;
        verliere(dienst.adresse() + "/");
    }
    ASSERT_EQ(mitschrift.fehlschlaege.size(), 1U);
    EXPECT_EQ(mitschrift.fehlschlaege.front().beschreibung, "Die Verbindung ist abgebrochen.");
    EXPECT_FALSE(mitschrift.fehlschlaege.front().abgebrochen);
}

TEST_F(VerloreneVerbindung, SendsNothingTwice) {
    seiten["/stumm"] = {.haengen = true};
    seiten["/formular"] = html("<form id=f method=post action=/stumm><input name=x></form>");
    oeffnen();
    laden("/formular");
    int const vorher = mitschrift.begonnene;
    web->skript("document.getElementById('f').submit()");
    ASSERT_TRUE(
        drehenBis([&] { return mitschrift.begonnene > vorher && !dienst.anfragenAn("/stumm").empty(); }));
    verliere(dienst.adresse() + "/stumm");
    ASSERT_EQ(mitschrift.fehlschlaege.size(), 1U);
    laden("/");
    EXPECT_EQ(dienst.anfragenAn("/stumm").size(), 1U);
}

TEST_F(EchtesZertifikat, OfAPartOfAPageKeepsThePartOutAndThePageGoesOn) {
    werkzeug::HttpsAttrappe const server{ausweisMit(unbekannt)};
    oeffnen();
    laden("/");
    EXPECT_EQ(
        wert(
            "await new Promise(auf => { const b = new Image(); b.onload = () => auf('da'); "
            "b.onerror = () => auf('fehlt'); b.src = '" +
            server.adresse("/bild.png") + "'; })"),
        "fehlt");
    EXPECT_EQ(wert("await fetch('" + server.adresse("/daten") + "').catch(f => f.name)"), "TypeError");
    web->skript("document.body.innerHTML = \"<iframe src='" + server.adresse("/rahmen") + "'></iframe>\"");
    EXPECT_EQ(
        wert("await new Promise(auf => { document.querySelector('iframe').onload = () => auf('da'); "
             "setTimeout(() => auf('fehlt'), 1000); })"),
        "fehlt");
    EXPECT_TRUE(server.anfragen().empty()) << server.anfragen().front();
    EXPECT_TRUE(mitschrift.fehlschlaege.empty());
    EXPECT_EQ(wert("document.title"), "Start");
}

TEST_F(EchtesZertifikat, IsAllThatKeepsTheServerAway) {
    auto const ausweis = ausweisMit(unbekannt);
    werkzeug::HttpsAttrappe server{ausweis};
    server.seite("/geheim", {.koerper = "<!doctype html><title>Da</title>"});
    auto const zertifikat = adapter::gtk::Objekt<GTlsCertificate>::uebernommen(
        g_tls_certificate_new_from_pem(ausweis.data(), static_cast<gssize>(ausweis.size()), nullptr));
    webkit_network_session_allow_tls_certificate_for_host(
        weblager().sitzungen.sitzung(ports::Webansicht::Einrichtung::Datenhaltung::hauptfenster),
        zertifikat.get(), "127.0.0.1");
    oeffnen();
    web->laden(server.adresse("/geheim"), std::chrono::seconds{60});
    ASSERT_TRUE(drehenBis([&] { return mitschrift.fertig > 0; }));
    EXPECT_EQ(wert("document.title"), "Da");
    EXPECT_EQ(server.anfragen(), std::vector<std::string>{"GET /geheim"});
}

} // namespace
} // namespace quillmate::adapter::gtk
