#include "portal.h"

#include "belegdaten.h"
#include "grundlage/datei.h"
#include "portalzertifikat.h"
#include "textpdf.h"
#include "webseite.h"
#include "zugang.h"

#include <fmt/format.h>
#include <httplib.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <future>
#include <set>
#include <thread>
#include <utility>

namespace quillmate::demo {

namespace {

constexpr char const* kennung = "demo"; // Customer number and password.
constexpr char const* keksname = "demoportal";
constexpr char const* html = "text/html; charset=utf-8";
constexpr std::size_t hoechstensFormular_byte = 4096;
constexpr std::size_t fadenzahl = 16;
constexpr std::chrono::seconds fristLesen{2};

constexpr char const* stil = R"(:root { color-scheme: light dark; }
body { font: 16px/1.5 system-ui, sans-serif; max-width: 52rem; margin: 2rem auto; padding: 0 1.5rem; }
h1 { font-size: 1.5rem; } h2 { font-size: 1.1rem; margin: 1.6rem 0 .3rem; }
label { display: block; margin: .8rem 0; } input { font: inherit; display: block; padding: .3rem; }
ul { padding: 0; display: flex; flex-wrap: wrap; gap: .4rem 1.4rem; list-style: none; }
.leise { opacity: .75; } .fehler { color: #c01c28; }
)";

/// Downloads what the page has in memory, as portals do that fetch their files by script. Says when it is there: it comes
/// after the style, and a key pressed before is lost.
constexpr char const* skript = R"(for (const link of document.querySelectorAll('a[data-aus-der-seite]'))
  link.addEventListener('click', async (ereignis) => {
    ereignis.preventDefault();
    const antwort = await fetch(link.href);
    const datei = document.createElement('a');
    datei.href = URL.createObjectURL(await antwort.blob());
    datei.download = link.dataset.ausDerSeite;
    datei.click();
    setTimeout(() => URL.revokeObjectURL(datei.href), 60000);
  });
const bereit = document.createElement('p');
bereit.className = 'leise';
bereit.textContent = 'Die Seite ist bereit.';
document.body.append(bereit);
)";

void sende(httplib::Response& antwort, int status, std::string text, char const* typ = html) {
    antwort.status = status;
    antwort.set_header(
        "Content-Security-Policy",
        "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; form-action 'self'; "
        "base-uri 'none'; frame-ancestors 'none'");
    antwort.set_content(std::move(text), typ);
}

std::string seite(std::string_view titel, std::string_view inhalt) {
    return fmt::format(
        R"(<!doctype html>
<html lang="de">
<head>
<meta charset="utf-8">
<title>{0} – Demoportal</title>
<link rel="stylesheet" href="/stil.css">
<script src="/skript.js" defer></script>
</head>
<body>
<h1>{0}</h1>
{1}</body>
</html>
)",
        alsHtml(titel), inhalt);
}

std::string anmeldeseite(bool vergeblich) {
    return seite(
        "Anmelden",
        fmt::format(
            R"({0}<p class="leise">Kundennummer und Kennwort sind beide „{1}“.</p>
<form method="post" action="/anmelden">
<label>Kundennummer <input name="kunde" value="{1}" accesskey="k" autocomplete="off" required></label>
<label>Kennwort <input name="kennwort" type="password" value="{1}" autocomplete="off" required></label>
<button>Anmelden</button>
</form>
)",
            vergeblich ? "<p class=\"fehler\">Kundennummer oder Kennwort stimmt nicht.</p>\n" : "", kennung));
}

/// The keys 1 to 5 belong to the first invoice.
std::string rechnungsseite(std::vector<Portalrechnung> const& rechnungen) {
    struct Weg {
        char const* pfad;
        char const* name;
        bool ausDerSeite;
    };
    static constexpr Weg wege[] = {
        {"ansehen", "Ansehen", false},
        {"laden", "Herunterladen", false},
        {"ansehen", "Herunterladen (aus der Seite)", true},
        {"roh", "Herunterladen (als Rohdaten)", false},
        {"kaputt", "Herunterladen (bricht ab)", false}};
    std::string inhalt;
    int taste = 1;
    for (auto const& rechnung : rechnungen) {
        inhalt +=
            fmt::format("<h2>{} – {}</h2>\n<ul>\n", alsHtml(rechnung.aussteller), alsHtml(rechnung.zweck));
        for (auto const& weg : wege)
            inhalt += fmt::format(
                "<li><a href=\"/{}/{}.pdf\"{}{}>{}</a></li>\n", weg.pfad, rechnung.nummer,
                weg.ausDerSeite ? fmt::format(" data-aus-der-seite=\"{}.pdf\"", rechnung.nummer) : "",
                taste <= 5 ? fmt::format(" accesskey=\"{}\"", taste++) : "", weg.name);
        inhalt += "</ul>\n";
    }
    return seite("Deine Rechnungen", inhalt);
}

