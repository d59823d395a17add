#include "portalfenster.h"

#include "erfassung.h"
#include "grundlage/adressteile.h"
#include "grundlage/datei.h"
#include "grundlage/dateiarten.h"
#include "grundlage/html.h"
#include "grundlage/protokoll.h"
#include "grundlage/text.h"
#include "hostanzeige.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <utility>
#include <variant>

namespace quillmate::portal {

namespace {

constexpr char const* ruhestatus = "Downloads werden direkt in Quillmate übernommen.";
constexpr char const* ruhestatusMitBuchung =
    "Downloads und „Aktuelle PDF übernehmen“ gehen direkt an die gewählte Buchung.";

constexpr char const* wollteFenster = "Das Portal wollte ein eigenes Fenster öffnen. Das geht hier nicht.";

bool istSicher(std::optional<std::string> const& adresse) {
    return adresse && adresse->starts_with("https:");
}

/// A file that the page itself holds: what a script has put together, or what stands in the address.
bool istAusDerSeite(std::optional<std::string> const& adresse) {
    return adresse && (adresse->starts_with("blob:https:") || adresse->starts_with("data:"));
}

std::optional<std::string> wirtVon(std::optional<std::string> const& adresse) {
    auto const teile = adresse ? Adressteile::lesen(*adresse) : std::nullopt;
    return teile ? teile->wirt : std::nullopt;
}

/// The beginning of a text of any origin, as UTF-8.
std::string gekuerzt(std::string_view text) {
    return ersteZeichen(alsUtf8(text), 2000);
}

ports::Textton tonVon(Portalstatus status) {
    switch (status) {
    case Portalstatus::fehler:
        return ports::Textton::fehler;
    case Portalstatus::importiert:
        return ports::Textton::erfolg;
    case Portalstatus::wird_importiert:
        return ports::Textton::laeuft;
    case Portalstatus::geschlossen:
        break;
    }
    return ports::Textton::ruhig;
}

std::string seite(std::string_view meldung, std::string_view erklaerung, std::string_view verweis) {
    return fmt::format(
        R"(<!doctype html>
<html lang="de">
<head>
<meta charset="utf-8">
<meta name="color-scheme" content="light dark">
<title>Quillmate</title>
<style>
html, body {{ margin: 0; height: 100%; }}
body {{ display: grid; place-items: center; font: 14px/1.6 system-ui, sans-serif; overflow-wrap: anywhere; }}
div {{ max-width: 34em; text-align: center; padding: 1.5rem; }}
</style>
</head>
<body>
<div>
<p><b>{}</b></p>
<p>{}</p>
{}</div>
</body>
</html>
)",
        fuerHtml(gekuerzt(meldung)), fuerHtml(gekuerzt(erklaerung)),
        verweis.empty()
            ? std::string{}
            : fmt::format(
                  "<p><a href=\"{}\">Erneut versuchen</a></p>\n", fuerHtmlAttribut(gekuerzt(verweis))));
}

} // namespace

PortalFenster::PortalFenster(Umgebung umgebung, Auftrag auftrag)
    : umgebung_(umgebung)
    , auftrag_(std::move(auftrag))
    , dialoge_(
          umgebung_.dialoge,
          [this, lebt = std::weak_ptr{lebt_}] {
              if (lebt.lock() && fenster_)
                  fenster_->schliessen();
          })
    , wirt_(anzeigehost(auftrag_.ziel.adresse.wirt().value_or(""))) {
    web_ = umgebung_.werk.webansicht(
        {.datenhaltung = ports::Webansicht::Einrichtung::Datenhaltung::portale,
         .skripte = {},
         .nachrichtenname = {},
         .nachrichten = {},
         .wischgesten = true,
         .fremdeSeiten = true},
        *this);
    fenster_ =
        umgebung_.werk.fenster({.breite = 1120, .hoehe = 820, .mindestbreite = 560, .mindesthoehe = 480});
    fenster_->titel("Belegportal — " + auftrag_.ziel.name);
    fenster_->inhalt(*web_);
    auto const wennDa = [this](std::function<void()> tun) {
        return [this, tun = std::move(tun), lebt = std::weak_ptr{lebt_}] {
            if (lebt.lock() && !geschlossen_)
                tun();
        };
    };
    leiste_ = umgebung_.leisten.leiste(
        *fenster_, {.adresse = "Sichere Verbindung · " + wirt_,
                    .status = auftrag_.transaction ? ruhestatusMitBuchung : ruhestatus,
                    .knopf = "Aktuelle PDF übernehmen",
                    .knopfhinweis = "Übernimmt eine im Portal angezeigte PDF direkt in Quillmate",
                    .gedrueckt = wennDa([this] { aktuellePDFUebernehmen(); }),
                    .zurueck = wennDa([this] { web_->zurueck(); }),
                    .neuLaden = wennDa([this] { web_->neuLaden(); }),
                    .anhalten = wennDa([this] { web_->anhalten(); })});
    fenster_->beimSchliessen([this, lebt = std::weak_ptr{lebt_}] {
        if (lebt.lock())
            geschlossen();
    });
    web_->laden(auftrag_.ziel.adresse.text(), std::chrono::seconds{60});
}

