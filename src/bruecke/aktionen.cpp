// From top to bottom: what several actions share, the actions in the order of the table, the table, the questions to it.
#include "aktionen.h"

#include "grundlage/datei.h"
#include "grundlage/herkunftsregeln.h"
#include "grundlage/protokoll.h"
#include "grundlage/text.h"
#include "macscan/datum.h"
#include "ordner/dateisuche.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>

namespace quillmate::bruecke {

namespace {

/// Finds per folder in reports to the page.
constexpr std::size_t hoechstensJeBericht = 5000;
/// Characters of a foreign address in a log line.
constexpr std::size_t hoechstensImProtokoll = 200;
constexpr std::int64_t hoechstensBilder = 500;
/// Time for the page to say that the program restarts, before it does.
constexpr std::chrono::milliseconds umzugsfrist{400};
/// Length of a folder's identifier; nothing longer names one.
constexpr std::size_t kennungslaenge = 16;

Json bericht(std::string const& ordner) {
    auto const anzahl = Ordner::durchsuchen(ordner, {.hoechstens = hoechstensJeBericht}).size();
    return {
        {"ordner", alsUtf8(letzteKomponente(ordner))},
        {"anzahl", anzahl},
        {"grenze_erreicht", anzahl >= hoechstensJeBericht}};
}

/// The request context of a scan or search, when its server is one that they may serve.
std::optional<dienst::Zugang> zugangAus(Aufruf const& aufruf) {
    auto const& argumente = aufruf.argumente;
    auto const server = dienstadresse(argumente.text("server").value(), aufruf.umgebung.start);
    if (!server) {
        if (server.error().art == Fehlerart::nichtErlaubt)
            protokoll(fmt::format("Bruecke: {}", einzeilig(server.error().text(), hoechstensImProtokoll)));
        return std::nullopt;
    }
    return dienst::Zugang{
        .server = server->text(),
        .clientId = argumente.ganzzahl("client_id").value(),
        .token = argumente.text("token").value()};
}

bool gegeben(Argumente const& argumente, Angabe const& angabe) {
    switch (angabe.art) {
    case Wertart::text:
        return argumente.text(angabe.schluessel).has_value();
    case Wertart::nichtleererText:
        return argumente.nichtleererText(angabe.schluessel).has_value();
    case Wertart::ganzzahl:
        return argumente.ganzzahl(angabe.schluessel).has_value();
    case Wertart::positiveZahl:
        return argumente.ganzzahl(angabe.schluessel).value_or(0) > 0;
    case Wertart::wahrheit:
    case Wertart::liste:
        return true;
    }
    return false;
}

MacScan::Melder melder(Antwortweg weg) {
    return [weg = std::move(weg)](Json const& meldung) {
        weg.antworte(meldung);
    };
}

void ordnerWaehlen(Aufruf const& aufruf) {
    // The panel runs the main loop, so further calls arrive while it is open. Panels upon panels would help nobody.
    auto& stand = aufruf.stand;
    if (stand.tafelOffen) {
        aufruf.weg.antworte({{"abgebrochen", true}});
        return;
    }
    stand.tafelOffen = true;
    std::weak_ptr<void> const lebt = stand.lebt;
    auto const ordner = Ordner::auswaehlen(aufruf.umgebung.ordnertafel);
    if (lebt.expired())
        return;
    stand.tafelOffen = false;
    if (!ordner) {
        aufruf.weg.antworte({{"abgebrochen", true}});
        return;
    }
    aufruf.umgebung.merkliste.merken(*ordner);
    auto antwort = bericht(*ordner);
    antwort["kennung"] = Ordner::kennung(*ordner);
    aufruf.weg.antworte(antwort);
}

void gemerkterOrdner(Aufruf const& aufruf) {
    Ordner::OffeneOrdner const offen{aufruf.umgebung.merkliste};
    aufruf.weg.antworte(offen.alle().empty() ? Json{{"ordner", nullptr}} : bericht(offen.alle().front().url));
}

void gemerkteOrdner(Aufruf const& aufruf) {
    Ordner::OffeneOrdner const offen{aufruf.umgebung.merkliste};
    auto liste = Json::array();
    for (auto const& gemerkt : offen.alle()) {
        auto eintrag = bericht(gemerkt.url);
        eintrag["kennung"] = gemerkt.kennung;
        liste.push_back(std::move(eintrag));
    }
    aufruf.weg.antworte({{"ordner", std::move(liste)}});
}

void ordnerVergessen(Aufruf const& aufruf) {
    if (auto const kennung = aufruf.argumente.nichtleererText("kennung"))
        aufruf.umgebung.merkliste.vergessen(*kennung);
    else
        aufruf.umgebung.merkliste.vergessen();
    aufruf.weg.antworte({{"ordner", nullptr}});
}

void portalOeffnen(Aufruf const& aufruf) {
    auto const& argumente = aufruf.argumente;
    if (!aufruf.stand.portalOeffnen) {
        aufruf.weg.antworteFehler("Portalmodus ist in dieser App-Fassung nicht verfügbar.");
        return;
    }
    // Asking for an address runs the main loop, which may end this bridge.
    auto const oeffnen = aufruf.stand.portalOeffnen;
    aufruf.weg.antworte(oeffnen(
        {.kennung = argumente.text("kennung").value(),
         .clientId = argumente.ganzzahl("client_id").value(),
         .token = argumente.text("token").value(),
         .name = argumente.text("name"),
         .transactionId = argumente.ganzzahl("transaction_id")}));
}

void macScannen(Aufruf const& aufruf) {
    auto const& argumente = aufruf.argumente;
    auto const zugang = zugangAus(aufruf);
    if (!zugang) {
        aufruf.weg.antworteFehler(aufruf.ablehnung);
        return;
    }
    aufruf.umgebung.suche.starten(
        {.zugang = *zugang,
         .alles = argumente.wahr("alles"),
         .fotos = argumente.wahr("fotos"),
         .nurOrdner = argumente.nichtleererText("nurOrdner"),
         .hoechstensBilder = std::clamp(
             argumente.ganzzahl("hoechstensBilder").value_or(hoechstensBilder), std::int64_t{1},
             hoechstensBilder)},
        melder(aufruf.weg));
}

void gezaehlt(Brueckenstand& stand, std::string const& kennung, Json const& ergebnis) {
    auto const wartende = stand.zaehlungen.extract(kennung);
    if (wartende)
        for (auto const& weg : wartende.mapped())
            weg.antworte(ergebnis);
}

void bilderZaehlen(Aufruf const& aufruf) {
    auto& stand = aufruf.stand;
    auto const kennung = aufruf.argumente.text("kennung").value();
    if (kennung.size() > kennungslaenge) { // Nothing to look for, and nothing to keep.
        aufruf.weg.antworteFehler("Der Ordner ist nicht mehr freigegeben.");
        return;
    }
    auto& wartende = stand.zaehlungen[kennung];
    wartende.push_back(aufruf.weg);
    if (wartende.size() > 1)
        return;
    auto zaehlen = [&stand, lebt = std::weak_ptr<void>{stand.lebt}, kennung, &suche = aufruf.umgebung.suche,
                    &schleife = aufruf.umgebung.schleife](std::stop_token const& ende) {
        Json ergebnis;
        try {
            auto const anzahl = suche.bilderZaehlen(kennung, ende);
            ergebnis = anzahl ? Json{{"anzahl", *anzahl}}
                              : Json{{"fehler", "Der Ordner ist nicht mehr freigegeben."}};
        } catch (std::exception const& fehler) { // out of memory
            protokoll(fmt::format("Bruecke: Bilder nicht gezählt: {}", fehler.what()));
            ergebnis = {{"fehler", "Die Bilder konnten nicht gezählt werden."}};
        }
        schleife.spaeter([&stand, lebt, kennung, ergebnis] {
            if (!lebt.expired()) // asked on the main thread, where bridges die
                gezaehlt(stand, kennung, ergebnis);
        });
    };
    try {
        stand.hintergrund.ausfuehren(std::move(zaehlen));
    } catch (std::exception const&) {
        stand.zaehlungen.erase(kennung);
        throw;
    }
}

void gezieltSuchen(Aufruf const& aufruf) {
    auto const& argumente = aufruf.argumente;
    auto const zugang = zugangAus(aufruf);
    if (!zugang) {
        aufruf.weg.antworteFehler(aufruf.ablehnung);
        return;
    }
    aufruf.umgebung.suche.gezieltSuchen(
        {.zugang = *zugang,
         .transactionId = argumente.ganzzahl("transaction_id").value(),
         .stichworte = argumente.liste("stichworte").value(),
         .betragTexte = argumente.liste("betrag_texte").value(),
         .datum = MacScan::datumAus(argumente.text("datum"))},
        melder(aufruf.weg));
}

void inProgrammeVerschieben(Aufruf const& aufruf) {
    auto lage = aufruf.umgebung.umzugLage();
    if (!lage.umzugNoetig) {
        aufruf.weg.antworte({{"ort", lage.ort}});
        return;
    }
    aufruf.weg.antworte({{"neustart", true}});
    aufruf.umgebung.schleife.nach(umzugsfrist, std::move(lage.ausfuehren));
}

void suchStand(Aufruf const& aufruf) {
    aufruf.weg.antworte(aufruf.umgebung.suche.stand.bericht());
}

void nachUpdatesSuchen(Aufruf const& aufruf) {
    if (aufruf.umgebung.aktualisierer)
        aufruf.umgebung.aktualisierer->nachUpdatesSuchen();
    aufruf.weg.antworte(Json::object());
}

} // namespace

std::span<Aktion const> aktionen() {
    using enum Wertart;
    static std::vector<Aktion> const tabelle{
        {.name = "ordnerWaehlen", .handlung = ordnerWaehlen, .skriptstelle = 3},
        {.name = "gemerkterOrdner", .handlung = gemerkterOrdner, .skriptstelle = 4},
        {.name = "gemerkteOrdner", .handlung = gemerkteOrdner, .skriptstelle = 5},
        {.name = "ordnerVergessen",
         .handlung = ordnerVergessen,
         .angaben = {{"kennung", nichtleererText}},
         .skriptstelle = 6},
        {.name = "portalOeffnen",
         .handlung = portalOeffnen,
         .angaben =
             {{"kennung", text, true},
              {"client_id", ganzzahl, true},
              {"token", nichtleererText, true},
              {"name", text},
              {"transaction_id", ganzzahl}},
         .ablehnung = "Unvollständige Portalanfrage.",
         .skriptstelle = 7},
        {.name = "macScannen",
         .handlung = macScannen,
         .angaben =
             {{"client_id", positiveZahl, true},
              {"token", text, true},
              {"server", nichtleererText, true},
              {"alles", wahrheit},
              {"fotos", wahrheit},
              {"nurOrdner", nichtleererText},
              {"hoechstensBilder", ganzzahl}},
         .ablehnung = "Unvollständige Scan-Anfrage.",
         .skriptstelle = 8},
        {.name = "bilderZaehlen",
         .handlung = bilderZaehlen,
         .angaben = {{"kennung", nichtleererText, true}},
         .ablehnung = "Kein Ordner angegeben.",
         .skriptstelle = 10,
         .skriptkommentar = "    // Erweiterte Bildersuche (0.4.7): zaehlt lokal. Die Seite zeigt den\n"
                            "    // Abschnitt ueberhaupt erst, wenn es diese Funktion gibt.\n"},
        {.name = "gezieltSuchen",
         .handlung = gezieltSuchen,
         .angaben =
             {{"client_id", positiveZahl, true},
              {"token", text, true},
              {"server", nichtleererText, true},
              {"transaction_id", positiveZahl, true},
              {"stichworte", liste},
              {"betrag_texte", liste},
              {"datum", text}},
         .ablehnung = "Unvollständige Suchanfrage.",
         .skriptstelle = 9},
        {.name = "inProgrammeVerschieben", .handlung = inProgrammeVerschieben, .skriptstelle = 1},
        {.name = "suchStand",
         .handlung = suchStand,
         .skriptstelle = 11,
         .skriptkommentar =
             "    // Was die App gerade tut (0.4.12) - die Seite fragt jede Sekunde, lokal, ohne Server.\n"},
        {.name = "nachUpdatesSuchen", .handlung = nachUpdatesSuchen, .skriptstelle = 2}};
    return tabelle;
}

Aktion const* aktionNamens(std::string_view name) {
    auto const alle = aktionen();
    auto const zeile = std::ranges::find(alle, name, &Aktion::name);
    return zeile == alle.end() ? nullptr : &*zeile;
}

bool istAngabe(std::string_view schluessel) {
    return std::ranges::any_of(aktionen(), [&](Aktion const& aktion) {
        return std::ranges::find(aktion.angaben, schluessel, &Angabe::schluessel) != aktion.angaben.end();
    });
}

bool vollstaendig(Aktion const& aktion, Argumente const& argumente) {
    return std::ranges::all_of(aktion.angaben, [&](Angabe const& angabe) {
        return angabe.art == Wertart::liste ? argumente.liste(angabe.schluessel).has_value()
                                            : !angabe.noetig || gegeben(argumente, angabe);
    });
}

} // namespace quillmate::bruecke
