#include "dienst.h"

#include "grundlage/protokoll.h"
#include "grundlage/text.h"
#include "multipart.h"
#include "webseite.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <limits>
#include <map>
#include <optional>
#include <utility>

namespace quillmate::demo {

using Json = nlohmann::json;

/// One request on its way through its handler.
struct Dienst::Anruf {
    httplib::Request const& anfrage;
    httplib::Response& antwort;
    HttpServer::Koerperleser const* leser; ///< Null for requests without a body.
    std::int64_t nummer{0};                ///< The number in the path.
};

/// One row of the table of routes.
struct Dienst::Weg {
    enum class Methode { holen, senden, setzen };
    enum class Nummer { keine, kunde, anderes };
    Methode methode;
    char const* muster; ///< Regular expression; with one group, unless there is no number.
    Nummer nummer;      ///< Whether the number is the client's, which is then checked.
    void (Dienst::*tue)(Anruf&);
};

#define ZAHL "(-?[0-9]{1,20})"

Dienst::Weg const Dienst::wege[] = {
    {Weg::Methode::holen, "/clients/" ZAHL "/local-scan-preference", Weg::Nummer::kunde,
     &Dienst::vorgabeHolen},
    {Weg::Methode::setzen, "/clients/" ZAHL "/local-scan-preference", Weg::Nummer::kunde,
     &Dienst::vorgabeSetzen},
    {Weg::Methode::holen, "/clients/" ZAHL "/local-scan/seen-paths", Weg::Nummer::kunde,
     &Dienst::gesehenePfade},
    {Weg::Methode::holen, "/clients/" ZAHL "/local-scan/known-nonreceipt-hashes", Weg::Nummer::kunde,
     &Dienst::hashesOhneBeleg},
    {Weg::Methode::holen, "/clients/" ZAHL "/local-scan/progress", Weg::Nummer::kunde,
     &Dienst::fortschrittHolen},
    {Weg::Methode::senden, "/clients/" ZAHL "/local-scan/progress-start", Weg::Nummer::kunde,
     &Dienst::fortschrittBeginnen},
    {Weg::Methode::senden, "/clients/" ZAHL "/local-scan/progress-update", Weg::Nummer::kunde,
     &Dienst::fortschrittMelden},
    {Weg::Methode::senden, "/clients/" ZAHL "/local-scan/progress-finish", Weg::Nummer::kunde,
     &Dienst::fortschrittBeenden},
    {Weg::Methode::senden, "/clients/" ZAHL "/local-scan/stop", Weg::Nummer::kunde, &Dienst::stoppen},
    {Weg::Methode::senden, "/clients/" ZAHL "/local-receipts/upload", Weg::Nummer::kunde, &Dienst::hochladen},
    {Weg::Methode::senden, "/transactions/" ZAHL "/attach-receipt", Weg::Nummer::anderes, &Dienst::anBuchung},
    // The service's own, for its page and for trying.
    {Weg::Methode::holen, "/clients/" ZAHL "/letzter-bericht", Weg::Nummer::kunde, &Dienst::letzterBericht},
    {Weg::Methode::holen, "/clients/" ZAHL "/belege", Weg::Nummer::kunde, &Dienst::belegeHolen},
    {Weg::Methode::holen, "/belege/" ZAHL, Weg::Nummer::anderes, &Dienst::belegHolen},
    {Weg::Methode::holen, "/clients/" ZAHL "/buchungen", Weg::Nummer::kunde, &Dienst::buchungenHolen},
    {Weg::Methode::senden, "/clients/" ZAHL "/buchungen", Weg::Nummer::kunde, &Dienst::buchungAnlegen},
    {Weg::Methode::holen, "/demo/selbstlauf", Weg::Nummer::keine, &Dienst::selbstlaufHolen},
    {Weg::Methode::senden, "/demo/selbstlauf", Weg::Nummer::keine, &Dienst::selbstlaufMelden},
};

namespace {

/// Bookings beyond this are typing errors: 10 billion euros.
constexpr Cent hoechstensBetrag = 1'000'000'000'000;
constexpr std::size_t hoechstensBuchungstext_zeichen = 500;

void antworte(httplib::Response& antwort, int status, Json const& inhalt) {
    antwort.status = status;
    antwort.set_content(inhalt.dump(-1, ' ', false, Json::error_handler_t::replace), "application/json");
}

void verweigere(httplib::Response& antwort, int status, std::string_view grund) {
    antworte(antwort, status, {{"detail", grund}});
}

constexpr std::string_view speicherfehler = "Der Dienst konnte nichts speichern.";

std::string_view alsText(Herkunft herkunft) {
    switch (herkunft) {
    case Herkunft::scan:
        return "scan";
    case Herkunft::gezielt:
        return "gezielt";
    case Herkunft::portal:
        return "portal";
    }
    return "";
}

std::string_view alsText(Zustand zustand) {
    switch (zustand) {
    case Zustand::ungelesen:
        return "ungelesen";
    case Zustand::beleg:
        return "beleg";
    case Zustand::keinBeleg:
        return "kein_beleg";
    }
    return "";
}

std::string_view alsText(Zuordnung art) {
    return art == Zuordnung::zugeordnet ? "zugeordnet" : "vorschlag";
}

/// Refuses for a body that could not be read. True when it was.
bool istGelesen(HttpServer::Koerper const& koerper, httplib::Response& antwort) {
    switch (koerper.lage) {
    case HttpServer::Koerperlage::gelesen:
        return true;
    case HttpServer::Koerperlage::zuGross:
        verweigere(antwort, 413, "Die Anfrage ist zu groß.");
        return false;
    case HttpServer::Koerperlage::abgerissen:
        verweigere(antwort, 400, "Die Anfrage ist unvollständig.");
        return false;
    case HttpServer::Koerperlage::ueberlastet:
        verweigere(antwort, 503, "Der Dienst ist ausgelastet.");
        return false;
    }
    return false;
}

/// The JSON object of a body; refuses and returns nothing for anything else.
std::optional<Json> liesObjekt(
    HttpServer& server, httplib::Request const& anfrage, HttpServer::Koerperleser const& leser,
    httplib::Response& antwort) {
    auto const koerper = server.liesKoerper(anfrage, leser, hoechstensJson_byte);
    if (!istGelesen(koerper, antwort))
        return std::nullopt;
    auto inhalt = Json::parse(koerper.bytes, nullptr, false);
    if (!inhalt.is_object()) {
        verweigere(antwort, 400, "Die Anfrage ist kein JSON-Objekt.");
        return std::nullopt;
    }
    return inhalt;
}

/// A whole number from 0 on; nothing for anything else.
std::optional<std::int64_t> anzahl(Json const& objekt, char const* schluessel) {
    auto const stelle = objekt.find(schluessel);
    if (stelle == objekt.end() || !stelle->is_number_integer())
        return std::nullopt;
    if (stelle->is_number_unsigned() &&
        stelle->get<std::uint64_t>() > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
        return std::nullopt;
    auto const wert = stelle->get<std::int64_t>();
    return wert >= 0 ? std::optional{wert} : std::nullopt;
}

std::string textfeld(Json const& objekt, char const* schluessel) {
    auto const stelle = objekt.find(schluessel);
    return stelle != objekt.end() && stelle->is_string() ? stelle->get<std::string>() : std::string{};
}

/// What is wrong with the preferences; empty when nothing is.
std::string_view vorgabefehler(Json const& vorgabe) {
    auto const datum = vorgabe.find("min_file_date");
    if (datum != vorgabe.end() && !datum->is_null() && !datum->is_string())
        return "„min_file_date“ muss ein Text sein.";
    auto const worte = vorgabe.find("context_keywords");
    if (worte != vorgabe.end() && !(worte->is_array() && std::ranges::all_of(*worte, [](Json const& wort) {
                                        return wort.is_string();
                                    })))
        return "„context_keywords“ muss eine Liste von Texten sein.";
    auto const kontingent = vorgabe.find("kontingent");
    if (kontingent != vorgabe.end() && !kontingent->is_null() && !anzahl(vorgabe, "kontingent"))
        return "„kontingent“ muss eine Anzahl sein.";
    return {};
}

std::optional<std::int64_t> kontingent(std::string const& vorgabe) {
    auto const objekt = Json::parse(vorgabe, nullptr, false);
    return objekt.is_object() ? anzahl(objekt, "kontingent") : std::nullopt;
}

constexpr std::string_view kontingentErreicht = "Das Belegkontingent ist erreicht.";

Formularteil const* findeTeil(std::vector<Formularteil> const& teile, std::string_view name) {
    auto const stelle = std::ranges::find(teile, name, &Formularteil::name);
    return stelle == teile.end() ? nullptr : &*stelle;
}

/// The content type to send a receipt with, from its own bytes: what its sender called it is not repeated.
char const* typNachBytes(std::string_view bytes) {
    if (dateiart(bytes, {}) == Texterkennung::Dateiart::pdf)
        return "application/pdf";
    if (bytes.starts_with("\xFF\xD8\xFF"))
        return "image/jpeg";
    if (bytes.starts_with("\x89PNG\r\n"))
        return "image/png";
    return dateiart(bytes, {}) ? "image/heic" : "application/octet-stream";
}

char const* endungNachBytes(std::string_view bytes) {
    std::string_view const typ = typNachBytes(bytes);
    if (typ == "application/pdf")
        return ".pdf";
    if (typ == "image/jpeg")
        return ".jpg";
    if (typ == "image/png")
        return ".png";
    return typ == "image/heic" ? ".heic" : "";
}

std::string_view standardgrund(int status) {
    switch (status) {
    case 400:
        return "Die Anfrage ist fehlerhaft.";
    case 404:
        return "Das gibt es hier nicht.";
    case 413:
        return "Die Anfrage ist zu groß.";
    case 414:
        return "Die Adresse ist zu lang.";
    default:
        return "Der Dienst konnte die Anfrage nicht bearbeiten.";
    }
}

} // namespace

Dienst::Dienst(HttpServer& server, Speicher& speicher, Auswertung& auswertung, Zugang zugang)
    : server_(server)
    , speicher_(speicher)
    , auswertung_(auswertung)
    , zugang_(std::move(zugang)) {
    server_.beiFehler([](httplib::Request const&, httplib::Response& antwort) {
        if (antwort.body.empty())
            verweigere(antwort, antwort.status, standardgrund(antwort.status));
    });
    server_.beiAusnahme(
        [](httplib::Request const&, httplib::Response& antwort, std::exception_ptr const& fehler) {
            try {
                std::rethrow_exception(fehler);
            } catch (std::exception const& grund) {
                protokoll(fmt::format("Demodienst: {}", grund.what()));
            } catch (...) {
                protokoll("Demodienst: unbekannter Fehler");
            }
            verweigere(antwort, 500, standardgrund(500));
        });
    for (auto const& weg : wege)
        anmelden(weg);
}

void Dienst::anmelden(Weg const& weg) {
    auto ohneKoerper = [this, &weg](httplib::Request const& anfrage, httplib::Response& antwort) {
        Anruf anruf{.anfrage = anfrage, .antwort = antwort, .leser = nullptr};
        bediene(weg, anruf);
    };
    auto mitKoerper = [this, &weg](
                          httplib::Request const& anfrage, httplib::Response& antwort,
                          HttpServer::Koerperleser const& leser) {
        Anruf anruf{.anfrage = anfrage, .antwort = antwort, .leser = &leser};
        bediene(weg, anruf);
    };
    switch (weg.methode) {
    case Weg::Methode::holen:
        server_.beiGet(weg.muster, ohneKoerper);
        break;
    case Weg::Methode::senden:
        server_.beiPost(weg.muster, mitKoerper);
        break;
    case Weg::Methode::setzen:
        server_.beiPut(weg.muster, mitKoerper);
        break;
    }
}

void Dienst::bediene(Weg const& weg, Anruf& anruf) {
    if (!zugang_.passt(anruf.anfrage.get_param_value("token"))) {
        verweigere(anruf.antwort, 401, "Die Anmeldung ist ungültig.");
        return;
    }
    if (weg.nummer == Weg::Nummer::keine)
        return (this->*weg.tue)(anruf);
    auto const nummer = anruf.anfrage.matches[1].str();
    auto const [ende, fehler] = std::from_chars(nummer.data(), nummer.data() + nummer.size(), anruf.nummer);
    if (fehler != std::errc{} || (weg.nummer == Weg::Nummer::kunde && anruf.nummer != zugang_.kunde)) {
        verweigere(
            anruf.antwort, 404,
            weg.nummer == Weg::Nummer::kunde ? "Diesen Mandanten gibt es nicht." : standardgrund(404));
        return;
    }
    (this->*weg.tue)(anruf);
}

void Dienst::vorgabeHolen(Anruf& anruf) {
    auto const vorgabe = speicher_.vorgabe(zugang_.kunde);
    if (!vorgabe)
        return verweigere(anruf.antwort, 500, standardgrund(500));
    anruf.antwort.status = 200;
    anruf.antwort.set_content(*vorgabe, "application/json");
}

void Dienst::vorgabeSetzen(Anruf& anruf) {
    auto const vorgabe = liesObjekt(server_, anruf.anfrage, *anruf.leser, anruf.antwort);
    if (!vorgabe)
        return;
    if (auto const fehler = vorgabefehler(*vorgabe); !fehler.empty())
        return verweigere(anruf.antwort, 422, fehler);
    if (!speicher_.vorgabeSetzen(zugang_.kunde, vorgabe->dump()))
        return verweigere(anruf.antwort, 507, speicherfehler);
    antworte(anruf.antwort, 200, *vorgabe);
}

void Dienst::gesehenePfade(Anruf& anruf) {
    auto pfade = Json::array();
    auto hashes = Json::object();
    for (auto& gesehen : speicher_.gesehenePfade(zugang_.kunde)) {
        pfade.push_back(gesehen.pfad);
        hashes[std::move(gesehen.pfad)] = std::move(gesehen.hash);
    }
    antworte(anruf.antwort, 200, {{"paths", std::move(pfade)}, {"path_hashes", std::move(hashes)}});
}

void Dienst::hashesOhneBeleg(Anruf& anruf) {
    antworte(anruf.antwort, 200, {{"hashes", speicher_.hashesOhneBeleg(zugang_.kunde)}});
}

void Dienst::fortschrittHolen(Anruf& anruf) {
    auto const stand = speicher_.fortschritt(zugang_.kunde);
    if (!stand)
        return verweigere(anruf.antwort, 500, standardgrund(500));
    antworte(
        anruf.antwort, 200,
        {{"gestoppt", stand->gestoppt},
         {"running", stand->laeuft},
         {"total", stand->gesamt},
         {"processed", stand->verarbeitet}});
}

void Dienst::fortschrittBeginnen(Anruf& anruf) {
    auto const inhalt = liesObjekt(server_, anruf.anfrage, *anruf.leser, anruf.antwort);
    if (!inhalt)
        return;
    auto const gesamt = anzahl(*inhalt, "total_candidates");
    if (!gesamt)
        return verweigere(anruf.antwort, 422, "„total_candidates“ muss eine Anzahl sein.");
    if (!speicher_.fortschrittAendern(zugang_.kunde, [&](Fortschritt& stand) {
            stand = {.gestoppt = false, .laeuft = true, .gesamt = *gesamt, .verarbeitet = 0};
        }))
        return verweigere(anruf.antwort, 507, speicherfehler);
    antworte(anruf.antwort, 200, {{"ok", true}});
}

void Dienst::fortschrittMelden(Anruf& anruf) {
    auto const inhalt = liesObjekt(server_, anruf.anfrage, *anruf.leser, anruf.antwort);
    if (!inhalt)
        return;
    auto const verarbeitet = anzahl(*inhalt, "processed");
    auto const gesamt = anzahl(*inhalt, "total");
    if (!verarbeitet || !gesamt)
        return verweigere(anruf.antwort, 422, "„processed“ und „total“ müssen Anzahlen sein.");
    if (!speicher_.fortschrittAendern(zugang_.kunde, [&](Fortschritt& stand) {
            stand.gesamt = *gesamt;
            stand.verarbeitet = *verarbeitet;
        }))
        return verweigere(anruf.antwort, 507, speicherfehler);
    antworte(anruf.antwort, 200, {{"ok", true}});
}

void Dienst::fortschrittBeenden(Anruf& anruf) {
    auto const inhalt = liesObjekt(server_, anruf.anfrage, *anruf.leser, anruf.antwort);
    if (!inhalt)
        return;
    if (!speicher_.berichtSetzen(zugang_.kunde, inhalt->dump()))
        return verweigere(anruf.antwort, 507, speicherfehler);
    antworte(anruf.antwort, 200, {{"ok", true}});
}

void Dienst::stoppen(Anruf& anruf) {
    auto const koerper = server_.liesKoerper(anruf.anfrage, *anruf.leser, hoechstensJson_byte);
    if (!istGelesen(koerper, anruf.antwort))
        return;
    // A stop from before must not stop the next scan while that still looks for files.
    auto const inhalt = Json::parse(koerper.bytes, nullptr, false);
    bool const gestoppt = !(inhalt.is_object() && inhalt.value("gestoppt", Json{}) == Json(false));
    if (!speicher_.fortschrittAendern(zugang_.kunde, [&](Fortschritt& stand) { stand.gestoppt = gestoppt; }))
        return verweigere(anruf.antwort, 507, speicherfehler);
    antworte(anruf.antwort, 200, {{"gestoppt", gestoppt}});
}

void Dienst::letzterBericht(Anruf& anruf) {
    auto const bericht = speicher_.letzterBericht(zugang_.kunde);
    if (!bericht)
        return verweigere(anruf.antwort, 500, standardgrund(500));
    if (bericht->empty())
        return verweigere(anruf.antwort, 404, "Es gibt noch keinen Bericht.");
    anruf.antwort.status = 200;
    anruf.antwort.set_content(*bericht, "application/json");
}

void Dienst::hochladen(Anruf& anruf) {
    bool const ausPortal = anruf.anfrage.has_param("source_path");
    std::optional<Angenommen> angenommen;
    {
        auto const koerper = server_.liesKoerper(anruf.anfrage, *anruf.leser, hoechstensFormular_byte);
        if (!istGelesen(koerper, anruf.antwort))
            return;
        auto const grenze = grenzeAusTyp(anruf.anfrage.get_header_value("Content-Type"));
        auto const teile = grenze ? zerlege(koerper.bytes, *grenze) : std::nullopt;
        if (!teile)
            return verweigere(anruf.antwort, 400, "Das Formular ist fehlerhaft.");
        auto const* const datei = findeTeil(*teile, "file");
        if (datei == nullptr)
            return verweigere(anruf.antwort, 400, "Im Formular fehlt der Teil „file“.");
        if (datei->inhalt.size() > hoechstensDatei_byte)
            return verweigere(anruf.antwort, 413, "Die Datei ist größer als 50 MB.");
        auto const* const pfadteil = findeTeil(*teile, "quellpfad");
        auto const quellpfad = ausPortal
                                   ? alsUtf8(anruf.anfrage.get_param_value("source_path"))
                                   : alsUtf8(pfadteil != nullptr ? pfadteil->inhalt : std::string_view{});
        auto const name = alsUtf8(datei->dateiname.value_or(std::string{}));
        auto const typ = alsUtf8(datei->typ);
        angenommen = speicher_.annehmen(
            {.kunde = zugang_.kunde,
             .herkunft = ausPortal ? Herkunft::portal : Herkunft::scan,
             .name = name,
             .quellpfad = quellpfad,
             .typ = typ,
             .bytes = datei->inhalt,
             .ungelesen = anruf.anfrage.get_param_value("ungelesen") == "1",
             .kontingent = kontingent(speicher_.vorgabe(zugang_.kunde).value_or(std::string{}))});
    } // The body's memory is free before anything is read.
    if (!angenommen)
        return verweigere(anruf.antwort, 507, speicherfehler);
    if (angenommen->art == Angenommen::Art::ueberKontingent) {
        if (ausPortal)
            return antworte(anruf.antwort, 200, {{"cost_capped", true}, {"reasoning", kontingentErreicht}});
        return verweigere(anruf.antwort, 402, kontingentErreicht);
    }
    Json antwort{
        {"id", angenommen->id},
        {"duplicate", angenommen->art == Angenommen::Art::doppelt},
        {"cost_capped", false}};
    if (!ausPortal) {
        auswertung_.anstossen();
        return antworte(anruf.antwort, 200, antwort);
    }

    auto const beleg = auswertung_.sofort(angenommen->id);
    if (!beleg)
        return verweigere(anruf.antwort, 500, standardgrund(500));
    if (beleg->zustand == Zustand::beleg) {
        antwort["is_receipt"] = true;
        for (auto const& v : speicher_.verknuepfungen(zugang_.kunde))
            if (v.beleg == beleg->id)
                antwort["transaction_id"] = v.buchung;
    } else if (beleg->zustand == Zustand::keinBeleg) {
        antwort["is_receipt"] = false;
        antwort["reasoning"] = beleg->text
                                   ? "In der Datei wurde kein Beleg erkannt: Es fehlen Betrag oder Belegwort."
                                   : "In der Datei wurde kein lesbarer Text gefunden.";
    }
    antworte(anruf.antwort, 200, antwort);
}

void Dienst::anBuchung(Anruf& anruf) {
    auto const buchung = speicher_.buchung(zugang_.kunde, anruf.nummer);
    if (!buchung)
        return verweigere(anruf.antwort, 404, "Diese Buchung gibt es nicht.");
    if (anruf.anfrage.get_param_value("merge") == "true")
        return verweigere(anruf.antwort, 422, "Belege werden hier nicht zusammengefügt.");
    std::optional<Angenommen> angenommen;
    {
        auto const koerper = server_.liesKoerper(anruf.anfrage, *anruf.leser, hoechstensFormular_byte);
        if (!istGelesen(koerper, anruf.antwort))
            return;
        auto const grenze = grenzeAusTyp(anruf.anfrage.get_header_value("Content-Type"));
        auto const teile = grenze ? zerlege(koerper.bytes, *grenze) : std::nullopt;
        if (!teile || std::ranges::count(*teile, "files", &Formularteil::name) != 1)
            return verweigere(anruf.antwort, 400, "Das Formular braucht genau einen Teil „files“.");
        auto const* const datei = findeTeil(*teile, "files");
        if (datei->inhalt.size() > hoechstensDatei_byte)
            return verweigere(anruf.antwort, 413, "Die Datei ist größer als 50 MB.");
        auto const name = alsUtf8(datei->dateiname.value_or(std::string{}));
        auto const typ = alsUtf8(datei->typ);
        angenommen = speicher_.annehmen(
            {.kunde = zugang_.kunde,
             .herkunft = anruf.anfrage.has_param("portal") ? Herkunft::portal : Herkunft::gezielt,
             .name = name,
             .quellpfad = {},
             .typ = typ,
             .bytes = datei->inhalt,
             .ungelesen = false,
             .kontingent = kontingent(speicher_.vorgabe(zugang_.kunde).value_or(std::string{}))});
    }
    if (!angenommen)
        return verweigere(anruf.antwort, 507, speicherfehler);
    if (angenommen->art == Angenommen::Art::ueberKontingent)
        return verweigere(anruf.antwort, 402, kontingentErreicht);

    // The link comes before the reading: a receipt that has a booking is not matched with another one.
    Verknuepfung verknuepfung{.beleg = angenommen->id, .buchung = buchung->id, .art = Zuordnung::vorschlag};
    if (!speicher_.verknuepfen(verknuepfung))
        return verweigere(anruf.antwort, 507, speicherfehler);
    auto const beleg = auswertung_.sofort(angenommen->id);
    if (!beleg)
        return verweigere(anruf.antwort, 500, standardgrund(500));
    if (beleg->text && betragStehtIn(*beleg->text, *buchung)) {
        verknuepfung.art = Zuordnung::zugeordnet;
        if (!speicher_.verknuepfen(verknuepfung))
            return verweigere(anruf.antwort, 507, speicherfehler);
    }
    antworte(
        anruf.antwort, 200,
        {{"id", beleg->id},
         {"status", verknuepfung.art == Zuordnung::zugeordnet ? "matched" : "suggested"},
         {"duplicate", angenommen->art == Angenommen::Art::doppelt}});
}

void Dienst::belegeHolen(Anruf& anruf) {
    // In this order: a receipt that is read in between must not stand there as read and without its booking.
    auto const belege = speicher_.belege(zugang_.kunde);
    std::map<std::int64_t, Json> buchungen;
    for (auto const& v : speicher_.verknuepfungen(zugang_.kunde))
        buchungen[v.beleg].push_back({{"id", v.buchung}, {"art", alsText(v.art)}});
    auto liste = Json::array();
    for (auto const& beleg : belege) {
        auto const stelle = buchungen.find(beleg.id);
        liste.push_back(
            {{"id", beleg.id},
             {"name", beleg.name},
             {"groesse", beleg.groesse},
             {"hash", beleg.hash},
             {"quellpfad", beleg.quellpfad},
             {"typ", beleg.typ},
             {"herkunft", alsText(beleg.herkunft)},
             {"ungelesen", beleg.ungelesen},
             {"zustand", alsText(beleg.zustand)},
             {"buchungen", stelle == buchungen.end() ? Json::array() : stelle->second}});
    }
    antworte(anruf.antwort, 200, {{"belege", std::move(liste)}});
}

void Dienst::belegHolen(Anruf& anruf) {
    auto const beleg = speicher_.beleg(anruf.nummer);
    if (!beleg || beleg->kunde != zugang_.kunde)
        return verweigere(anruf.antwort, 404, "Diesen Beleg gibt es nicht.");
    auto bytes = speicher_.bytes(*beleg);
    if (!bytes)
        return verweigere(anruf.antwort, 500, standardgrund(500));
    anruf.antwort.status = 200;
    anruf.antwort.set_header("Content-Type", typNachBytes(*bytes));
    anruf.antwort.set_header("X-Content-Type-Options", "nosniff");
    anruf.antwort.set_header("Referrer-Policy", "no-referrer");
    anruf.antwort.set_header("Cache-Control", "private, no-store");
    anruf.antwort.set_header(
        "Content-Disposition", inhaltslage(
                                   anruf.anfrage.get_param_value("anhang") == "1", beleg->name,
                                   fmt::format("Beleg-{}{}", beleg->id, endungNachBytes(*bytes))));
    anruf.antwort.body = std::move(*bytes);
}

void Dienst::buchungenHolen(Anruf& anruf) {
    std::map<std::int64_t, Json> belege;
    for (auto const& v : speicher_.verknuepfungen(zugang_.kunde))
        belege[v.buchung].push_back({{"id", v.beleg}, {"art", alsText(v.art)}});
    auto liste = Json::array();
    for (auto const& buchung : speicher_.buchungen(zugang_.kunde)) {
        auto const stelle = belege.find(buchung.id);
        liste.push_back(
            {{"id", buchung.id},
             {"datum", alsIsoDatum(buchung.datum)},
             {"betrag_cent", buchung.betrag},
             {"betrag", alsEuro(buchung.betrag)},
             {"gegenpartei", buchung.gegenpartei},
             {"zweck", buchung.zweck},
             {"belege", stelle == belege.end() ? Json::array() : stelle->second}});
    }
    antworte(anruf.antwort, 200, {{"buchungen", std::move(liste)}});
}

void Dienst::buchungAnlegen(Anruf& anruf) {
    auto const inhalt = liesObjekt(server_, anruf.anfrage, *anruf.leser, anruf.antwort);
    if (!inhalt)
        return;
    auto const datum = ausIsoDatum(textfeld(*inhalt, "datum"));
    auto const stelle = inhalt->find("betrag_cent");
    if (!datum || stelle == inhalt->end() || !stelle->is_number_integer())
        return verweigere(
            anruf.antwort, 422, "Eine Buchung braucht „datum“ (JJJJ-MM-TT) und „betrag_cent“ (ganze Zahl).");
    bool const riesig =
        stelle->is_number_unsigned() && stelle->get<std::uint64_t>() > std::uint64_t{hoechstensBetrag};
    auto const betrag = riesig ? hoechstensBetrag + 1 : stelle->get<std::int64_t>();
    if (betrag > hoechstensBetrag || betrag < -hoechstensBetrag)
        return verweigere(anruf.antwort, 422, "Der Betrag ist zu groß.");
    Buchung const buchung{
        .id = 0,
        .datum = *datum,
        .betrag = betrag,
        .gegenpartei = ersteZeichen(textfeld(*inhalt, "gegenpartei"), hoechstensBuchungstext_zeichen),
        .zweck = ersteZeichen(textfeld(*inhalt, "zweck"), hoechstensBuchungstext_zeichen)};
    auto const id = speicher_.buchungAnlegen(zugang_.kunde, buchung);
    if (!id)
        return verweigere(anruf.antwort, 507, speicherfehler);
    antworte(anruf.antwort, 201, {{"id", *id}});
}

void Dienst::selbstlaufMelden(Anruf& anruf) {
    auto const inhalt = liesObjekt(server_, anruf.anfrage, *anruf.leser, anruf.antwort);
    if (!inhalt)
        return;
    auto const selbstlauf = alsSelbstlauf(*inhalt);
    if (!selbstlauf)
        return verweigere(anruf.antwort, 422, "Ein Selbstlauf braucht „erfolg“ (wahr oder falsch).");
    {
        std::scoped_lock const sperre{selbstlaufsperre_};
        selbstlauf_ = selbstlauf;
        fmt::print("{}\n", selbstlaufzeile(*selbstlauf));
        std::fflush(stdout); // Whoever started the service waits for this line.
    }
    antworte(anruf.antwort, 200, {{"ok", true}});
}

void Dienst::selbstlaufHolen(Anruf& anruf) {
    std::scoped_lock const sperre{selbstlaufsperre_};
    if (!selbstlauf_)
        return verweigere(anruf.antwort, 404, "Es gab noch keinen Selbstlauf.");
    antworte(anruf.antwort, 200, alsJson(*selbstlauf_));
}

} // namespace quillmate::demo
