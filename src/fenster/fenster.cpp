// From top to bottom: construction, the menu's commands, the rules for navigations and what needs a person's word, what becomes of loads, child
// windows, downloads, dialogs, portals.
#include "fenster.h"

#include "bruecke/json_text.h"
#include "eigene_seiten.h"
#include "grundlage/protokoll.h"
#include "grundlage/text.h"
#include "seiten.h"
#include "zieldatei.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace quillmate::fenster {

namespace {

constexpr ports::Fenstermasse hauptmasse{
    .breite = 1280, .hoehe = 860, .mindestbreite = 380, .mindesthoehe = 480};
constexpr ports::Fenstermasse nebenmasse{.breite = 900, .hoehe = 1000, .mindestbreite = 0, .mindesthoehe = 0};
constexpr char const* titel = "Quillmate";
constexpr std::chrono::seconds ladefrist{60};
/// A process that dies within this time after its page was loaded again would die for ever.
constexpr std::chrono::minutes absturzabstand{1};
/// Pages about it that are shown within that time: where no process can live, each of them would be the next death.
constexpr int hoechstensAbsturzseiten = 3;
/// Sign-ins that start without a person's doing, within this time.
constexpr std::size_t hoechstensAnmeldungen = 3;
constexpr std::chrono::seconds anmeldezeit{10};
/// Characters of a page's text in a dialog: more would not fit on any screen.
constexpr std::size_t hoechstensImDialog = 4000;
/// Characters of foreign texts in log lines and notices.
constexpr std::size_t hoechstensInZeile = 1000;

constexpr std::string_view ok = "OK";
constexpr std::string_view abbrechen = "Abbrechen";

std::string fuerDialog(std::string const& text) {
    auto kurz = ersteZeichen(text, hoechstensImDialog);
    if (kurz.size() < text.size())
        kurz += "…";
    return alsUtf8(kurz);
}

std::string fuerZeile(std::string_view text) {
    return einzeilig(text, hoechstensInZeile);
}

ports::Frage seitenfrage(std::string const& text, std::vector<std::string> knoepfe) {
    return {.meldung = titel, .erklaerung = fuerDialog(text), .knoepfe = std::move(knoepfe)};
}

} // namespace

Fenster::Fenster(Fensterumgebung umgebung)
    : umgebung_(std::move(umgebung))
    , downloads_([this](std::optional<ports::Fusszeile> zeile) { fenster_->fusszeile(std::move(zeile)); })
    , anmeldungen_(hoechstensAnmeldungen, anmeldezeit)
    , lebt_(std::make_shared<char>()) {
    ports::Webansicht::Einrichtung einrichtung;
    einrichtung.datenhaltung = ports::Webansicht::Einrichtung::Datenhaltung::hauptfenster;
    einrichtung.skripte = {bruecke::Bruecke::einspielung(umgebung_.angaben)};
    einrichtung.nachrichtenname = bruecke::Bruecke::name;
    einrichtung.nachrichten =
        [this, lebt = std::weak_ptr{lebt_}](std::string_view json, ports::Absender const& absender) {
            if (!lebt.expired() && bruecke_)
                bruecke_->empfangen(json, absender);
        };
    einrichtung.wischgesten = true;
    web_ = umgebung_.werk.webansicht(std::move(einrichtung), *this);
    fenster_ = umgebung_.werk.fenster(hauptmasse);

    bruecke::PortalOeffnen portale;
    if (umgebung_.portale.fenster)
        portale = [this, lebt = std::weak_ptr{lebt_}](bruecke::Portalanfrage const& anfrage) -> Json {
            if (lebt.expired())
                return {{"fehler", "Das Hauptfenster ist nicht mehr verfügbar."}};
            return portalOeffnen(anfrage);
        };
    bruecke_ = std::make_unique<bruecke::Bruecke>(web_, std::move(portale), umgebung_.bruecke);

    fenster_->titel(titel);
    fenster_->inhalt(*web_);
    fenster_->groesseMerken("QuillmateHauptfenster");

    web_->ladenHtml(ladeseite());
    protokoll("lade " + umgebung_.start.text());
    ladeStart();
}

