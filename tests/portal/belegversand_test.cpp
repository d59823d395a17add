#include "grundlage/pruefsumme.h"
#include "portal/belegversand.h"
#include "werkzeug/http_attrappe.h"
#include "werkzeug/ordner_auf_zeit.h"
#include "werkzeug/warten.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>

using namespace quillmate;
using werkzeug::HttpAnfrage;
using werkzeug::HttpAntwort;
using werkzeug::HttpAttrappe;

namespace {

namespace fs = std::filesystem;
using Meldungen = std::vector<portal::Portalmeldung>;
using Abfrage = std::vector<std::pair<std::string, std::string>>;

constexpr char const* uebergabeGescheitert = "Der Beleg konnte nicht an Quillmate übergeben werden.";
constexpr char const* geladen = "PDF geladen · Quillmate prüft und ordnet es jetzt zu …";

Adresse adresse(std::string_view text) {
    return Adresse::lesen(text).value();
}

portal::Belegziel zielAn(std::string const& basis, std::optional<std::int64_t> buchung = {}) {
    return {
        .basis = adresse(basis),
        .clientId = 42,
        .token = "geheim+&= ü",
        .transaction = buchung,
        .portal = "hetzner"};
}

/// A service with one answer to everything, and files on their way to it.
class BelegversandTest : public testing::Test {
protected:
    std::string beleg(std::string const& name, std::string const& inhalt) {
        auto const datei = ablage.neuerOrdner().value() + '/' + name;
        std::ofstream{datei, std::ios::binary} << inhalt;
        return datei;
    }
    /// Sends the file and waits for its end; all that was reported.
    Meldungen gesendet(std::string const& datei, std::optional<std::int64_t> buchung = {}) {
        auto const sammlung = std::make_shared<Sammlung>();
        versand->senden(
            zielAn(server->adresse() + "/pfad?x=1#f", buchung), datei,
            [sammlung](portal::Portalmeldung const& m) {
                std::lock_guard const schutz{sammlung->sperre};
                sammlung->meldungen.push_back(m);
            });
        EXPECT_TRUE(werkzeug::wartenBis([&] { return !fs::exists(fs::path{datei}.parent_path()); }));
        std::lock_guard const schutz{sammlung->sperre};
        return sammlung->meldungen;
    }
    portal::Portalmeldung ende(HttpAntwort antwortJetzt, std::optional<std::int64_t> buchung = {}) {
        antworte(std::move(antwortJetzt));
        auto const meldungen = gesendet(beleg("r.pdf", "%PDF-1.4"), buchung);
        EXPECT_EQ(meldungen.size(), 2U);
        return meldungen.empty() ? portal::Portalmeldung{} : meldungen.back();
    }

    void antworte(HttpAntwort neue) {
        std::lock_guard const schutz{antwortsperre};
        antwort = std::move(neue);
    }

    struct Sammlung {
        std::mutex sperre;
        Meldungen meldungen;
    };
    werkzeug::OrdnerAufZeit tmp;
    std::mutex antwortsperre;
    HttpAntwort antwort{.koerper = "{}"}; // guarded by antwortsperre
    std::unique_ptr<HttpAttrappe> server = std::make_unique<HttpAttrappe>([this](HttpAnfrage const&) {
        std::lock_guard const schutz{antwortsperre};
        return antwort;
    });
    portal::Portalablage ablage{tmp.pfad()};
    std::unique_ptr<portal::Belegversand> versand = std::make_unique<portal::Belegversand>(ablage);
};

portal::Portalmeldung fehler(std::string text) {
    return {.status = portal::Portalstatus::fehler, .nachricht = std::move(text)};
}
portal::Portalmeldung importiert(std::string text) {
    return {.status = portal::Portalstatus::importiert, .nachricht = std::move(text)};
}

portal::Portalmeldung ausgang(int status, std::string_view koerper, bool mitBuchung) {
    return portal::belegausgang({.status = status, .fehler = {}}, koerper, mitBuchung);
}

} // namespace

// ------------------------------------------------------------------------------------------- the request

