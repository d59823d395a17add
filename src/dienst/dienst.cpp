#include "dienst.h"

#include "grundlage/datei.h"
#include "grundlage/protokoll.h"
#include "grundlage/pruefsumme.h"
#include "grundlage/text.h"
#include "netz/mehrteilig.h"

#include <fmt/format.h>

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

std::string clientPfad(Zugang const& zugang, std::string_view pfad) {
    return fmt::format("{}/clients/{}{}", zugang.server, zugang.clientId, pfad);
}

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

std::optional<std::string> Dienst::holen(Anfrage const& anfrage) {
    std::string koerper;
    auto const status = leitungen_.senden(anfrage, wartegrenzeHolen, &koerper).status;
    if (!istErfolg(status))
        return std::nullopt;
    return koerper;
}

std::optional<int> Dienst::sendenMitStatus(Anfrage const& anfrage) {
    return leitungen_.senden(anfrage, wartegrenzeSenden).status;
}

// ---------------------------------------------------------------------------------------------- endpoints

std::optional<std::string> Dienst::holeText(
    Zugang const& zugang, std::string_view pfad, std::chrono::seconds leerlaufgrenze,
    std::size_t hoechstAntwort) {
    auto const url = netz::mitAbfrage(clientPfad(zugang, pfad), {{"token", zugang.token}});
    if (!url)
        return std::nullopt;
    return holen({.url = *url, .leerlaufgrenze = leerlaufgrenze, .hoechstAntwort = hoechstAntwort});
}

FremdesJson Dienst::holeObjekt(
    Zugang const& zugang, std::string_view pfad, std::chrono::seconds leerlaufgrenze) {
    return objektAus(holeText(zugang, pfad, leerlaufgrenze, hoechstEinstellungen));
}

FremdesJson Dienst::holeVorgabe(Zugang const& zugang) {
    return holeObjekt(zugang, "/local-scan-preference", leerlaufHolen);
}

FremdesJson Dienst::holeFortschritt(Zugang const& zugang) {
    return holeObjekt(zugang, "/local-scan/progress", leerlaufFortschritt);
}

std::vector<std::string> Dienst::holeListe(Zugang const& zugang, std::string_view liste) {
    auto const antwort = holeText(zugang, fmt::format("/local-scan/{}", liste), leerlaufHolen, hoechstListe);
    return antwort ? hashesAus(*antwort) : std::vector<std::string>{};
}

GesehenePfade Dienst::holeGesehenePfade(Zugang const& zugang) {
    auto const antwort = holeText(zugang, "/local-scan/seen-paths", leerlaufHolen, hoechstListe);
    return antwort ? gesehenePfadeAus(*antwort) : GesehenePfade{};
}

bool Dienst::postJson(Zugang const& zugang, std::string_view pfad, Json const& koerper) {
    auto const url =
        netz::mitAbfrage(clientPfad(zugang, fmt::format("/local-scan/{}", pfad)), {{"token", zugang.token}});
    if (!url)
        return false;
    std::string text;
    try {
        text = koerper.dump();
    } catch (std::exception const&) { // broken UTF-8 in a text
        return false;
    }
    return istErfolg(sendenMitStatus(
        {.url = *url,
         .koerper = std::move(text),
         .inhaltstyp = "application/json",
         .leerlaufgrenze = leerlaufJson}));
}

Uebertragung Dienst::hochladen(
    Zugang const& zugang, std::string const& pfad, Textmenge const& bekannteHashes, bool ungelesen) {
    auto const name = alsUtf8(letzteKomponente(pfad));
    auto const grenze = netz::neueGrenze("grenze-");
    auto const vorspann = netz::textteil(grenze, "quellpfad", alsUtf8(pfad)) +
                          netz::dateikopf(grenze, "file", name, netz::mimeNachEndung(dateiendung(name)));
    auto const nachspann = netz::abschluss(grenze);
    auto koerper = leseDatei(pfad, hoechstgroesseHochladen, vorspann, nachspann);
    if (!koerper)
        return Uebertragung::nichtLesbar;
    if (!bekannteHashes.empty()) {
        auto const inhalt = std::string_view{*koerper}.substr(
            vorspann.size(), koerper->size() - vorspann.size() - nachspann.size());
        if (bekannteHashes.contains(hexadezimal(sha256(inhalt))))
            return Uebertragung::bekannt;
    }
    std::vector<netz::Abfrageteil> abfrage{{"token", zugang.token}};
    if (ungelesen)
        abfrage.emplace_back("ungelesen", "1");
    auto const url = netz::mitAbfrage(clientPfad(zugang, "/local-receipts/upload"), abfrage);
    if (!url)
        return Uebertragung::uebertragungFehlgeschlagen;
    return uebertragen(
        {.url = *url,
         .koerper = std::move(koerper),
         .inhaltstyp = "multipart/form-data; boundary=" + grenze,
         .leerlaufgrenze = leerlaufHochladen},
        [this](Anfrage const& anfrage) { return sendenMitStatus(anfrage); },
        [this](double sekunden) { warten(sekunden); });
}

bool Dienst::hochladenAnBuchung(Zugang const& zugang, std::int64_t transactionId, std::string const& pfad) {
    auto const name = alsUtf8(letzteKomponente(pfad));
    auto const grenze = netz::neueGrenze("grenze-");
    auto koerper = leseDatei(
        pfad, hoechstgroesseHochladen,
        netz::dateikopf(grenze, "files", name, netz::mimeNachEndung(dateiendung(name))),
        netz::abschluss(grenze));
    auto const url = netz::mitAbfrage(
        fmt::format("{}/transactions/{}/attach-receipt", zugang.server, transactionId),
        {{"token", zugang.token}, {"merge", "false"}, {"gezielt", "true"}});
    if (!koerper || !url)
        return false;
    return istErfolg(sendenMitStatus(
        {.url = *url,
         .koerper = std::move(koerper),
         .inhaltstyp = "multipart/form-data; boundary=" + grenze,
         .leerlaufgrenze = leerlaufHochladen}));
}

} // namespace quillmate::dienst