PortalFenster::~PortalFenster() {
    lebt_.reset();
    leiste_.reset();
    fenster_.reset();
}

void PortalFenster::zeigen() {
    if (fenster_)
        fenster_->zeigen();
}

bool PortalFenster::sichtbar() const {
    return !geschlossen_ && fenster_ && fenster_->sichtbar();
}

void PortalFenster::melden(Portalstatus status, std::string const& nachricht) {
    if (std::this_thread::get_id() != hauptfaden_) {
        umgebung_.schleife.spaeter([this, status, nachricht, lebt = std::weak_ptr{lebt_}] {
            if (lebt.lock())
                melden(status, nachricht);
        });
        return;
    }
    if (geschlossen_)
        return;
    letzteNachricht_ = nachricht;
    leiste_->status(nachricht, tonVon(status));
    Json ereignis{{"kennung", auftrag_.ziel.kennung}, {"status", rohwert(status)}, {"nachricht", nachricht}};
    if (auftrag_.transaction)
        ereignis["transaction_id"] = *auftrag_.transaction;
    auftrag_.ereignis(ereignis);
}

void PortalFenster::hostZeigen(std::optional<std::string> const& adresse) {
    auto const wirt = wirtVon(adresse);
    if (!wirt || !leiste_)
        return;
    wirt_ = anzeigehost(*wirt);
    lage_ = Lage::sicher;
    lageZeigen();
}

void PortalFenster::lageZeigen() {
    if (!leiste_)
        return;
    // Of another page's address nothing is shown before the page is there: until then it is only a wish of this one.
    std::string const danach = laedt_ ? " · lädt …" : "";
    auto const zeile = [this] {
        switch (lage_) {
        case Lage::sicher:
            return "Sichere Verbindung · " + wirt_;
        case Lage::ungesichert:
            return "Keine sichere Verbindung · " + wirt_;
        case Lage::unerreicht:
            break;
        }
        return laedt_ ? wirt_ : "Keine Verbindung · " + wirt_;
    };
    leiste_->adresse(zeile() + danach);
    leiste_->laedt(laedt_);
    leiste_->zurueckAktiv(web_->kannZurueck());
    fenster_->titel(
        "Belegportal — " + auftrag_.ziel.name + (lage_ == Lage::sicher ? " · " + wirt_ : "") + danach);
}

void PortalFenster::laedt(bool laeuft) {
    laedt_ = laeuft;
    lageZeigen();
}

// ---------------------------------------------------------------------------------------------- navigation

ports::Entscheidung PortalFenster::beiNavigation(
    ports::Webansicht& /*web*/, ports::Navigation const& navigation) {
    using ports::Entscheidung;
    // A file that the page holds cannot lead anywhere; as a page, the same address could.
    if (navigation.alsDownload && (istSicher(navigation.adresse) || istAusDerSeite(navigation.adresse)))
        return Entscheidung::herunterladen;
    return istSicher(navigation.adresse) ? Entscheidung::zulassen : Entscheidung::abbrechen;
}

ports::Entscheidung PortalFenster::beiAntwort(ports::Webansicht& /*web*/, ports::Antwortkopf const& antwort) {
    return antwort.darstellbar && !kleingeschrieben(antwort.contentDisposition).contains("attachment")
               ? ports::Entscheidung::zulassen
               : ports::Entscheidung::herunterladen;
}