Fenster::~Fenster() = default;

void Fenster::ladeStart() {
    web_->laden(umgebung_.start.text(), ladefrist);
}

void Fenster::neuLaden() {
    if (web_->adresse())
        web_->neuLaden();
    else
        ladeStart();
}

void Fenster::zurueck() {
    web_->zurueck();
}

void Fenster::vorwaerts() {
    web_->vorwaerts();
}

void Fenster::drucken() {
    web_->drucken(*fenster_);
}

ports::Entscheidung Fenster::beiNavigation(ports::Webansicht& web, ports::Navigation const& navigation) {
    using enum ports::Entscheidung;
    if (istVerlassen(web))
        return abbrechen;
    if (navigation.alsDownload) {
        auto const adresse = navigation.adresse.value_or("");
        return istSacheDesDienstes(web, adresse, navigation.ursprung) ||
                       web.gesteVerbrauchen(navigation.geste)
                   ? herunterladen
                   : erfragen;
    }
    if (anmeldewegVon(navigation.adresse) != Anmeldeweg::keiner) {
        anmeldenAufWunsch(web, *navigation.adresse, navigation.geste);
        return abbrechen;
    }
    // What a server redirects to is no click any more: sign-in and payment pages of others are reached that way.
    if (navigation.adresse && navigation.adresse->starts_with("blob:"))
        return zulassen; // what the page holds; beiAntwort() sees what it is
    bool const geklickt = navigation.art == ports::Navigationsart::link && !navigation.umgeleitet;
    if (geklickt && navigation.adresse && !istEigen(navigation.adresse)) {
        nachAussen(web, *navigation.adresse, navigation.geste);
        return abbrechen;
    }
    return zulassen;
}

ports::Entscheidung Fenster::beiAntwort(ports::Webansicht& web, ports::Antwortkopf const& antwort) {
    using enum ports::Entscheidung;
    if (istVerlassen(web))
        return abbrechen;
    bool const anhang = kleingeschrieben(antwort.contentDisposition).find("attachment") != std::string::npos;
    // As a page, it would be one of the service's.
    bool const seiteninhalt = antwort.hauptrahmen && antwort.adresse && antwort.adresse->starts_with("blob:");
    bool const harmlos = antwort.mimetyp == "application/pdf" || antwort.mimetyp.starts_with("image/");
    if (antwort.darstellbar && !anhang && (harmlos || !seiteninhalt))
        return zulassen;
    bool const eigenes = istSacheDesDienstes(web, antwort.adresse.value_or(""), {}) &&
                         verlangtVomDienst(antwort, umgebung_.start);
    return eigenes || web.gesteVerbrauchen(antwort.geste) ? herunterladen : erfragen;
}

bool Fenster::istSacheDesDienstes(
    ports::Webansicht& web, std::string_view adresse, std::string_view ursprung) const {
    auto const dokument = web.dokument();
    bool dienst = bruecke::darfSprechen(dokument, umgebung_.start);
    // A new window's first load is its asker's.
    if (dokument.dokument.empty() || dokument.dokument == "about:blank")
        dienst = std::ranges::any_of(nebenfenster_, [&web](auto const& neben) {
            return neben->web.get() == &web && neben->vomDienst;
        });
    if (!dienst)
        return false;
    // Frames are in the same view. What their links lead to is theirs; of anything else it says only where it leads.
    return ursprung.empty() ? gehoertDemDienst(ohneBlob(adresse), umgebung_.start)
                            : gehoertDemDienst(ursprung, umgebung_.start);
}

