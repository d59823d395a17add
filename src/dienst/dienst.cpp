#include "dienst.h"

#include "grundlage/adresse.h"
#include "grundlage/datei.h"
#include "grundlage/dateiarten.h"
#include "grundlage/protokoll.h"
#include "grundlage/pruefsumme.h"
#include "grundlage/text.h"
#include "netz/mehrteilig.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

namespace quillmate::dienst {

namespace {

/// Longest answers that are read, in bytes: some settings, and the seen paths of some hundred thousand
/// receipts.
constexpr std::size_t hoechstEinstellungen = std::size_t{1} << 20U;
constexpr std::size_t hoechstListe = std::size_t{64} << 20U;

constexpr std::chrono::seconds leerlaufHolen{30};
constexpr std::chrono::seconds leerlaufFortschritt{10};
constexpr std::chrono::seconds leerlaufJson{30};
constexpr std::chrono::seconds leerlaufHochladen{120};

bool istErfolg(std::optional<int> status) {
    return status && *status >= 200 && *status <= 299;
}

/// The address of an endpoint: `pfad` behind the base address.
Ergebnis<std::string> endpunkt(
    Zugang const& zugang, std::string_view pfad, std::vector<Posten> const& weitere = {}) {
    auto const basis = Adresse::lesen(zugang.server);
    if (!basis)
        return std::unexpected(basis.error());
    if (!basis->istWeb())
        return fehler(Fehlerart::falscheForm, {}, "Die Adresse des Dienstes ist keine Webadresse");
    std::vector<Posten> posten{{"token", zugang.token}};
    posten.insert(posten.end(), weitere.begin(), weitere.end());
    auto const adresse = basis->darunter(pfad, posten);
    if (!adresse)
        return std::unexpected(adresse.error());
    return adresse->text();
}

std::string clientPfad(Zugang const& zugang, std::string_view pfad) {
    return fmt::format("/clients/{}{}", zugang.clientId, pfad);
}

/// Why an answer is none, or a refusal.
std::optional<Fehler> grundVon(netz::Ausgang const& ausgang) {
    if (ausgang.grund)
        return ausgang.grund;
    if (ausgang.angenommen())
        return std::nullopt;
    if (istErfolg(ausgang.status))
        return Fehler{
            .art = Fehlerart::gestoert,
            .satz = "Statt des Dienstes hat eine Webseite geantwortet, vielleicht die Anmeldung des Netzes"};
    if (*ausgang.status == 401)
        return httpFehler(401, {}, "Der Dienst nimmt diesen Zugang nicht mehr an").error();
    return httpFehler(*ausgang.status, {}, "Der Dienst lehnt ab").error();
}

constexpr std::string_view wasHochladen = "Beleg nicht übertragen";

} // namespace

// ---------------------------------------------------------------------------------------------- retries

bool wiederholbar(std::optional<int> status) noexcept {
    return !status || *status == 408 || *status == 429 || (*status >= 500 && *status <= 599);
}

Uebertragung uebertragen(Anfrage const& anfrage, Senden const& senden, Warten const& warten) {
    auto status = senden(anfrage);
    for (double const pause : wiederholungNach) {
        if (!wiederholbar(status))
            break;
        warten(pause);
        status = senden(anfrage);
    }
    if (istErfolg(status))
        return Uebertragung::hochgeladen;
    return status == 413 ? Uebertragung::zuGross : Uebertragung::uebertragungFehlgeschlagen;
}

Dienst::Dienst(netz::Vermittlersuche* vermittler)
    : leitungen_(vermittler) {}

void Dienst::abbrechen() noexcept {
    leitungen_.abbrechen();
    std::lock_guard const schutz{sperre_};
    abgebrochenGemeldet_.notify_all();
}

void Dienst::warten(double sekunden) {
    std::unique_lock schutz{sperre_};
    abgebrochenGemeldet_.wait_for(
        schutz, std::chrono::duration<double>{sekunden}, [this] { return leitungen_.abgebrochen(); });
}

// ---------------------------------------------------------------------------------------------- the log

void Dienst::melden(std::string_view was, Fehler const& fehler) {
    if (leitungen_.abgebrochen() || fehler.art == Fehlerart::gestoppt)
        return; // ended by us
    auto const ursache = static_cast<int>(fehler.art) * 100'000 +
                         static_cast<int>(fehler.ursache.herkunft) * 10'000 + fehler.ursache.nummer % 10'000;
    {
        std::lock_guard const schutz{sperre_};
        auto& bekannte = gemeldet_[std::string{was}];
        if (!bekannte.insert(ursache).second)
            return;
    }
    protokoll(fmt::format("MacScan: {}: {}", was, fehler.text()));
}

void Dienst::gelungen(std::string_view was) {
    std::lock_guard const schutz{sperre_};
    if (auto const eintrag = gemeldet_.find(was); eintrag != gemeldet_.end())
        gemeldet_.erase(eintrag);
}

// ---------------------------------------------------------------------------------------------- endpoints

std::optional<std::string> Dienst::holen(Anfrage const& anfrage) {
    std::string koerper;
    auto const ausgang = leitungen_.senden(anfrage, wartegrenzeHolen, &koerper);
    if (!istErfolg(ausgang.status) || ausgang.gekuerzt)
        return std::nullopt;
    return koerper;
}

std::optional<int> Dienst::sende(std::string_view was, Anfrage const& anfrage) {
    auto const ausgang = leitungen_.senden(anfrage, wartegrenzeSenden);
    if (auto const grund = grundVon(ausgang))
        melden(was, *grund);
    else
        gelungen(was);
    // A page that somebody in between shows is as good as no answer.
    return istErfolg(ausgang.status) && !ausgang.angenommen() ? std::nullopt : ausgang.status;
}

std::optional<int> Dienst::sendenMitStatus(Anfrage const& anfrage) {
    return sende("Anfrage gescheitert", anfrage);
}

Ergebnis<std::string> Dienst::hole(
    std::string_view was, Zugang const& zugang, std::string_view pfad, std::chrono::seconds leerlaufgrenze,
    std::size_t hoechstAntwort) {
    auto const gescheitert = [&](Fehler fehler) {
        melden(was, fehler);
        return std::unexpected(std::move(fehler));
    };
    auto url = endpunkt(zugang, clientPfad(zugang, pfad));
    if (!url)
        return gescheitert(std::move(url.error()));
    std::string koerper;
    auto const ausgang = leitungen_.senden(
        {.url = *std::move(url),
         .leerlaufgrenze = leerlaufgrenze,
         .hoechstAntwort = hoechstAntwort,
         .abbrechen = zugang.abbrechen},
        wartegrenzeHolen, &koerper);
    if (auto grund = grundVon(ausgang))
        return gescheitert(*std::move(grund));
    if (ausgang.gekuerzt)
        return gescheitert({.art = Fehlerart::zuGross, .satz = "Die Antwort des Dienstes ist zu groß"});
    return koerper;
}

FremdesJson Dienst::holeObjekt(
    std::string_view was, Zugang const& zugang, std::string_view pfad, std::chrono::seconds leerlaufgrenze) {
    auto const antwort = hole(was, zugang, pfad, leerlaufgrenze, hoechstEinstellungen);
    if (!antwort)
        return FremdesJson(FremdesJson::value_t::object);
    if (antwort->empty()) // 204: nothing to say is no failure
        return FremdesJson(FremdesJson::value_t::object);
    auto objekt = objektLesen(*antwort);
    if (!objekt) {
        melden(was, objekt.error());
        return FremdesJson(FremdesJson::value_t::object);
    }
    gelungen(was);
    return *std::move(objekt);
}

FremdesJson Dienst::holeVorgabe(Zugang const& zugang) {
    return holeObjekt("Vorgaben nicht erhalten", zugang, "/local-scan-preference", leerlaufHolen);
}

FremdesJson Dienst::holeFortschritt(Zugang const& zugang) {
    return holeObjekt(
        "Stand beim Dienst nicht erhalten", zugang, "/local-scan/progress", leerlaufFortschritt);
}

bool Dienst::antwortet(Zugang const& zugang) {
    auto const url = endpunkt(zugang, clientPfad(zugang, "/local-scan/progress"));
    if (!url)
        return false;
    auto const ausgang = leitungen_.senden(
        {.url = *url, .leerlaufgrenze = leerlaufFortschritt, .abbrechen = zugang.abbrechen},
        leerlaufFortschritt);
    return ausgang.status && (!istErfolg(ausgang.status) || ausgang.angenommen());
}

Ergebnis<std::vector<std::string>> Dienst::leseListe(Zugang const& zugang, std::string_view liste) {
    constexpr std::string_view was =
        "Liste bekannter Dateien nicht erhalten, sie können erneut gesendet werden";
    auto const antwort = hole(was, zugang, fmt::format("/local-scan/{}", liste), leerlaufHolen, hoechstListe);
    if (!antwort)
        return std::unexpected(antwort.error());
    auto hashes = hashesLesen(*antwort);
    hashes ? gelungen(was) : melden(was, hashes.error());
    return hashes;
}

std::vector<std::string> Dienst::holeListe(Zugang const& zugang, std::string_view liste) {
    return leseListe(zugang, liste).value_or(std::vector<std::string>{});
}

Ergebnis<GesehenePfade> Dienst::leseGesehenePfade(Zugang const& zugang) {
    constexpr std::string_view was =
        "Liste gesehener Dateien nicht erhalten, alles kann erneut gesendet werden";
    auto const antwort = hole(was, zugang, "/local-scan/seen-paths", leerlaufHolen, hoechstListe);
    if (!antwort)
        return std::unexpected(antwort.error());
    auto gesehen = gesehenePfadeLesen(*antwort);
    gesehen ? gelungen(was) : melden(was, gesehen.error());
    return gesehen;
}

GesehenePfade Dienst::holeGesehenePfade(Zugang const& zugang) {
    auto gesehen = leseGesehenePfade(zugang);
    return gesehen ? *std::move(gesehen) : GesehenePfade{};
}

bool Dienst::postJson(Zugang const& zugang, std::string_view pfad, Json const& koerper) {
    auto const was = fmt::format("Meldung „{}“ nicht angekommen", pfad);
    auto const url = endpunkt(zugang, clientPfad(zugang, fmt::format("/local-scan/{}", pfad)));
    if (!url) {
        melden(was, url.error());
        return false;
    }
    std::string text;
    try {
        text = koerper.dump();
    } catch (std::exception const&) { // broken UTF-8 in a text
        melden(was, {.art = Fehlerart::falscheForm, .satz = "Sie lässt sich nicht als JSON schreiben"});
        return false;
    }
    return istErfolg(sende(
        was, {.url = *url,
              .koerper = std::move(text),
              .inhaltstyp = "application/json",
              .leerlaufgrenze = leerlaufJson,
              .abbrechen = zugang.abbrechen}));
}

Uebertragung Dienst::hochladen(
    Zugang const& zugang, std::string const& pfad, Textmenge const& bekannteHashes, bool ungelesen) {
    auto datei = Belegdatei::oeffnen(pfad);
    if (!datei) {
        protokoll("MacScan: " + alsUtf8(datei.error().text()));
        return Uebertragung::nichtLesbar;
    }
    return hochladen(zugang, *datei, bekannteHashes, ungelesen);
}

Uebertragung Dienst::hochladen(
    Zugang const& zugang, Belegdatei& datei, Textmenge const& bekannteHashes, bool ungelesen,
    Abbruchfrage const& abbrechen) {
    auto const& pfad = datei.pfad();
    auto const name = alsUtf8(letzteKomponente(pfad));
    auto const grenze = netz::neueGrenze("grenze-");
    auto const vorspann = netz::textteil(grenze, "quellpfad", alsUtf8(pfad)) +
                          netz::dateikopf(grenze, "file", name, mimetypNach(dateiendung(name)));
    auto const nachspann = netz::abschluss(grenze);
    if (!bekannteHashes.empty())
        if (auto const summe = datei.pruefsumme(hoechsterScanbeleg, abbrechen);
            summe && bekannteHashes.contains(*summe))
            return Uebertragung::bekannt;
    auto koerper = datei.inhalt(hoechsterScanbeleg, vorspann, nachspann, abbrechen);
    if (!koerper && koerper.error().art == Fehlerart::gestoppt)
        return Uebertragung::uebertragungFehlgeschlagen; // Nothing is wrong with the file.
    if (!koerper) {
        protokoll("MacScan: " + alsUtf8(koerper.error().text()));
        return Uebertragung::nichtLesbar;
    }
    // Judged, hashed and sent are the same bytes, or nothing is sent.
    if (datei.unveraendert() != true) {
        protokoll(fmt::format(
            "MacScan: {} hat sich beim Lesen geändert, bleibt der nächsten Suche", alsUtf8(pfad)));
        return Uebertragung::nichtLesbar;
    }
    std::vector<Posten> weitere;
    if (ungelesen)
        weitere.emplace_back("ungelesen", "1");
    auto const url = endpunkt(zugang, clientPfad(zugang, "/local-receipts/upload"), weitere);
    if (!url) {
        melden(wasHochladen, url.error());
        return Uebertragung::uebertragungFehlgeschlagen;
    }
    bool beantwortet = false;
    int versuche = 0;
    auto const ergebnis = uebertragen(
        {.url = *url,
         .koerper = *std::move(koerper),
         .inhaltstyp = "multipart/form-data; boundary=" + grenze,
         .leerlaufgrenze = leerlaufHochladen,
         .abbrechen = zugang.abbrechen},
        [&](Anfrage const& anfrage) -> std::optional<int> {
            // After a stop no further attempt begins.
            if (abbrechen && abbrechen())
                return std::nullopt;
            // The same bytes with the same boundary, so that a service that stored the first ones can tell.
            if (++versuche > 1)
                protokoll(fmt::format(
                    "MacScan: {} wird zum {}. Mal gesendet; vielleicht ist es schon angekommen", name,
                    versuche));
            auto const status = sende(wasHochladen, anfrage);
            beantwortet = beantwortet || status.has_value();
            return status;
        },
        [this, &abbrechen](double sekunden) {
            constexpr double takt = 0.25; // so that a stop is seen within a pause
            for (double rest = sekunden; rest > 0 && !(abbrechen && abbrechen()); rest -= takt)
                warten(std::min(rest, takt));
        });
    if (beantwortet)
        dateienOhneAntwort_ = 0;
    else if (!(abbrechen && abbrechen()))
        ++dateienOhneAntwort_;
    return ergebnis;
}

bool Dienst::hochladenAnBuchung(Zugang const& zugang, std::int64_t transactionId, std::string const& pfad) {
    auto datei = Belegdatei::oeffnen(pfad);
    return datei && hochladenAnBuchung(zugang, transactionId, *datei);
}

bool Dienst::hochladenAnBuchung(Zugang const& zugang, std::int64_t transactionId, Belegdatei& datei) {
    auto const name = alsUtf8(letzteKomponente(datei.pfad()));
    auto const grenze = netz::neueGrenze("grenze-");
    auto koerper = datei.inhalt(
        hoechsterScanbeleg, netz::dateikopf(grenze, "files", name, mimetypNach(dateiendung(name))),
        netz::abschluss(grenze));
    auto const url = endpunkt(
        zugang, fmt::format("/transactions/{}/attach-receipt", transactionId),
        {{"merge", "false"}, {"gezielt", "true"}});
    auto const nichtAngehaengt = [&](Fehler const& fehler) {
        melden("Beleg nicht angehängt", fehler);
        return false;
    };
    if (!koerper)
        return nichtAngehaengt(koerper.error());
    if (!url)
        return nichtAngehaengt(url.error());
    if (datei.unveraendert() != true)
        return nichtAngehaengt(
            {.art = Fehlerart::gestoert, .wo = name, .satz = "Die Datei hat sich inzwischen geändert"});
    return istErfolg(sende(
        "Beleg nicht angehängt", {.url = *url,
                                  .koerper = *std::move(koerper),
                                  .inhaltstyp = "multipart/form-data; boundary=" + grenze,
                                  .leerlaufgrenze = leerlaufHochladen,
                                  .nurEinmal = true,
                                  .abbrechen = zugang.abbrechen}));
}

} // namespace quillmate::dienst