ports::Webansicht* PortalFenster::neuesFenster(
    ports::Webansicht& web, ports::Fensteranfrage const& anfrage, VerwandteAnsicht const& /*verwandte*/) {
    if (geschlossen_ || !web_)
        return nullptr;
    if (!istSicher(anfrage.adresse) || !web.gesteVerbrauchen(anfrage.geste) || !web_->anfrageUebernehmen())
        leiste_->status(wollteFenster, ports::Textton::laeuft);
    return nullptr;
}

void PortalFenster::begonnen(ports::Webansicht& /*web*/) {
    if (!geschlossen_ && !ersatz_)
        laedt(true);
}

void PortalFenster::festgeschrieben(ports::Webansicht& web) {
    if (geschlossen_)
        return;
    dialoge_.neueSeite();
    laedt_ = false;
    eigeneSeite_ = std::exchange(ersatz_, false) && !web.gesichert();
    if (!eigeneSeite_) {
        wirt_ = anzeigehost(wirtVon(web.dokument().dokument).value_or(""));
        lage_ = web.gesichert() ? Lage::sicher : Lage::ungesichert;
    }
    lageZeigen();
}

void PortalFenster::geladen(ports::Webansicht& /*web*/) {
    if (!geschlossen_)
        laedt(false);
}

void PortalFenster::fehlgeschlagen(ports::Webansicht& web, ports::Ladefehler const& fehler) {
    if (geschlossen_)
        return;
    if (fehler.abgebrochen)
        return laedt(false);
    auto const adresse = fehler.adresse ? fehler.adresse : web.adresse();
    auto const wirt = wirtVon(adresse);
    protokoll(fmt::format(
        "Portal {}: {} {}: {}", auftrag_.ziel.kennung, fehler.bereich, fehler.nummer,
        einzeilig(fehler.beschreibung, 300)));
    if (!fehler.zertifikat) {
        ersatzseite(Lage::unerreicht, "Die Seite konnte nicht geladen werden.", fehler.beschreibung, adresse);
        return;
    }
    ersatzseite(
        Lage::ungesichert,
        wirt ? fmt::format("Die Verbindung zu {} ist nicht sicher.", anzeigehost(*wirt))
             : "Die Verbindung ist nicht sicher.",
        fehler.beschreibung + " Quillmate öffnet die Seite deshalb nicht; es wurde nichts übertragen.",
        adresse);
}

void PortalFenster::prozessGestorben(ports::Webansicht& web, std::string const& grund) {
    if (geschlossen_)
        return;
    protokoll(fmt::format("Portal {}: {}", auftrag_.ziel.kennung, einzeilig(grund, 300)));
    ersatzseite(
        Lage::unerreicht, "Die Anzeige des Portals ist abgestürzt.", "Du kannst die Seite erneut laden.",
        web.adresse());
}

void PortalFenster::ersatzseite(
    Lage lage, std::string const& meldung, std::string const& erklaerung,
    std::optional<std::string> const& adresse) {
    auto const ziel = istSicher(adresse) ? *adresse : auftrag_.ziel.adresse.text();
    ersatz_ = true;
    lage_ = lage;
    laedt_ = false;
    wirt_ = anzeigehost(wirtVon(ziel).value_or(""));
    // Against a certificate that proves nothing there is no way around.
    web_->ladenErsatz(seite(meldung, erklaerung, lage == Lage::ungesichert ? std::string{} : ziel), ziel);
    lageZeigen();
}

// ---------------------------------------------------------------------------------------------- dialogs

Portaldialoge::Frager PortalFenster::frager() const {
    return {.fenster = *fenster_, .wirt = wirt_};
}

void PortalFenster::hinweis(
    ports::Webansicht& /*web*/, std::string const& text, std::function<void()> fertig) {
    if (geschlossen_)
        return fertig();
    dialoge_.hinweis(frager(), text, std::move(fertig));
}

void PortalFenster::bestaetigung(
    ports::Webansicht& /*web*/, std::string const& text, std::function<void(bool)> antwort) {
    if (geschlossen_)
        return antwort(false);
    dialoge_.bestaetigung(frager(), text, std::move(antwort));
}