bool hatKeks(httplib::Request const& anfrage, std::string const& wert) {
    auto const gesucht = fmt::format("{}={}", keksname, wert);
    auto const kopf = anfrage.get_header_value("Cookie");
    for (std::string_view rest = kopf; !rest.empty();) {
        auto keks = rest.substr(0, rest.find(';'));
        rest.remove_prefix(std::min(keks.size() + 1, rest.size()));
        keks.remove_prefix(std::min(keks.find_first_not_of(' '), keks.size()));
        if (stimmtUeberein(gesucht, keks))
            return true;
    }
    return false;
}

} // namespace

std::vector<Portalrechnung> portalrechnungen() {
    std::set<Cent> belegt;
    for (auto const& beleg : beispielbelege())
        belegt.insert(-beleg.brutto());
    std::vector<Portalrechnung> rechnungen;
    for (auto const& buchung : beispielbuchungen()) {
        if (buchung.betrag >= 0 || belegt.contains(buchung.betrag))
            continue;
        auto const nummer = fmt::format("DP-2026-{:03}", rechnungen.size() + 1);
        rechnungen.push_back(
            {.nummer = nummer,
             .aussteller = buchung.gegenpartei,
             .zweck = buchung.zweck,
             .pdf = textPdf(
                 {buchung.gegenpartei, "", "Rechnung " + nummer,
                  "Rechnungsdatum " + alsIsoDatum(buchung.datum), "", buchung.zweck,
                  "Gesamtbetrag " + alsEuro(-buchung.betrag)})});
    }
    return rechnungen;
}

/// The library's server over TLS. Its own limits do: it is reached from this machine alone, by a program that is being tried.
class Portal::Server {
public:
    explicit Server(Portalzertifikat const& zertifikat)
        : server_([&](SSL_CTX& tls) {
            return SSL_CTX_set_min_proto_version(&tls, TLS1_2_VERSION) == 1 &&
                   SSL_CTX_use_certificate(&tls, zertifikat.zertifikat()) == 1 &&
                   SSL_CTX_use_PrivateKey(&tls, zertifikat.schluessel()) == 1;
        }) {
        server_.new_task_queue = [] {
            return new httplib::ThreadPool(fadenzahl);
        }; // The library deletes it.
        server_.set_payload_max_length(hoechstensFormular_byte);
        server_.set_read_timeout(fristLesen);
        server_.set_keep_alive_max_count(1); // No idle connections to wait for at the end.
        wege();
    }
    ~Server() { (void)beenden(std::chrono::steady_clock::time_point::max()); }
    Server(Server const&) = delete;
    Server& operator=(Server const&) = delete;