TEST_F(BelegversandTest, ANewReceiptIsSentToTheLetter) {
    std::string const inhalt{"%PDF-1.4\0\r\n--x\xFF", 16};
    auto const meldungen = gesendet(beleg("Rechnung \"Mai\" ü.PDF", inhalt));
    ASSERT_EQ(server->anfragen().size(), 1U);
    auto const anfrage = server->anfragen()[0];
    EXPECT_EQ(anfrage.methode, "POST");
    EXPECT_EQ(anfrage.pfad, "/clients/42/local-receipts/upload");
    auto const hash = hexadezimal(sha256(inhalt));
    EXPECT_EQ(
        anfrage.abfrage, (Abfrage{
                             {"token", "geheim+&= ü"},
                             {"source_path", "portal://hetzner/" + hash + "/Rechnung \"Mai\" ü.PDF"}}));
    auto const typ = anfrage.koepfe.at("content-type");
    ASSERT_TRUE(typ.starts_with("multipart/form-data; boundary=Quillmate-"));
    auto const grenze = typ.substr(typ.find('=') + 1);
    EXPECT_EQ(grenze.size(), 10U + 36U);
    EXPECT_EQ(
        anfrage.koerper,
        "--" + grenze +
            "\r\n"
            "Content-Disposition: form-data; name=\"file\"; filename=\"Rechnung \"Mai\" ü.PDF\"\r\n"
            "Content-Type: application/pdf\r\n\r\n" +
            inhalt + "\r\n--" + grenze + "--\r\n");
    EXPECT_EQ(
        meldungen.at(0),
        (portal::Portalmeldung{.status = portal::Portalstatus::wird_importiert, .nachricht = geladen}));
}

TEST_F(BelegversandTest, WithABookingItIsAttachedToIt) {
    (void)gesendet(beleg("foto.HEIC", "x"), 4711);
    auto const anfrage = server->anfragen().at(0);
    EXPECT_EQ(anfrage.pfad, "/transactions/4711/attach-receipt");
    EXPECT_EQ(
        anfrage.abfrage, (Abfrage{{"token", "geheim+&= ü"}, {"merge", "false"}, {"portal", "hetzner"}}));
    EXPECT_NE(
        anfrage.koerper.find("name=\"files\"; filename=\"foto.HEIC\"\r\nContent-Type: image/heic\r\n"),
        std::string::npos);
}

TEST_F(BelegversandTest, EachKindOfFileHasItsContentType) {
    for (auto const& [name, typ] : std::vector<std::pair<std::string, std::string>>{
             {"a.pdf", "application/pdf"},
             {"a.png", "image/png"},
             {"a.heic", "image/heic"},
             {"a.heif", "image/heif"},
             {"a.jpg", "image/jpeg"},
             {"a.JPEG", "image/jpeg"}}) {
        (void)gesendet(beleg(name, "x"));
        EXPECT_NE(
            server->anfragen().back().koerper.find("\r\nContent-Type: " + typ + "\r\n\r\nx\r\n"),
            std::string::npos)
            << name;
    }
}

TEST(Belegadresse, KeepsSchemeHostAndPortOfTheServiceOnly) {
    auto ziel = zielAn("https://api.quillmate.example:8443/uebersicht?a=b#c", 7);
    ziel.token = "t";
    EXPECT_EQ(
        portal::belegadresse(ziel, "h", "n"), "https://api.quillmate.example:8443/transactions/7/"
                                              "attach-receipt?token=t&merge=false&portal=hetzner");
    EXPECT_FALSE(portal::belegadresse(zielAn("about:blank"), "h", "n"));
    EXPECT_FALSE(portal::belegadresse(zielAn("file:///x"), "h", "n"));
}

TEST_F(BelegversandTest, AnAddressThatCannotBeFormedIsReported) {
    auto const datei = beleg("r.pdf", "x");
    auto const meldungen = std::make_shared<Sammlung>();
    versand->senden(zielAn("about:blank"), datei, [meldungen](portal::Portalmeldung const& m) {
        std::lock_guard const schutz{meldungen->sperre};
        meldungen->meldungen.push_back(m);
    });
    ASSERT_TRUE(werkzeug::wartenBis([&] { return !fs::exists(fs::path{datei}.parent_path()); }));
    std::lock_guard const schutz{meldungen->sperre};
    EXPECT_EQ(meldungen->meldungen, Meldungen{fehler(uebergabeGescheitert)});
}