void PortalFenster::eingabe(
    ports::Webansicht& /*web*/, std::string const& text, std::string const& vorgabe,
    std::function<void(std::optional<std::string>)> antwort) {
    if (geschlossen_)
        return antwort(std::nullopt);
    dialoge_.eingabe(frager(), text, vorgabe, std::move(antwort));
}

void PortalFenster::dateienWaehlen(
    ports::Webansicht& /*web*/, ports::Dateiwahl const& wahl,
    std::function<void(std::optional<std::vector<std::string>>)> antwort) {
    if (geschlossen_)
        return antwort(std::nullopt);
    auto meine = wahl;
    meine.ueber = fenster_.get();
    umgebung_.dialoge.dateienWaehlen(meine, std::move(antwort));
}

void PortalFenster::druckGescheitert(ports::Webansicht& /*web*/, std::string const& beschreibung) {
    protokoll(fmt::format("Portal {}: Drucken: {}", auftrag_.ziel.kennung, einzeilig(beschreibung, 300)));
    if (!geschlossen_)
        leiste_->status(
            "Das Drucken hat nicht geklappt: " + einzeilig(beschreibung, 300), ports::Textton::fehler);
}

// ---------------------------------------------------------------------------------------------- downloads

void PortalFenster::heruntergeladen(
    ports::Webansicht& /*web*/, std::shared_ptr<ports::Download> const& download) {
    auto const* const wer = download.get();
    auto const lebt = std::weak_ptr{lebt_};
    auto const datei = std::make_shared<std::string>(); // for an end after that of the window
    auto& ablage = umgebung_.ablage;
    auto const aufheben = [&ablage, datei] {
        ablage.entfernen(datei->substr(0, datei->rfind('/')));
    };
    download->empfaenger(
        {.ziel = [this, wer, lebt, datei](std::string const& vorschlag) -> std::optional<std::string> {
             if (!lebt.lock())
                 return std::nullopt;
             auto const ziel = downloadziel(wer, vorschlag);
             if (ziel)
                 *datei = *ziel;
             return ziel;
         },
         .fortschritt = [this, wer,
                         lebt](std::uint64_t bytes, std::uint64_t gesamt) -> std::optional<std::string> {
             return lebt.lock() ? downloadgrenze(wer, bytes, gesamt)
                                : std::optional<std::string>{"Das Portal ist geschlossen."};
         },
         .fertig =
             [this, wer, lebt, aufheben] {
                 if (!lebt.lock())
                     return aufheben();
                 if (auto ziel = ziele_.extract(wer))
                     belegHochladen(ziel.mapped());
             },
         .fehlgeschlagen =
             [this, wer, lebt, aufheben](std::string const& beschreibung) {
                 aufheben();
                 if (!lebt.lock())
                     return;
                 ziele_.erase(wer);
                 melden(Portalstatus::fehler, "Download fehlgeschlagen: " + einzeilig(beschreibung, 300));
             }});
}

std::optional<std::string> PortalFenster::downloadziel(
    ports::Download const* download, std::string const& vorschlag) {
    auto const ordner = ziele_.size() < hoechsteDownloads
                            ? umgebung_.ablage.neuerOrdner()
                            : fehler(Fehlerart::zuGross, {}, "Es laufen schon zu viele Downloads");
    if (!ordner) {
        protokoll(fmt::format("Portal {}: {}", auftrag_.ziel.kennung, ordner.error().text()));
        melden(Portalstatus::fehler, "Download konnte nicht vorbereitet werden.");
        return std::nullopt;
    }
    auto const name = belegname(vorschlag);
    auto ziel = *ordner + '/' + (name.empty() ? "rechnung.pdf" : name);
    ziele_[download] = ziel;
    return ziel;
}

// ---------------------------------------------------------------------------------------------- capture

void PortalFenster::aktuellePDFUebernehmen() {
    if (geschlossen_ || erfasst_)
        return;
    if (eigeneSeite_ || !web_->adresse()) {
        melden(Portalstatus::fehler, "Im Portal ist noch keine Seite geöffnet.");
        return;
    }
    erfasst_ = true;
    leiste_->knopfAktiv(false);
    melden(Portalstatus::wird_importiert, "Aktuelle PDF wird direkt aus dem Portal übernommen …");
    web_->rufen(
        std::string{erfassungsskript}, {},
        [this, lebt = std::weak_ptr{lebt_}](std::optional<std::string> antwort, std::string const& fehler) {
            if (!lebt.lock() || geschlossen_)
                return;
            erfasst_ = false;
            leiste_->knopfAktiv(true);
            if (!antwort)
                return melden(
                    Portalstatus::fehler,
                    "Die aktuelle PDF konnte nicht gelesen werden: " + einzeilig(fehler, 300));
            uebernehmePDFErgebnis(*std::move(antwort));
        });
}

