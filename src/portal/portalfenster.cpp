#include "portalfenster.h"

#include "grundlage/adressteile.h"
#include "grundlage/html.h"
#include "grundlage/protokoll.h"
#include "grundlage/text.h"
#include "hostanzeige.h"

#include <fmt/format.h>

#include <chrono>
#include <utility>

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
                    .anhalten = wennDa([this] { web_->anhalten(); }),
                    .vergessen = wennDa([this] { anmeldedatenLoeschen(); })});
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

void PortalFenster::zugangErfragen(
    ports::Webansicht& /*web*/, ports::Zugangsfrage const& frage,
    std::function<void(std::optional<ports::Zugangsdaten>)> antwort) {
    auto const wirt = anzeigehost(frage.wirt);
    // What the shown page only holds (a picture of another server) must not ask in its name.
    if (geschlossen_ || (!laedt_ && wirt != wirt_)) {
        protokoll(fmt::format("Portal {}: Zugangsdaten für {} nicht erfragt", auftrag_.ziel.kennung, wirt));
        return antwort(std::nullopt);
    }
    umgebung_.dialoge.zugang(
        *fenster_,
        {.meldung = fmt::format("{} verlangt Name und Kennwort", wirt),
         .erklaerung =
             (frage.wiederholt ? std::string{"Name oder Kennwort stimmten nicht. "} : std::string{}) +
             (frage.bereich.empty() ? std::string{"Die Eingaben gehen nur an diesen Server."}
                                    : fmt::format(
                                          "Der Server nennt es „{}“. Die Eingaben gehen nur an ihn.",
                                          einzeilig(frage.bereich, 200))),
         .knoepfe = {"Anmelden", "Abbrechen"}},
        std::move(antwort));
}

void PortalFenster::zertifikatVerlangt(ports::Webansicht& /*web*/, std::string const& wirt) {
    protokoll(
        fmt::format("Portal {}: {} verlangt ein Zertifikat", auftrag_.ziel.kennung, einzeilig(wirt, 253)));
    if (!geschlossen_)
        leiste_->status(
            fmt::format(
                "{} möchte dich an einem Zertifikat erkennen. Das geht hier nicht.", anzeigehost(wirt)),
            ports::Textton::laeuft);
}

void PortalFenster::passkeyGewuenscht(ports::Webansicht& /*web*/) {
    if (geschlossen_)
        return;
    ports::Fusszeile zeile{
        .text = "Passkeys und Sicherheitsschlüssel gehen in diesem Fenster nicht. Melde dich anders an, oder "
                "öffne das Portal im Standardbrowser.",
        .anteil = {},
        .knopf = {}};
    if (umgebung_.browser) {
        zeile.knopf = "Im Standardbrowser öffnen";
        zeile.gedrueckt = [this, lebt = std::weak_ptr{lebt_}] {
            if (!lebt.lock() || geschlossen_)
                return;
            fenster_->fusszeile(std::nullopt);
            auto const adresse = web_->adresse();
            umgebung_.browser->oeffnen(istSicher(adresse) ? *adresse : auftrag_.ziel.adresse.text());
        };
    }
    fenster_->fusszeile(std::move(zeile));
}

void PortalFenster::anmeldedatenLoeschen() {
    auto const roh = wirtVon(web_->dokument().dokument);
    auto const wirt = roh ? *roh : auftrag_.ziel.adresse.wirt().value_or("");
    umgebung_.dialoge.fragen(
        *fenster_,
        {.meldung = "Anmeldedaten dieses Portals löschen?",
         .erklaerung = fmt::format(
             "Quillmate vergisst, was {} hier gespeichert hat, auch die Anmeldung. Übernommene Belege "
             "bleiben.",
             anzeigehost(wirt)),
         .knoepfe = {"Löschen", "Abbrechen"},
         .warnung = true,
         .vorgabe = 1},
        [this, wirt, lebt = std::weak_ptr{lebt_}](ports::Antwort const& gewaehlt) {
            if (!lebt.lock() || geschlossen_ || gewaehlt.knopf != 0)
                return;
            web_->anmeldedatenLoeschen(
                wirt, [this, lebt = std::weak_ptr{lebt_}](std::optional<std::size_t> anzahl) {
                    if (!lebt.lock() || geschlossen_)
                        return;
                    if (!anzahl)
                        return leiste_->status(
                            "Die Anmeldedaten konnten nicht gelöscht werden.", ports::Textton::fehler);
                    leiste_->status(
                        *anzahl > 0 ? "Die Anmeldedaten dieses Portals sind gelöscht."
                                    : "Von diesem Portal ist nichts gespeichert.",
                        ports::Textton::erfolg);
                    web_->laden(auftrag_.ziel.adresse.text(), std::chrono::seconds{60});
                });
        });
}

void PortalFenster::druckGescheitert(ports::Webansicht& /*web*/, std::string const& beschreibung) {
    protokoll(fmt::format("Portal {}: Drucken: {}", auftrag_.ziel.kennung, einzeilig(beschreibung, 300)));
    if (!geschlossen_)
        leiste_->status(
            "Das Drucken hat nicht geklappt: " + einzeilig(beschreibung, 300), ports::Textton::fehler);
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