    [[nodiscard]] bool starten() {
        port_ = server_.is_valid() ? server_.bind_to_any_port("127.0.0.1") : -1;
        if (port_ <= 0)
            return false;
        std::promise<void> zuende;
        ende_ = zuende.get_future();
        faden_ = std::thread{[this, zuende = std::move(zuende)]() mutable {
            server_.listen_after_bind();
            zuende.set_value();
        }};
        return true;
    }
    [[nodiscard]] int port() const noexcept { return port_; }
    [[nodiscard]] bool beenden(std::chrono::steady_clock::time_point schluss) {
        if (!faden_.joinable())
            return true;
        // More than once: it may not have begun to serve yet.
        do
            server_.stop();
        while (ende_.wait_for(std::chrono::milliseconds{10}) != std::future_status::ready &&
               std::chrono::steady_clock::now() < schluss);
        if (ende_.wait_for(std::chrono::seconds{0}) != std::future_status::ready)
            return false;
        faden_.join();
        return true;
    }

private:
    void wege() {
        server_.set_post_routing_handler([](httplib::Request const&, httplib::Response& antwort) {
            antwort.set_header("Cache-Control", "no-store");
            antwort.set_header("X-Content-Type-Options", "nosniff");
            antwort.set_header("Referrer-Policy", "no-referrer");
        });
        server_.Get("/stil.css", [](httplib::Request const&, httplib::Response& antwort) {
            sende(antwort, 200, stil, "text/css; charset=utf-8");
        });
        server_.Get("/skript.js", [](httplib::Request const&, httplib::Response& antwort) {
            sende(antwort, 200, skript, "text/javascript; charset=utf-8");
        });
        server_.Get("/", [this](httplib::Request const& anfrage, httplib::Response& antwort) {
            if (hatKeks(anfrage, sitzung_))
                antwort.set_redirect("/rechnungen", 303);
            else
                sende(antwort, 200, anmeldeseite(false));
        });
        server_.Post("/anmelden", [this](httplib::Request const& anfrage, httplib::Response& antwort) {
            if (anfrage.get_param_value("kunde") != kennung || anfrage.get_param_value("kennwort") != kennung)
                return sende(antwort, 403, anmeldeseite(true));
            antwort.set_header(
                "Set-Cookie",
                fmt::format("{}={}; Path=/; Secure; HttpOnly; SameSite=Lax", keksname, sitzung_));
            antwort.set_redirect("/rechnungen", 303);
        });
        server_.Get("/rechnungen", [this](httplib::Request const& anfrage, httplib::Response& antwort) {
            if (hatKeks(anfrage, sitzung_))
                sende(antwort, 200, rechnungsseite(rechnungen_));
            else
                antwort.set_redirect("/", 303);
        });
        server_.Get(
            "/(ansehen|laden|roh|kaputt)/([A-Za-z0-9-]{1,40})\\.pdf",
            [this](httplib::Request const& anfrage, httplib::Response& antwort) { datei(anfrage, antwort); });
    }

    void datei(httplib::Request const& anfrage, httplib::Response& antwort) const {
        auto const art = anfrage.matches[1].str();
        auto const stelle = std::ranges::find(rechnungen_, anfrage.matches[2].str(), &Portalrechnung::nummer);
        if (!hatKeks(anfrage, sitzung_))
            return antwort.set_redirect("/", 303);
        if (stelle == rechnungen_.end())
            return sende(antwort, 404, seite("Diese Rechnung gibt es nicht", ""));
        if (art != "ansehen")
            antwort.set_header(
                "Content-Disposition", inhaltslage(true, stelle->nummer + ".pdf", "rechnung.pdf"));
        if (art != "kaputt")
            return antwort.set_content(
                stelle->pdf, art == "roh" ? "application/octet-stream" : "application/pdf");
        // Announces twice what comes, and then ends the connection.
        antwort.set_content_provider(
            stelle->pdf.size() * 2, "application/pdf",
            [&pdf = stelle->pdf](std::size_t anfang, std::size_t, httplib::DataSink& senke) {
                return anfang == 0 && senke.write(pdf.data(), pdf.size());
            });
    }

    std::vector<Portalrechnung> const rechnungen_{portalrechnungen()};
    std::string const sitzung_{zufallstext()};
    httplib::SSLServer server_;
    int port_{-1};
    std::future<void> ende_;
    std::thread faden_;
};

Portal::Portal(std::unique_ptr<Server> server)
    : server_(std::move(server)) {}

Portal::~Portal() = default;

std::unique_ptr<Portal> Portal::oeffnen(std::string const& ordner, std::string& grund) {
    auto const zertifikat = Portalzertifikat::erzeugen();
    if (!zertifikat || !schreibeAtomar(ordner + '/' + zertifikatsdatei, zertifikat->pem(), Dauerhaft::nein)) {
        grund = "Das Zertifikat des Demoportals lässt sich nicht anlegen.";
        return nullptr;
    }
    auto server = std::make_unique<Server>(*zertifikat);
    if (!server->starten()) {
        grund = "Das Demoportal findet keinen freien Port auf 127.0.0.1.";
        return nullptr;
    }
    return std::unique_ptr<Portal>{new Portal{std::move(server)}};
}

std::string Portal::adresse() const {
    return fmt::format("https://127.0.0.1:{}/", server_->port());
}

bool Portal::beenden(std::chrono::steady_clock::time_point schluss) {
    return server_->beenden(schluss);
}

} // namespace quillmate::demo