// ------------------------------------------------------------------------------------------- what is taken

TEST_F(BelegversandTest, OnlyPdfsAndPicturesAreTaken) {
    for (auto const* const name : {"scan.tiff", "seite.html", "ohne", "rechnung.pdf.exe", ".pdf"})
        EXPECT_EQ(
            gesendet(beleg(name, "%PDF-1.4")),
            Meldungen{fehler("Nur PDF- und Bildbelege werden automatisch übernommen.")})
            << name;
    EXPECT_TRUE(server->anfragen().empty());
    EXPECT_TRUE(fs::is_empty(tmp.pfad()));
}

TEST_F(BelegversandTest, AFileThatCannotBeReadIsReported) {
    auto const nichtLesbar =
        Meldungen{fehler("Die heruntergeladene Datei ist nicht lesbar oder größer als 50 MB.")};
    EXPECT_EQ(gesendet(ablage.neuerOrdner().value() + "/fehlt.pdf"), nichtLesbar);
    auto const ordner = ablage.neuerOrdner().value();
    fs::create_directory(ordner + "/ordner.pdf");
    EXPECT_EQ(gesendet(ordner + "/ordner.pdf"), nichtLesbar);
    EXPECT_TRUE(fs::is_empty(tmp.pfad()));
}

TEST_F(BelegversandTest, ExactlyFiftyMebibytesAreSentAndOneByteMoreIsRefused) {
    auto const gross = beleg("gross.pdf", "%PDF-1.4");
    fs::resize_file(gross, 52'428'800);
    EXPECT_EQ(gesendet(gross).back().status, portal::Portalstatus::importiert);
    ASSERT_EQ(server->anfragen().size(), 1U);
    auto const koerper = server->anfragen()[0].koerper;
    auto const anfang = koerper.find("\r\n\r\n") + 4;
    EXPECT_EQ(koerper.rfind("\r\n--Quillmate-") - anfang, 52'428'800U);

    auto const zuGross = beleg("zu gross.pdf", "%PDF-1.4");
    fs::resize_file(zuGross, 52'428'801);
    EXPECT_EQ(
        gesendet(zuGross),
        Meldungen{fehler("Die heruntergeladene Datei ist nicht lesbar oder größer als 50 MB.")});
    EXPECT_EQ(server->anfragen().size(), 1U);
}

TEST(BelegversandSpeicher, AFileOfFiftyMebibytesIsNeverInMemoryAsAWhole) {
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "a sanitizer's own memory is counted, and it forbids threads after a fork";
#endif
    // In a process of its own: only there the peak is this upload's.
    HttpAttrappe server{[](HttpAnfrage const&) {
        return HttpAntwort{.koerper = "{}"};
    }};
    werkzeug::OrdnerAufZeit const tmp;
    auto const kind = ::fork();
    if (kind == 0) {
        portal::Portalablage ablage{tmp.pfad()};
        portal::Belegversand versand{ablage};
        auto const datei = ablage.neuerOrdner().value_or("") + "/gross.pdf";
        std::ofstream{datei} << "%PDF-1.4";
        fs::resize_file(datei, 52'428'800);
        rusage vorher{};
        ::getrusage(RUSAGE_SELF, &vorher);
        std::atomic<bool> gut{false};
        versand.senden(zielAn(server.adresse()), datei, [&](portal::Portalmeldung const& m) {
            gut = m.status == portal::Portalstatus::importiert;
        });
        bool const weg = werkzeug::wartenBis([&] { return !fs::exists(fs::path{datei}.parent_path()); });
        rusage nachher{};
        ::getrusage(RUSAGE_SELF, &nachher);
        ::_exit(!gut || !weg ? 1 : nachher.ru_maxrss - vorher.ru_maxrss < 20L * 1024 ? 0 : 2); // KiB
    }
    int ausgang = -1;
    ::waitpid(kind, &ausgang, 0);
    EXPECT_EQ(ausgang, 0);
}

