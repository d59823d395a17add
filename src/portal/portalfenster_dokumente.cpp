// A portal's documents: downloads, and the PDF that it shows, on their way to the service.
#include "erfassung.h"
#include "grundlage/datei.h"
#include "grundlage/dateiarten.h"
#include "grundlage/protokoll.h"
#include "grundlage/text.h"
#include "portalfenster.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <variant>
#include <vector>

namespace quillmate::portal {

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
        {.ziel = [this, wer, lebt, datei, schwach = std::weak_ptr{download}](
                     std::string const& vorschlag) -> std::optional<std::string> {
             if (!lebt.lock())
                 return std::nullopt;
             auto const ziel = downloadziel(wer, vorschlag);
             if (ziel) {
                 *datei = *ziel;
                 staende_[wer] = {.download = schwach};
                 downloadsZeigen();
             }
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
                 staende_.erase(wer);
                 downloadsZeigen();
                 if (auto ziel = ziele_.extract(wer))
                     belegHochladen(ziel.mapped());
             },
         .fehlgeschlagen =
             [this, wer, lebt, aufheben](std::string const& beschreibung) {
                 aufheben();
                 if (!lebt.lock())
                     return;
                 ziele_.erase(wer);
                 staende_.erase(wer);
                 downloadsZeigen();
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

void PortalFenster::downloadsZeigen() {
    if (geschlossen_)
        return;
    if (staende_.empty())
        return fenster_->fusszeile(std::nullopt);
    std::uint64_t bytes = 0;
    std::uint64_t gesamt = 0;
    bool bekannt = true;
    for (auto const& [wer, stand] : staende_) {
        bytes += stand.bytes;
        gesamt += stand.gesamt;
        bekannt = bekannt && stand.gesamt > 0;
    }
    auto const alles = std::max(bytes, gesamt);
    auto const text =
        bekannt ? fmt::format("Download läuft … {} %", bytes * 100 / std::max(alles, std::uint64_t{1}))
                : fmt::format("Download läuft … {},{} MB", bytes / 1'000'000, bytes / 100'000 % 10);
    fenster_->fusszeile(ports::Fusszeile{
        .text = text,
        .laeuft = true,
        .anteil =
            bekannt ? std::optional{static_cast<double>(bytes) / static_cast<double>(alles)} : std::nullopt,
        .knopf = "Abbrechen",
        .gedrueckt = [this, lebt = std::weak_ptr{lebt_}] {
            if (lebt.lock())
                downloadsAbbrechen();
        }});
}

void PortalFenster::downloadsAbbrechen() {
    std::vector<std::weak_ptr<ports::Download>> alle; // Each end takes its entry away.
    for (auto const& [wer, stand] : staende_)
        alle.push_back(stand.download);
    for (auto const& schwach : alle)
        if (auto const download = schwach.lock())
            download->abbrechen();
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
    if (auto const stand = staende_.find(download); stand != staende_.end()) {
        stand->second.bytes = bytes;
        stand->second.gesamt = gesamt;
        downloadsZeigen();
    }
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

} // namespace quillmate::portal