void Fenster::anmeldenAufWunsch(ports::Webansicht& web, std::string const& adresse, std::uint64_t geste) {
    if (darfGleichAnmelden(adresse, umgebung_.start)) {
        if (web.gesteVerbrauchen(geste) || anmeldungen_.nehmen(umgebung_.uhr.jetzt()))
            anmelden(adresse);
        else
            protokoll("Anmeldung nicht gestartet: zu viele in kurzer Zeit");
        return;
    }
    auto const ort = ortVon(adresse);
    fragen(
        {.frage =
             {.meldung = "Anmeldung öffnen?",
              .erklaerung = fmt::format(
                  "Eine Seite möchte eine Anmeldung bei „{}“ in deinem Browser beginnen. Das ist keine "
                  "Adresse von "
                  "Quillmate.",
                  ort),
              .knoepfe = {"Anmelden", std::string{abbrechen}},
              .warnung = true,
              .vorgabe = 1},
         .ort = ort,
         .weiter = [this, adresse](bool ja) {
             if (ja)
                 anmelden(adresse);
         }});
}

void Fenster::anmelden(std::string const& adresse) {
    auto const& anschluss = umgebung_.anmeldung;
    auto const& starten =
        anmeldewegVon(adresse) == Anmeldeweg::google ? anschluss.anmeldenMitGoogle : anschluss.bankVerbinden;
    if (starten)
        starten(adresse);
    else
        protokoll("Anmeldung über den Browser ist in dieser App-Fassung nicht verfügbar");
}

void Fenster::nachAussen(ports::Webansicht& web, std::string const& adresse, std::uint64_t geste) {
    auto const schema = schemaVon(adresse);
    if (!web.gesteVerbrauchen(geste)) {
        protokoll(fmt::format("nicht geöffnet, weil niemand geklickt hat: {} ({})", ortVon(adresse), schema));
        return;
    }
    if (istUeblichesSchema(schema)) {
        umgebung_.standardprogramm.oeffnen(adresse);
        return;
    }
    auto const programm = umgebung_.standardprogramm.nameFuer(schema);
    fragen(
        {.frage =
             {.meldung = "Anderes Programm öffnen?",
              .erklaerung = fmt::format(
                  "Eine Seite möchte eine Adresse der Art „{}:“ öffnen{}.", einzeilig(schema, 40),
                  programm ? fmt::format(", mit dem Programm „{}“", einzeilig(*programm, 100))
                           : std::string{}),
              .knoepfe = {"Öffnen", std::string{abbrechen}},
              .warnung = true,
              .vorgabe = 1},
         .ort = schema + ':',
         .weiter = [this, adresse](bool ja) {
             if (ja)
                 umgebung_.standardprogramm.oeffnen(adresse);
         }});
}

void Fenster::downloadErfragen(
    ports::Webansicht& /*web*/, ports::Downloadfrage const& frage, std::function<void(bool ja)> antwort) {
    auto const ort = ortVon(ohneBlob(frage.adresse));
    auto const was = frage.name.empty()
                         ? std::string{"eine Datei"}
                         : fmt::format("die Datei „{}“", einzeilig(sichererDateiname(frage.name), 120));
    fragen(
        {.frage =
             {.meldung = "Datei herunterladen?",
              .erklaerung =
                  fmt::format("Eine Seite möchte {} von „{}“ im Ordner „Downloads“ speichern.", was, ort),
              .knoepfe = {"Herunterladen", std::string{abbrechen}},
              .warnung = true,
              .vorgabe = 1},
         .ort = ort,
         .weiter = std::move(antwort)});
}