// ------------------------------------------------------------------------------------------- the outcome

TEST_F(BelegversandTest, ATransportErrorIsToldAndNotRetried) {
    EXPECT_EQ(
        ende({.ohneAntwort = true}),
        fehler("Import fehlgeschlagen: Die Verbindung zum Server ist abgebrochen."));
    EXPECT_EQ(
        ende({.koerper = std::string(1000, ' '), .abschneiden = 300}),
        fehler("Import fehlgeschlagen: Die Verbindung zum Server ist abgebrochen."));
    EXPECT_EQ(
        ende({.roh = "was ist das\r\n"}),
        fehler("Import fehlgeschlagen: Die Antwort des Servers ist nicht lesbar."));
    EXPECT_EQ(server->anfragen().size(), 3U);
}

TEST_F(BelegversandTest, AnAnswerOfTheServiceEndsTheUpload) {
    EXPECT_EQ(ende({.status = 500, .koerper = "{}"}), fehler(uebergabeGescheitert));
    EXPECT_EQ(ende({.koerper = "kein JSON"}), fehler(uebergabeGescheitert));
    EXPECT_EQ(
        ende({.koerper = R"({"status":"MATCHED"})"}, 7),
        importiert("Beleg aus dem Portal übernommen und dieser Buchung zugeordnet."));
    EXPECT_EQ(ende({.koerper = R"({"duplicate":true})"}), importiert("Dieser Beleg war bereits importiert."));
    EXPECT_TRUE(fs::is_empty(tmp.pfad()));
}

TEST_F(BelegversandTest, NobodyListensAtAll) {
    auto const datei = beleg("r.pdf", "x");
    auto const meldungen = std::make_shared<Sammlung>();
    versand->senden(zielAn(werkzeug::toteAdresse()), datei, [meldungen](portal::Portalmeldung const& m) {
        std::lock_guard const schutz{meldungen->sperre};
        meldungen->meldungen.push_back(m);
    });
    ASSERT_TRUE(werkzeug::wartenBis([&] { return !fs::exists(fs::path{datei}.parent_path()); }));
    std::lock_guard const schutz{meldungen->sperre};
    EXPECT_EQ(
        meldungen->meldungen.back(),
        fehler("Import fehlgeschlagen: Es kam keine Verbindung zum Server zustande."));
}

TEST(Belegausgang, PaymentRequiredTellsItsDetail) {
    for (bool const mitBuchung : {false, true}) {
        EXPECT_EQ(
            ausgang(402, R"({"detail":"Kontingent aufgebraucht."})", mitBuchung),
            fehler("Kontingent aufgebraucht."));
        for (auto const* const ohne : {"{}", R"({"detail":7})", R"(["detail"])", "", "x"})
            EXPECT_EQ(ausgang(402, ohne, mitBuchung), fehler(uebergabeGescheitert)) << ohne;
    }
    EXPECT_EQ(ausgang(403, R"({"detail":"x"})", false), fehler(uebergabeGescheitert));
}

TEST(Belegausgang, WithABookingOnlyTheStatusCounts) {
    auto const passt = importiert("Beleg aus dem Portal übernommen und dieser Buchung zugeordnet.");
    auto const weichtAb =
        importiert("Beleg übernommen – Betrag weicht ab, er steht jetzt unter „Vorschläge zur Bestätigung“.");
    for (auto const* const antwort :
         {R"({"status":"matched"})", R"({"status":"MATCHED","cost_capped":true})"})
        EXPECT_EQ(ausgang(200, antwort, true), passt) << antwort;
    for (auto const* const antwort :
         {"{}", R"({"status":"pending"})", R"({"status":1})", R"({"is_receipt":false})",
          R"({"duplicate":true})"})
        EXPECT_EQ(ausgang(299, antwort, true), weichtAb) << antwort;
}

