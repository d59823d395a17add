// From top to bottom: the list of what pages may call, the road of replies, the checks, the actions in the order in
// which the dispatcher knows them.
#include "bruecke.h"

#include "grundlage/datei.h"
#include "grundlage/herkunftsregeln.h"
#include "grundlage/protokoll.h"
#include "grundlage/text.h"
#include "json_text.h"
#include "macscan/datum.h"
#include "ordner/dateisuche.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <set>
#include <utility>

namespace quillmate::bruecke {

namespace {

/// Finds per folder in reports to the page.
constexpr std::size_t hoechstensJeBericht = 5000;
/// Characters of a foreign name in a log line.
constexpr std::size_t hoechstensImProtokoll = 200;
/// Origins that the log names while one document is shown: a page can open windows of any.
constexpr std::size_t hoechstensFremde = 20;
constexpr std::int64_t hoechstensBilder = 500;
/// Time for the page to say that the program restarts, before it does.
constexpr std::chrono::milliseconds umzugsfrist{400};
/// Length of a folder's identifier; nothing longer names one.
constexpr std::size_t kennungslaenge = 16;

constexpr std::string_view unbekannteAktion = "unbekannte Aktion";

std::set<std::string, std::less<>> const& erlaubt() {
    static std::set<std::string, std::less<>> const namen{
        "ordnerWaehlen",          "gemerkterOrdner",   "gemerkteOrdner", "ordnerVergessen",
        "portalOeffnen",          "macScannen",        "gezieltSuchen",  "bilderZaehlen",
        "inProgrammeVerschieben", "nachUpdatesSuchen", "suchStand"};
    return namen;
}

Json bericht(std::string const& ordner) {
    auto const anzahl = Ordner::durchsuchen(ordner, {.hoechstens = hoechstensJeBericht}).size();
    return {
        {"ordner", alsUtf8(letzteKomponente(ordner))},
        {"anzahl", anzahl},
        {"grenze_erreicht", anzahl >= hoechstensJeBericht}};
}

/// The request context of scans and searches, when all of it is there.
std::optional<dienst::Zugang> zugangAus(Argumente const& argumente, Adresse const& start) {
    auto const clientId = argumente.ganzzahl("client_id");
    auto const token = argumente.text("token");
    auto const genannt = argumente.text("server");
    if (!clientId || *clientId <= 0 || !token || !genannt)
        return std::nullopt;
    auto const server = dienstadresse(*genannt, start);
    if (!server) {
        if (server.error().art == Fehlerart::nichtErlaubt)
            protokoll(fmt::format("Bruecke: {}", einzeilig(server.error().text(), hoechstensImProtokoll)));
        return std::nullopt;
    }
    return dienst::Zugang{.server = server->text(), .clientId = *clientId, .token = *token};
}

} // namespace

std::vector<Bruecke::Aktion> const& Bruecke::aktionen() {
    static std::vector<Aktion> const tabelle{
        {"ordnerWaehlen", &Bruecke::ordnerWaehlen},
        {"gemerkterOrdner", &Bruecke::gemerkterOrdner},
        {"gemerkteOrdner", &Bruecke::gemerkteOrdner},
        {"ordnerVergessen", &Bruecke::ordnerVergessen},
        {"portalOeffnen", &Bruecke::portalOeffnen},
        {"macScannen", &Bruecke::macScannen},
        {"bilderZaehlen", &Bruecke::bilderZaehlen},
        {"gezieltSuchen", &Bruecke::gezieltSuchen},
        {"inProgrammeVerschieben", &Bruecke::inProgrammeVerschieben},
        {"suchStand", &Bruecke::suchStand},
        {"nachUpdatesSuchen", &Bruecke::nachUpdatesSuchen}};
    return tabelle;
}

Bruecke::Antwortweg::Antwortweg(
    Bruecke const& bruecke, ports::Absender const& absender, std::int64_t id) noexcept
    : schleife_(&bruecke.umgebung_.schleife)
    , web_(bruecke.web_)
    , bruecke_(bruecke.lebt_)
    , dokument_(absender.nummer)
    , id_(id) {}

void Bruecke::Antwortweg::antworte(Json const& ergebnis) const {
    if (bruecke_.expired())
        return;
    auto const text = jsonText(ergebnis);
    if (!text)
        return;
    // The view is looked up on the main thread only: a lock taken here could make a worker its last owner.
    schleife_->spaeter([web = web_, dokument = dokument_, werte = fmt::format("[{},{}]", id_, *text)] {
        if (auto const ansicht = web.lock())
            ansicht->zustellen(dokument, "__quillmateAntwort", werte);
    });
}

Bruecke::Bruecke(std::weak_ptr<ports::Webansicht> web, PortalOeffnen portalOeffnen, Brueckenumgebung umgebung)
    : umgebung_(std::move(umgebung))
    , web_(std::move(web))
    , portalOeffnen_(std::move(portalOeffnen))
    , lebt_(std::make_shared<char>())
    , hintergrund_(umgebung_.arbeitsfaden) {}

Bruecke::~Bruecke() = default;

ports::Nutzerskript Bruecke::einspielung(Programmangaben const& angaben) {
    return {.quelltext = einspielungsskript(angaben), .nurHauptrahmen = true};
}

MacScan::Melder Bruecke::melder(Antwortweg weg) {
    return [weg = std::move(weg)](Json const& meldung) {
        weg.antworte(meldung);
    };
}

void Bruecke::empfangen(std::string_view json, ports::Absender const& absender) {
    if (!darfSprechen(absender, umgebung_.start)) {
        fremdeMelden(absender);
        return;
    }
    auto const nachricht = entschluesseln(json);
    if (!nachricht) {
        protokoll("Bruecke: unverständliche Nachricht abgewiesen");
        return;
    }
    // Also for what outlives this bridge: an action may run the main loop (a panel), and the loop may end the window.
    Antwortweg const weg{*this, absender, nachricht->id};
    if (!erlaubt().contains(nachricht->aktion)) {
        protokoll(fmt::format(
            "Bruecke: Aktion '{}' ist nicht erlaubt - abgewiesen",
            einzeilig(nachricht->aktion, hoechstensImProtokoll)));
        weg.antworteFehler(unbekannteAktion);
        return;
    }
    auto const aktion = std::ranges::find(aktionen(), nachricht->aktion, &Aktion::name);
    if (aktion == aktionen().end()) {
        weg.antworteFehler(unbekannteAktion);
        return;
    }
    try {
        (this->*aktion->handlung)(*nachricht, weg);
    } catch (std::exception const& fehler) { // out of memory, out of threads
        protokoll(fmt::format("Bruecke: Aktion '{}' abgebrochen: {}", nachricht->aktion, fehler.what()));
        weg.antworteFehler("Die Aktion ist unerwartet abgebrochen.");
    }
}

void Bruecke::fremdeMelden(ports::Absender const& absender) {
    if (std::exchange(fremdeVon_, absender.nummer) != absender.nummer)
        fremde_.clear();
    auto const ursprung = einzeilig(absender.ursprung, hoechstensImProtokoll);
    if (fremde_.size() < hoechstensFremde && fremde_.insert(ursprung).second)
        protokoll(fmt::format("Bruecke: Nachrichten von {} werden nicht beachtet", ursprung));
}

void Bruecke::ordnerWaehlen(Nachricht const& /*nachricht*/, Antwortweg const& weg) {
    // The panel runs the main loop, so further calls arrive while it is open. Panels upon panels would help nobody.
    if (tafelOffen_) {
        weg.antworte({{"abgebrochen", true}});
        return;
    }
    tafelOffen_ = true;
    std::weak_ptr<void> const lebt = lebt_;
    auto const ordner = Ordner::auswaehlen(umgebung_.ordnertafel);
    if (lebt.expired())
        return;
    tafelOffen_ = false;
    if (!ordner) {
        weg.antworte({{"abgebrochen", true}});
        return;
    }
    umgebung_.merkliste.merken(*ordner);
    auto antwort = bericht(*ordner);
    antwort["kennung"] = Ordner::kennung(*ordner);
    weg.antworte(antwort);
}

void Bruecke::gemerkterOrdner(Nachricht const& /*nachricht*/, Antwortweg const& weg) {
    Ordner::OffeneOrdner const offen{umgebung_.merkliste};
    weg.antworte(offen.alle().empty() ? Json{{"ordner", nullptr}} : bericht(offen.alle().front().url));
}

void Bruecke::gemerkteOrdner(Nachricht const& /*nachricht*/, Antwortweg const& weg) {
    Ordner::OffeneOrdner const offen{umgebung_.merkliste};
    auto liste = Json::array();
    for (auto const& gemerkt : offen.alle()) {
        auto eintrag = bericht(gemerkt.url);
        eintrag["kennung"] = gemerkt.kennung;
        liste.push_back(std::move(eintrag));
    }
    weg.antworte({{"ordner", std::move(liste)}});
}

void Bruecke::ordnerVergessen(Nachricht const& nachricht, Antwortweg const& weg) {
    if (auto const kennung = nachricht.argumente.nichtleererText("kennung"))
        umgebung_.merkliste.vergessen(*kennung);
    else
        umgebung_.merkliste.vergessen();
    weg.antworte({{"ordner", nullptr}});
}

void Bruecke::portalOeffnen(Nachricht const& nachricht, Antwortweg const& weg) {
    auto const& argumente = nachricht.argumente;
    auto const kennung = argumente.text("kennung");
    auto const clientId = argumente.ganzzahl("client_id");
    auto const token = argumente.nichtleererText("token");
    if (!kennung || !clientId || !token) {
        weg.antworteFehler("Unvollständige Portalanfrage.");
        return;
    }
    if (!portalOeffnen_) {
        weg.antworteFehler("Portalmodus ist in dieser App-Fassung nicht verfügbar.");
        return;
    }
    // Asking for an address runs the main loop, which may end this bridge.
    auto const oeffnen = portalOeffnen_;
    weg.antworte(oeffnen(
        {.kennung = *kennung,
         .clientId = *clientId,
         .token = *token,
         .name = argumente.text("name"),
         .transactionId = argumente.ganzzahl("transaction_id")}));
}

void Bruecke::macScannen(Nachricht const& nachricht, Antwortweg const& weg) {
    auto const& argumente = nachricht.argumente;
    auto const zugang = zugangAus(argumente, umgebung_.start);
    if (!zugang) {
        weg.antworteFehler("Unvollständige Scan-Anfrage.");
        return;
    }
    umgebung_.suche.starten(
        {.zugang = *zugang,
         .alles = argumente.wahr("alles"),
         .fotos = argumente.wahr("fotos"),
         .nurOrdner = argumente.nichtleererText("nurOrdner"),
         .hoechstensBilder = std::clamp(
             argumente.ganzzahl("hoechstensBilder").value_or(hoechstensBilder), std::int64_t{1},
             hoechstensBilder)},
        melder(weg));
}

void Bruecke::bilderZaehlen(Nachricht const& nachricht, Antwortweg const& weg) {
    auto const kennung = nachricht.argumente.nichtleererText("kennung");
    if (!kennung) {
        weg.antworteFehler("Kein Ordner angegeben.");
        return;
    }
    if (kennung->size() > kennungslaenge) { // Nothing to look for, and nothing to keep.
        weg.antworteFehler("Der Ordner ist nicht mehr freigegeben.");
        return;
    }
    auto& wartende = zaehlungen_[*kennung];
    wartende.push_back(weg);
    if (wartende.size() > 1)
        return;
    auto zaehlen = [this, lebt = std::weak_ptr<void>{lebt_}, kennung = *kennung, &suche = umgebung_.suche,
                    &schleife = umgebung_.schleife](std::stop_token const& ende) {
        Json ergebnis;
        try {
            auto const anzahl = suche.bilderZaehlen(kennung, ende);
            ergebnis = anzahl ? Json{{"anzahl", *anzahl}}
                              : Json{{"fehler", "Der Ordner ist nicht mehr freigegeben."}};
        } catch (std::exception const& fehler) { // out of memory
            protokoll(fmt::format("Bruecke: Bilder nicht gezählt: {}", fehler.what()));
            ergebnis = {{"fehler", "Die Bilder konnten nicht gezählt werden."}};
        }
        schleife.spaeter([this, lebt, kennung, ergebnis] {
            if (!lebt.expired()) // asked on the main thread, where bridges die
                gezaehlt(kennung, ergebnis);
        });
    };
    try {
        hintergrund_.ausfuehren(std::move(zaehlen));
    } catch (std::exception const&) {
        zaehlungen_.erase(*kennung);
        throw;
    }
}

void Bruecke::gezaehlt(std::string const& kennung, Json const& ergebnis) {
    auto const wartende = zaehlungen_.extract(kennung);
    if (wartende)
        for (auto const& weg : wartende.mapped())
            weg.antworte(ergebnis);
}

void Bruecke::gezieltSuchen(Nachricht const& nachricht, Antwortweg const& weg) {
    auto const& argumente = nachricht.argumente;
    auto const zugang = zugangAus(argumente, umgebung_.start);
    auto const transactionId = argumente.ganzzahl("transaction_id");
    auto const stichworte = argumente.liste("stichworte");
    auto const betragTexte = argumente.liste("betrag_texte");
    if (!zugang || !transactionId || *transactionId <= 0 || !stichworte || !betragTexte) {
        weg.antworteFehler("Unvollständige Suchanfrage.");
        return;
    }
    umgebung_.suche.gezieltSuchen(
        {.zugang = *zugang,
         .transactionId = *transactionId,
         .stichworte = *stichworte,
         .betragTexte = *betragTexte,
         .datum = MacScan::datumAus(argumente.text("datum"))},
        melder(weg));
}

void Bruecke::inProgrammeVerschieben(Nachricht const& /*nachricht*/, Antwortweg const& weg) {
    auto lage = umgebung_.umzugLage();
    if (!lage.umzugNoetig) {
        weg.antworte({{"ort", lage.ort}});
        return;
    }
    weg.antworte({{"neustart", true}});
    umgebung_.schleife.nach(umzugsfrist, std::move(lage.ausfuehren));
}

void Bruecke::suchStand(Nachricht const& /*nachricht*/, Antwortweg const& weg) {
    weg.antworte(umgebung_.suche.stand.bericht());
}

void Bruecke::nachUpdatesSuchen(Nachricht const& /*nachricht*/, Antwortweg const& weg) {
    if (umgebung_.aktualisierer)
        umgebung_.aktualisierer->nachUpdatesSuchen();
    weg.antworte(Json::object());
}

} // namespace quillmate::bruecke
