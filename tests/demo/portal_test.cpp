#include "demo/abgleich.h"
#include "demo/belegdaten.h"
#include "demo/dienstprozess.h"
#include "demo/hilfsordner.h"
#include "demo/portal.h"
#include "demo/portalzertifikat.h"
#include "grundlage/datei.h"
#include "leser/motoren/leser_im_prozess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>

#include <csignal>
#include <set>

namespace quillmate::demo::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class PortalTest : public testing::Test {
protected:
    PortalTest() {
        std::signal(SIGPIPE, SIG_IGN);
        std::string grund;
        portal = Portal::oeffnen(ordner.pfad(), grund);
        if (!portal)
            throw std::runtime_error{grund};
        auto const adresse = portal->adresse();
        constexpr std::size_t vorPort = std::string_view{"https://127.0.0.1:"}.size();
        port = std::stoi(adresse.substr(vorPort));
        klient.emplace("127.0.0.1", port);
        klient->set_ca_cert_path((ordner.pfad() + "/" + Portal::zertifikatsdatei).c_str());
        klient->enable_server_certificate_verification(true);
    }
    /// The cookie that a right password earns.
    httplib::Headers keks() {
        auto const antwort =
            klient->Post("/anmelden", httplib::Params{{"kunde", "demo"}, {"kennwort", "demo"}});
        EXPECT_TRUE(antwort && antwort->status == 303);
        if (!antwort)
            return {};
        auto const wert = antwort->get_header_value("Set-Cookie");
        EXPECT_THAT(wert, HasSubstr("Secure; HttpOnly"));
        return {{"Cookie", wert.substr(0, wert.find(';'))}};
    }

    Hilfsordner const ordner;
    std::unique_ptr<Portal> portal;
    int port{0};
    std::optional<httplib::SSLClient> klient;
    std::vector<Portalrechnung> const rechnungen{portalrechnungen()};
};

TEST_F(PortalTest, WhoeverTrustsTheFileReachesItAndNobodyElse) {
    auto const antwort = klient->Get("/");
    ASSERT_TRUE(antwort);
    EXPECT_EQ(antwort->status, 200);
    EXPECT_THAT(antwort->body, HasSubstr("Kennwort"));
    httplib::SSLClient fremder{"127.0.0.1", port};
    fremder.enable_server_certificate_verification(true);
    EXPECT_FALSE(fremder.Get("/"));
}

TEST_F(PortalTest, EachRunHasACertificateOfItsOwnForThisMachineWithoutTheKeyInTheFile) {
    auto const eines = Portalzertifikat::erzeugen();
    auto const anderes = Portalzertifikat::erzeugen();
    ASSERT_TRUE(eines && anderes);
    EXPECT_NE(eines->pem(), anderes->pem());
    EXPECT_THAT(eines->pem(), StartsWith("-----BEGIN CERTIFICATE-----"));
    EXPECT_THAT(eines->pem(), Not(HasSubstr("KEY")));
    EXPECT_EQ(X509_check_ip_asc(eines->zertifikat(), "127.0.0.1", 0), 1);
    EXPECT_EQ(X509_check_host(eines->zertifikat(), "localhost", 0, 0, nullptr), 1);
    EXPECT_NE(X509_check_host(eines->zertifikat(), "quillmate.example", 0, 0, nullptr), 1);
    EXPECT_EQ(X509_check_ca(eines->zertifikat()), 0) << "it could vouch for others";
}

TEST_F(PortalTest, WithoutTheCookieThereIsOnlyTheSignIn) {
    auto const name = rechnungen.front().nummer + ".pdf";
    for (auto const& pfad :
         {std::string{"/rechnungen"}, "/ansehen/" + name, "/laden/" + name, "/roh/" + name,
          "/kaputt/" + name})
        for (auto const& koepfe : {httplib::Headers{}, httplib::Headers{{"Cookie", "demoportal=falsch"}}}) {
            auto const antwort = klient->Get(pfad, koepfe);
            ASSERT_TRUE(antwort) << pfad;
            EXPECT_EQ(antwort->status, 303) << pfad;
            EXPECT_EQ(antwort->get_header_value("Location"), "/") << pfad;
            EXPECT_THAT(antwort->body, Not(HasSubstr("%PDF")));
        }
    auto const falsch = klient->Post("/anmelden", httplib::Params{{"kunde", "demo"}, {"kennwort", "Demo"}});
    ASSERT_TRUE(falsch);
    EXPECT_EQ(falsch->status, 403);
    EXPECT_FALSE(falsch->has_header("Set-Cookie"));
    EXPECT_THAT(falsch->body, HasSubstr("stimmt nicht"));
}