TEST(Belegausgang, WithoutABookingTheFirstFindingCounts) {
    struct Fall {
        char const* antwort;
        portal::Portalmeldung meldung;
    };
    std::vector<Fall> const faelle{
        {R"({"cost_capped":true,"is_receipt":false,"reasoning":"Genug für heute."})",
         fehler("Genug für heute.")},
        {R"({"cost_capped":true,"reasoning":7})", fehler("Das Belegkontingent ist erreicht.")},
        {R"({"is_receipt":false,"duplicate":true})", fehler("In der Datei wurde kein Beleg erkannt.")},
        {R"({"is_receipt":false,"reasoning":"Ein Urlaubsfoto."})", fehler("Ein Urlaubsfoto.")},
        {R"({"duplicate":true,"reasoning":"x"})", importiert("Dieser Beleg war bereits importiert.")},
        {R"({"status":"matched"})",
         importiert("Beleg importiert und automatisch zugeordnet, wenn eine Buchung passt.")},
        {"{}", importiert("Beleg importiert und automatisch zugeordnet, wenn eine Buchung passt.")},
        {R"({"cost_capped":"true","is_receipt":0,"duplicate":1})",
         importiert("Beleg importiert und automatisch zugeordnet, wenn eine Buchung passt.")},
    };
    for (auto const& fall : faelle)
        EXPECT_EQ(ausgang(201, fall.antwort, false), fall.meldung) << fall.antwort;
}

TEST(Belegausgang, AnythingElseIsAFailure) {
    for (int const status : {100, 199, 300, 302, 400, 401, 404, 500, 503})
        EXPECT_EQ(ausgang(status, "{}", false), fehler(uebergabeGescheitert)) << status;
    for (auto const* const koerper : {"", "[]", "null", "7", "{", "{\"a\":\"\xFF\"}"})
        EXPECT_EQ(ausgang(200, koerper, true), fehler(uebergabeGescheitert)) << koerper;
    EXPECT_EQ(ausgang(200, std::string(500'000, '['), false), fehler(uebergabeGescheitert));
    EXPECT_EQ(
        portal::belegausgang({.status = {}, .fehler = "Kein Netz."}, "{}", false),
        fehler("Import fehlgeschlagen: Kein Netz."));
}

// ------------------------------------------------------------------------------------------- its end

TEST_F(BelegversandTest, ManyFilesAreSentFourAtATime) {
    std::atomic<int> gerade{0};
    std::atomic<int> hoechstens{0};
    std::atomic<bool> weiter{false};
    HttpAttrappe langsamer{[&](HttpAnfrage const&) {
        int const n = ++gerade;
        for (int bisher = hoechstens; n > bisher && !hoechstens.compare_exchange_weak(bisher, n);) {
        }
        (void)werkzeug::wartenBis([&] { return weiter.load(); });
        --gerade;
        return HttpAntwort{.koerper = "{}"};
    }};
    std::atomic<int> fertige{0};
    for (int i = 0; i < 12; ++i)
        versand->senden(
            zielAn(langsamer.adresse()), beleg("r.pdf", "x"), [&](portal::Portalmeldung const& m) {
                if (m.status == portal::Portalstatus::importiert)
                    ++fertige;
            });
    ASSERT_TRUE(werkzeug::wartenBis([&] { return gerade == 4; }));
    weiter = true;
    ASSERT_TRUE(werkzeug::wartenBis([&] { return fertige == 12; }));
    EXPECT_EQ(hoechstens, 4);
}

TEST_F(BelegversandTest, TheEndOfTheProgramEndsUploadsAndLeavesNoFolder) {
    antworte({.haengen = true});
    std::atomic<int> enden{0};
    for (int i = 0; i < 8; ++i)
        versand->senden(zielAn(server->adresse()), beleg("r.pdf", "x"), [&](portal::Portalmeldung const& m) {
            if (m.status == portal::Portalstatus::fehler)
                ++enden;
        });
    ASSERT_TRUE(werkzeug::wartenBis([&] { return server->anfragen().size() == 4; }));
    versand.reset();
    EXPECT_EQ(enden, 4); // those under way
    EXPECT_TRUE(fs::is_empty(tmp.pfad()));
}