std::optional<std::string> PortalFenster::downloadgrenze(
    ports::Download const* download, std::uint64_t bytes, std::uint64_t gesamt) {
    auto const ziel = ziele_.find(download);
    if (ziel == ziele_.end())
        return std::nullopt;
    auto const groesse = std::max(bytes, gesamt);
    if (groesse > hoechsterPortalbeleg)
        return "Die Datei ist größer als 50 MB.";
    if (!umgebung_.ablage.vermerken(ziel->second.substr(0, ziel->second.rfind('/')), groesse))
        return "Es warten schon 500 MB an Dateien auf ihre Übergabe. Versuche es danach noch einmal.";
    if (!geschlossen_ && bytes > 0)
        leiste_->status(
            gesamt > 0 ? fmt::format("Download läuft … {} %", bytes * 100 / std::max(gesamt, bytes))
                       : fmt::format("Download läuft … {},{} MB", bytes / 1'000'000, bytes / 100'000 % 10),
            ports::Textton::laeuft);
    return std::nullopt;
}

void PortalFenster::uebernehmePDFErgebnis(std::string antwort) {
    auto const ergebnis = erfasstePdf(std::move(antwort));
    if (auto const* const fehler = std::get_if<std::string>(&ergebnis))
        return melden(Portalstatus::fehler, *fehler);
    auto const& pdf = std::get<ErfasstePdf>(ergebnis);
    auto const ordner = umgebung_.ablage.neuerOrdner();
    auto const datei = ordner.value_or("") + '/' + pdf.name;
    auto const abgelegt = [&]() -> Ergebnis<void> {
        if (!ordner)
            return std::unexpected(ordner.error());
        if (!umgebung_.ablage.vermerken(*ordner, pdf.daten.size()))
            return fehler(Fehlerart::zuGross, *ordner, "Es warten schon zu große Dateien");
        if (!schreibeAtomar(datei, pdf.daten, Dauerhaft::nein))
            return errnoFehler(datei, "Nicht zu schreiben ist");
        return {};
    }();
    if (!abgelegt) {
        protokoll(fmt::format("Portal {}: {}", auftrag_.ziel.kennung, abgelegt.error().text()));
        if (ordner)
            umgebung_.ablage.entfernen(*ordner);
        return melden(
            Portalstatus::fehler, "Die aktuelle PDF konnte nicht für den Import vorbereitet werden.");
    }
    belegHochladen(datei);
}

void PortalFenster::belegHochladen(std::string const& datei) {
    umgebung_.versand.senden(
        {.basis = auftrag_.basis,
         .clientId = auftrag_.clientId,
         .token = auftrag_.token,
         .transaction = auftrag_.transaction,
         .portal = auftrag_.ziel.kennung},
        datei,
        // On a thread of the sender: the window may be gone, so only the loop, which outlives both, is touched here.
        [this, &schleife = umgebung_.schleife, lebt = std::weak_ptr{lebt_}](Portalmeldung const& meldung) {
            schleife.spaeter([this, lebt, meldung] {
                if (lebt.lock())
                    melden(meldung.status, meldung.nachricht);
            });
        });
}

void PortalFenster::geschlossen() {
    if (std::exchange(geschlossen_, true))
        return;
    auftrag_.ereignis(
        {{"kennung", auftrag_.ziel.kennung},
         {"status", rohwert(Portalstatus::geschlossen)},
         {"nachricht", letzteNachricht_.value_or("Portal geschlossen")}});
    // The page must not go on behind a closed window; but this is the window's own callback.
    umgebung_.schleife.spaeter([this, lebt = std::weak_ptr{lebt_}] {
        if (!lebt.lock())
            return;
        leiste_.reset();
        fenster_.reset();
        web_.reset();
    });
}

} // namespace quillmate::portal