TEST_F(PortalTest, AnInvoiceComesToBeShownAsAnAttachmentAndWithAWrongType) {
    auto const angemeldet = keks();
    auto const liste = klient->Get("/rechnungen", angemeldet);
    ASSERT_TRUE(liste);
    for (auto const& rechnung : rechnungen) {
        auto const name = rechnung.nummer + ".pdf";
        auto const hole = [&](std::string const& art) {
            EXPECT_THAT(liste->body, HasSubstr("\"/" + art + "/" + name + "\""));
            auto antwort = klient->Get("/" + art + "/" + name, angemeldet);
            EXPECT_TRUE(antwort && antwort->status == 200 && antwort->body == rechnung.pdf) << art;
            return antwort;
        };
        auto const ansehen = hole("ansehen");
        ASSERT_TRUE(ansehen);
        EXPECT_EQ(ansehen->get_header_value("Content-Type"), "application/pdf");
        EXPECT_FALSE(ansehen->has_header("Content-Disposition"));
        auto const laden = hole("laden");
        ASSERT_TRUE(laden);
        EXPECT_EQ(laden->get_header_value("Content-Type"), "application/pdf");
        EXPECT_THAT(laden->get_header_value("Content-Disposition"), StartsWith("attachment; "));
        EXPECT_THAT(laden->get_header_value("Content-Disposition"), HasSubstr(name));
        auto const roh = hole("roh");
        ASSERT_TRUE(roh);
        EXPECT_EQ(roh->get_header_value("Content-Type"), "application/octet-stream");
    }
    auto const fremde = klient->Get("/laden/DP-1999-001.pdf", angemeldet);
    ASSERT_TRUE(fremde);
    EXPECT_EQ(fremde->status, 404);
}

TEST_F(PortalTest, TheBrokenDownloadEndsBeforeItsAnnouncedLength) {
    std::string empfangen;
    std::string laenge;
    auto const ergebnis = klient->Get(
        "/kaputt/" + rechnungen.front().nummer + ".pdf", keks(),
        [&](httplib::Response const& kopf) {
            laenge = kopf.get_header_value("Content-Length");
            return true;
        },
        [&](char const* bytes, std::size_t n) {
            empfangen.append(bytes, n);
            return true;
        });
    EXPECT_FALSE(ergebnis);
    EXPECT_EQ(empfangen, rechnungen.front().pdf);
    EXPECT_EQ(laenge, std::to_string(empfangen.size() * 2));
}

TEST_F(PortalTest, EndsSoonAlsoWithAnIdleConnection) {
    Leitung const still{port};
    EXPECT_TRUE(portal->beenden(std::chrono::steady_clock::now() + std::chrono::seconds{20}));
    EXPECT_FALSE(klient->Get("/"));
}

TEST_F(PortalTest, AFolderThatIsMissingIsTold) {
    std::string grund;
    EXPECT_FALSE(Portal::oeffnen(ordner.pfad() + "/fehlt/ganz", grund));
    EXPECT_THAT(grund, Not(IsEmpty()));
}

TEST(Portalrechnungen, EachIsAReadableReceiptForABookingThatHasNoSample) {
    auto const rechnungen = portalrechnungen();
    ASSERT_GE(rechnungen.size(), 3U);
    std::vector<Buchung> ohneBeleg;
    std::set<Cent> belegt;
    for (auto const& beleg : beispielbelege())
        belegt.insert(-beleg.brutto());
    std::int64_t id = 0;
    for (auto buchung : beispielbuchungen())
        if (buchung.betrag < 0 && !belegt.contains(buchung.betrag)) {
            buchung.id = ++id;
            ohneBeleg.push_back(buchung);
        }
    ASSERT_EQ(rechnungen.size(), ohneBeleg.size());
    Hilfsordner const ordner;
    leser::motoren::LeserImProzess leser;
    for (std::size_t i = 0; i < rechnungen.size(); ++i) {
        auto const pfad = ordner.pfad() + "/rechnung.pdf";
        ASSERT_TRUE(schreibeAtomar(pfad, rechnungen[i].pdf, Dauerhaft::nein));
        auto const lesung = leser.lesen(oeffneDatei(pfad).get(), Texterkennung::Dateiart::pdf);
        ASSERT_TRUE(lesung.text);
        auto const& text = *lesung.text;
        EXPECT_TRUE(istBeleg(text)) << text;
        EXPECT_THAT(text, HasSubstr(rechnungen[i].zweck));
        EXPECT_EQ(passendeBuchung(text, ohneBeleg), ohneBeleg[i].id) << text;
    }
}

TEST(DemodienstMitPortal, TheReadyLineNamesThePortalAndItsFolderHoldsTheCertificate) {
    Hilfsordner const ordner;
    Dienstprozess const dienst{ordner.pfad()};
    EXPECT_THAT(dienst.meldung().at("portal").get<std::string>(), StartsWith("https://127.0.0.1:"));
    struct stat lage {};
    ASSERT_EQ(::stat((ordner.pfad() + "/" + Portal::zertifikatsdatei).c_str(), &lage), 0);
    EXPECT_GT(lage.st_size, 0);
}

} // namespace
} // namespace quillmate::demo::test