void Fenster::fragen(Wunsch wunsch) {
    if (std::exchange(abgelehntBei_, web_->dokument().nummer) != web_->dokument().nummer)
        abgelehnt_.clear();
    if (frageOffen_ || abgelehnt_.contains(wunsch.ort)) {
        protokoll(fmt::format("nicht gefragt: {}", wunsch.ort));
        wunsch.weiter(false);
        return;
    }
    frageOffen_ = true;
    umgebung_.dialoge.fragen(
        *fenster_, wunsch.frage,
        [this, lebt = std::weak_ptr{lebt_}, ort = wunsch.ort,
         weiter = std::move(wunsch.weiter)](ports::Antwort const& gewaehlt) {
            if (lebt.expired())
                return;
            frageOffen_ = false;
            bool const ja = gewaehlt.knopf == 0;
            if (!ja) {
                if (std::exchange(abgelehntBei_, web_->dokument().nummer) != web_->dokument().nummer)
                    abgelehnt_.clear();
                abgelehnt_.insert(ort);
            }
            weiter(ja);
        });
}

void Fenster::geladen(ports::Webansicht& web) {
    protokoll("geladen: " + web.adresse().value_or("-"));
}

void Fenster::fehlgeschlagen(ports::Webansicht& web, ports::Ladefehler const& fehler) {
    if (&web == web_.get())
        fehlerZeigen(fehler, fehler.adresse);
    else
        nebenfehlerZeigen(web, fehler);
}

void Fenster::nebenfehlerZeigen(ports::Webansicht& web, ports::Ladefehler const& fehler) {
    if (fehler.abgebrochen || istVerlassen(web))
        return;
    fehlerProtokollieren(fehler);
    web.ladenErsatz(fehlerseite(fehler.beschreibung), wiederholbar({fehler.adresse, web.adresse()}));
}

void Fenster::fehlerProtokollieren(ports::Ladefehler const& fehler) {
    protokoll(fmt::format("FEHLER {} {}: {}", fehler.bereich, fehler.nummer, fuerZeile(fehler.beschreibung)));
}

void Fenster::zeigeHinweis(ports::Ladefehler const& fehler) {
    fehlerZeigen(fehler, fehler.adresse);
}

void Fenster::fehlerZeigen(ports::Ladefehler const& fehler, std::optional<std::string> const& adresse) {
    if (fehler.abgebrochen)
        return;
    fehlerProtokollieren(fehler);
    web_->ladenErsatz(fehlerseite(fehler.beschreibung), wiederholbar({adresse, web_->adresse()}));
}

std::string Fenster::wiederholbar(std::initializer_list<std::optional<std::string>> adressen) const {
    // What only another program could open would fail each time again.
    for (auto const& adresse : adressen)
        if (adresse && istWebadresse(*adresse))
            return *adresse;
    return umgebung_.start.text();
}

void Fenster::prozessGestorben(ports::Webansicht& web, std::string const& grund) {
    bool const haupt = &web == web_.get();
    if (istVerlassen(web))
        return;
    auto const zeile = fuerZeile(grund);
    auto const jetzt = umgebung_.uhr.jetzt();
    auto const letzter = abstuerze_.find(&web);
    if (letzter == abstuerze_.end() || jetzt - letzter->second.neuGeladen >= absturzabstand) {
        protokoll(fmt::format("Webprozess beendet ({}): die Seite wird neu geladen", zeile));
        abstuerze_[&web] = {.neuGeladen = jetzt};
        if (haupt)
            neuLaden();
        else
            web.neuLaden();
        return;
    }
    if (++letzter->second.gezeigt > hoechstensAbsturzseiten) {
        protokoll(fmt::format("Webprozess erneut beendet ({}): die Ansicht bleibt leer", zeile));
        return;
    }
    protokoll(fmt::format("Webprozess erneut beendet ({}): die Fehlerseite wird gezeigt", zeile));
    web.ladenErsatz(absturzseite(grund), wiederholbar({web.adresse()}));
}

bool Fenster::istOffen(ports::Webansicht const& web) const {
    return std::ranges::any_of(nebenfenster_, [&web](auto const& neben) {
        return neben->web.get() == &web && neben->fenster->sichtbar();
    });
}

