#include "portalfenster.h"

#include "erfassung.h"
#include "grundlage/adressteile.h"
#include "grundlage/datei.h"
#include "grundlage/html.h"
#include "grundlage/protokoll.h"
#include "grundlage/text.h"

#include <fmt/format.h>

#include <chrono>
#include <utility>
#include <variant>

namespace quillmate::portal {

namespace {

constexpr char const* ruhestatus = "Downloads werden direkt in Quillmate übernommen.";
constexpr char const* ruhestatusMitBuchung =
    "Downloads und „Aktuelle PDF übernehmen“ gehen direkt an die gewählte Buchung.";

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
    , auftrag_(std::move(auftrag)) {
    web_ = umgebung_.werk.webansicht(
        {.datenhaltung = ports::Webansicht::Einrichtung::Datenhaltung::portale,
         .skripte = {},
         .nachrichtenname = {},
         .nachrichten = {},
         .wischgesten = true},
        *this);
    fenster_ =
        umgebung_.werk.fenster({.breite = 1120, .hoehe = 820, .mindestbreite = 560, .mindesthoehe = 480});
    fenster_->titel("Belegportal — " + auftrag_.ziel.name);
    fenster_->inhalt(*web_);
    leiste_ = umgebung_.leisten.leiste(
        *fenster_, {.adresse = "Sichere Verbindung · " + auftrag_.ziel.adresse.wirt().value_or(""),
                    .status = auftrag_.transaction ? ruhestatusMitBuchung : ruhestatus,
                    .knopf = "Aktuelle PDF übernehmen",
                    .knopfhinweis = "Übernimmt eine im Portal angezeigte PDF direkt in Quillmate",
                    .gedrueckt = [this, lebt = std::weak_ptr{lebt_}] {
                        if (lebt.lock())
                            aktuellePDFUebernehmen();
                    }});
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
    leiste_->status(
        nachricht, status == Portalstatus::fehler ? ports::Textton::fehler : ports::Textton::ruhig);
    Json ereignis{{"kennung", auftrag_.ziel.kennung}, {"status", rohwert(status)}, {"nachricht", nachricht}};
    if (auftrag_.transaction)
        ereignis["transaction_id"] = *auftrag_.transaction;
    auftrag_.ereignis(ereignis);
}

void PortalFenster::hostZeigen(std::optional<std::string> const& adresse) {
    auto const wirt = wirtVon(adresse);
    if (!wirt || !leiste_)
        return;
    leiste_->adresse("Sichere Verbindung · " + *wirt);
    fenster_->titel(fmt::format("Belegportal — {} · {}", auftrag_.ziel.name, *wirt));
}

// ---------------------------------------------------------------------------------------------- navigation

ports::Entscheidung PortalFenster::beiNavigation(
    ports::Webansicht& /*web*/, ports::Navigation const& navigation) {
    using ports::Entscheidung;
    // A file that the page holds cannot lead anywhere; as a page, the same address could.
    if (navigation.alsDownload && (istSicher(navigation.adresse) || istAusDerSeite(navigation.adresse)))
        return Entscheidung::herunterladen;
    if (!istSicher(navigation.adresse))
        return Entscheidung::abbrechen;
    if (navigation.hauptrahmen)
        ersatz_ = false;
    return Entscheidung::zulassen;
}

ports::Entscheidung PortalFenster::beiAntwort(ports::Webansicht& /*web*/, ports::Antwortkopf const& antwort) {
    return antwort.darstellbar && !kleingeschrieben(antwort.contentDisposition).contains("attachment")
               ? ports::Entscheidung::zulassen
               : ports::Entscheidung::herunterladen;
}

ports::Webansicht* PortalFenster::neuesFenster(
    ports::Webansicht& /*web*/, ports::Fensteranfrage const& anfrage, VerwandteAnsicht const& /*verwandte*/) {
    if (!geschlossen_ && web_ && istSicher(anfrage.adresse))
        web_->laden(*anfrage.adresse);
    return nullptr;
}

void PortalFenster::begonnen(ports::Webansicht& web) {
    if (!ersatz_)
        hostZeigen(web.adresse());
}

void PortalFenster::geladen(ports::Webansicht& web) {
    if (!ersatz_)
        hostZeigen(web.adresse());
}

void PortalFenster::fehlgeschlagen(ports::Webansicht& web, ports::Ladefehler const& fehler) {
    if (fehler.abgebrochen || geschlossen_)
        return;
    auto const adresse = fehler.adresse ? fehler.adresse : web.adresse();
    auto const wirt = wirtVon(adresse);
    protokoll(fmt::format(
        "Portal {}: {} {}: {}", auftrag_.ziel.kennung, fehler.bereich, fehler.nummer,
        einzeilig(fehler.beschreibung, 300)));
    if (!fehler.zertifikat) {
        ersatzseite("Die Seite konnte nicht geladen werden.", fehler.beschreibung, adresse, true);
        return;
    }
    if (wirt)
        leiste_->adresse("Keine sichere Verbindung · " + *wirt);
    ersatzseite(
        wirt ? fmt::format("Die Verbindung zu {} ist nicht sicher.", *wirt)
             : "Die Verbindung ist nicht sicher.",
        fehler.beschreibung + " Quillmate öffnet die Seite deshalb nicht; es wurde nichts übertragen.",
        adresse, false);
}

void PortalFenster::prozessGestorben(ports::Webansicht& web, std::string const& grund) {
    if (geschlossen_)
        return;
    protokoll(fmt::format("Portal {}: {}", auftrag_.ziel.kennung, einzeilig(grund, 300)));
    ersatzseite(
        "Die Anzeige des Portals ist abgestürzt.", "Du kannst die Seite erneut laden.", web.adresse(), true);
}

void PortalFenster::ersatzseite(
    std::string const& meldung, std::string const& erklaerung, std::optional<std::string> const& adresse,
    bool nochmal) {
    ersatz_ = true;
    auto const ziel = istSicher(adresse) ? *adresse : auftrag_.ziel.adresse.text();
    web_->ladenErsatz(seite(meldung, erklaerung, nochmal ? ziel : std::string{}), ziel);
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
    auto const ordner = ziele_.size() < hoechsteDownloads ? umgebung_.ablage.neuerOrdner() : std::nullopt;
    if (!ordner) {
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
    if (!web_->adresse()) {
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

void PortalFenster::uebernehmePDFErgebnis(std::string antwort) {
    auto const ergebnis = erfasstePdf(std::move(antwort));
    if (auto const* const fehler = std::get_if<std::string>(&ergebnis))
        return melden(Portalstatus::fehler, *fehler);
    auto const& pdf = std::get<ErfasstePdf>(ergebnis);
    auto const ordner = umgebung_.ablage.neuerOrdner();
    auto const datei = ordner.value_or("") + '/' + pdf.name;
    if (!ordner || !schreibeAtomar(datei, pdf.daten, Dauerhaft::nein)) {
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