ports::Webansicht* Fenster::neuesFenster(
    ports::Webansicht& web, ports::Fensteranfrage const& anfrage, VerwandteAnsicht const& verwandte) {
    if (istVerlassen(web))
        return nullptr;
    if (anfrage.adresse && !istEigen(anfrage.adresse) && !anfrage.zielrahmen &&
        istWebadresse(*anfrage.adresse) && !istAufEigenemHost(*anfrage.adresse)) {
        nachAussen(web, *anfrage.adresse, anfrage.geste);
        return nullptr;
    }
    if (!web.gesteVerbrauchen(anfrage.geste)) {
        protokoll("kein neues Fenster, weil niemand geklickt hat");
        return nullptr;
    }
    auto neues = std::make_unique<Nebenfenster>();
    neues->vomDienst = bruecke::darfSprechen(web.dokument(), umgebung_.start);
    neues->web = verwandte(*this);
    if (!neues->web)
        return nullptr;
    neues->fenster = umgebung_.werk.fenster(nebenmasse);
    neues->fenster->titel(titel);
    neues->fenster->inhalt(*neues->web);
    neues->fenster->zeigen();
    neues->downloads = std::make_unique<Downloadzeile>(
        [fenster = neues->fenster.get()](std::optional<ports::Fusszeile> zeile) {
            fenster->fusszeile(std::move(zeile));
        });
    nebenfenster_.push_back(std::move(neues));
    return nebenfenster_.back()->web.get();
}

void Fenster::schliessen(ports::Webansicht& web) {
    for (auto const& neben : nebenfenster_)
        if (neben->web.get() == &web)
            neben->fenster->schliessen();
}

void Fenster::druckGescheitert(ports::Webansicht& /*web*/, std::string const& beschreibung) {
    protokoll("Drucken fehlgeschlagen: " + fuerZeile(beschreibung));
    meldeImFenster("Das Drucken hat nicht geklappt: " + fuerZeile(beschreibung), false);
}

void Fenster::meldeImFenster(std::string_view text, bool knopf) {
    skripteSpaeter({meldeskript(text, knopf), ansageskript()});
}

void Fenster::skripteSpaeter(std::vector<std::string> skripte) {
    umgebung_.schleife.spaeter([web = std::weak_ptr{web_}, skripte = std::move(skripte)] {
        for (auto const& skript : skripte)
            if (auto const ansicht = web.lock())
                ansicht->skript(skript);
    });
}

void Fenster::hinweis(ports::Webansicht& web, std::string const& text, std::function<void()> fertig) {
    if (istVerlassen(web))
        return fertig();
    umgebung_.dialoge.fragen(
        *fenster_, seitenfrage(text, {std::string{ok}}),
        [fertig = std::move(fertig)](ports::Antwort const&) { fertig(); });
}

void Fenster::bestaetigung(
    ports::Webansicht& web, std::string const& text, std::function<void(bool)> antwort) {
    if (istVerlassen(web))
        return antwort(false);
    umgebung_.dialoge.fragen(
        *fenster_, seitenfrage(text, {std::string{ok}, std::string{abbrechen}}),
        [antwort = std::move(antwort)](ports::Antwort const& gewaehlt) { antwort(gewaehlt.knopf == 0); });
}

void Fenster::eingabe(
    ports::Webansicht& web, std::string const& text, std::string const& vorgabe,
    std::function<void(std::optional<std::string>)> antwort) {
    if (istVerlassen(web))
        return antwort(std::nullopt);
    umgebung_.dialoge.eingeben(
        *fenster_, seitenfrage(text, {std::string{ok}, std::string{abbrechen}}), vorgabe, std::move(antwort));
}

void Fenster::zugangErfragen(
    ports::Webansicht& web, ports::Zugangsfrage const& frage,
    std::function<void(std::optional<ports::Zugangsdaten>)> antwort) {
    if (istVerlassen(web))
        return antwort(std::nullopt);
    umgebung_.dialoge.zugang(
        *fenster_,
        {.meldung = fmt::format("{} verlangt Name und Kennwort", einzeilig(frage.wirt, 253)),
         .erklaerung = frage.wiederholt ? "Name oder Kennwort stimmten nicht."
                                        : "Die Eingaben gehen nur an diesen Server.",
         .knoepfe = {"Anmelden", std::string{abbrechen}}},
        std::move(antwort));
}

void Fenster::dateienWaehlen(
    ports::Webansicht& web, ports::Dateiwahl const& wahl,
    std::function<void(std::optional<std::vector<std::string>>)> antwort) {
    if (istVerlassen(web))
        return antwort(std::nullopt);
    auto meine = wahl;
    meine.ueber = fenster_.get();
    for (auto const& neben : nebenfenster_)
        if (neben->web.get() == &web)
            meine.ueber = neben->fenster.get();
    umgebung_.dialoge.dateienWaehlen(meine, std::move(antwort));
}

Json Fenster::portalOeffnen(bruecke::Portalanfrage const& anfrage) {
    if (anfrage.clientId < 1 || anfrage.token.empty())
        return {{"fehler", "Der Projektzugang ist unvollständig."}};
    auto const& portale = umgebung_.portale;
    auto portal = portale.nachschlagen ? portale.nachschlagen(anfrage.kennung) : std::nullopt;
    if (!portal && anfrage.kennung == "weiteres" && portale.erfragen) {
        // The question runs the main loop: the page can ask again meanwhile, and the window can go away.
        if (portalfrageOffen_)
            return {{"abgebrochen", true}};
        portalfrageOffen_ = true;
        std::weak_ptr const lebt{lebt_};
        auto const erfragen = portale.erfragen;
        portal = erfragen(anfrage.name);
        if (lebt.expired())
            return {{"fehler", "Das Hauptfenster ist nicht mehr verfügbar."}};
        portalfrageOffen_ = false;
        if (!portal)
            return {{"abgebrochen", true}};
    }
    if (!portal) {
        protokoll(fmt::format("unbekanntes Portal '{}' abgewiesen", fuerZeile(anfrage.kennung)));
        return {{"fehler", "Dieses Portal wird von dieser App-Fassung nicht unterstützt."}};
    }
    std::erase_if(portalFenster_, [](auto const& offen) { return !offen->sichtbar(); });
    auto neues = portale.fenster ? portale.fenster(
                                       {.portal = *std::move(portal),
                                        .clientId = anfrage.clientId,
                                        .token = anfrage.token,
                                        .basis = umgebung_.start,
                                        .transactionId = anfrage.transactionId,
                                        .ereignis =
                                            [this, lebt = std::weak_ptr{lebt_}](Json const& ereignis) {
                                                if (!lebt.expired())
                                                    portalEreignis(ereignis);
                                            }})
                                 : nullptr;
    if (!neues)
        return {{"fehler", "Portalmodus ist in dieser App-Fassung nicht verfügbar."}};
    portalFenster_.push_back(std::move(neues));
    portalFenster_.back()->zeigen();
    return {{"geoeffnet", true}};
}

void Fenster::portalEreignis(Json const& ereignis) {
    if (!ereignis.is_object())
        return;
    auto const text = bruecke::jsonText(ereignis);
    if (!text)
        return;
    // Asked when it is delivered: meanwhile the window may have been led to a page that portals are none of the business
    // of. Such a page's event is lost; a page of the service asks for what is there when it comes.
    umgebung_.schleife.spaeter(
        [web = std::weak_ptr{web_}, start = umgebung_.start, werte = "[" + *text + "]"] {
            auto const ansicht = web.lock();
            if (!ansicht)
                return;
            auto const dokument = ansicht->dokument();
            if (bruecke::darfSprechen(dokument, start))
                ansicht->zustellen(dokument.nummer, "__quillmatePortalEreignis", werte);
        });
}

} // namespace quillmate::fenster
