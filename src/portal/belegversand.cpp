#include "belegversand.h"

#include "grundlage/dateiarten.h"
#include "grundlage/protokoll.h"
#include "grundlage/pruefsumme.h"
#include "grundlage/text.h"
#include "netz/mehrteilig.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <exception>
#include <utility>

namespace quillmate::portal {

namespace {

using FremdesJson = nlohmann::json;

constexpr char const* nichtUebergeben = "Der Beleg konnte nicht an Quillmate übergeben werden.";

/// The text under a key; nothing when there is none or it is something else.
std::optional<std::string> textUnter(FremdesJson const& objekt, char const* schluessel) {
    auto const stelle = objekt.find(schluessel);
    if (stelle == objekt.end() || !stelle->is_string())
        return std::nullopt;
    return stelle->get<std::string>();
}

bool istUnter(FremdesJson const& objekt, char const* schluessel, bool wert) {
    auto const stelle = objekt.find(schluessel);
    return stelle != objekt.end() && stelle->is_boolean() && stelle->get<bool>() == wert;
}

Portalmeldung fehler(std::string nachricht) {
    return {.status = Portalstatus::fehler, .nachricht = std::move(nachricht)};
}

Portalmeldung importiert(std::string nachricht) {
    return {.status = Portalstatus::importiert, .nachricht = std::move(nachricht)};
}

} // namespace

std::string_view rohwert(Portalstatus status) noexcept {
    switch (status) {
    case Portalstatus::wird_importiert:
        return "wird_importiert";
    case Portalstatus::importiert:
        return "importiert";
    case Portalstatus::fehler:
        return "fehler";
    case Portalstatus::geschlossen:
        return "geschlossen";
    }
    return "fehler";
}

std::optional<std::string> belegadresse(
    Belegziel const& ziel, std::string_view hash, std::string_view dateiname) {
    if (!ziel.basis.istWeb())
        return std::nullopt;
    auto const quelle = fmt::format("portal://{}/{}/{}", ziel.portal, hash, dateiname);
    auto const adresse = ziel.transaction
                             ? ziel.basis.mit(
                                   fmt::format("/transactions/{}/attach-receipt", *ziel.transaction),
                                   {{"token", ziel.token}, {"merge", "false"}, {"portal", ziel.portal}})
                             : ziel.basis.mit(
                                   fmt::format("/clients/{}/local-receipts/upload", ziel.clientId),
                                   {{"token", ziel.token}, {"source_path", quelle}});
    return adresse ? std::optional{adresse->text()} : std::nullopt;
}

Portalmeldung belegausgang(netz::Ausgang const& ausgang, std::string_view koerper, bool mitBuchung) {
    if (!ausgang.status)
        return fehler("Import fehlgeschlagen: " + ausgang.fehler);
    auto const antwort = FremdesJson::parse(koerper, nullptr, false);
    bool const erfolg = *ausgang.status >= 200 && *ausgang.status <= 299;
    if (*ausgang.status == 402 && antwort.is_object())
        if (auto detail = textUnter(antwort, "detail"))
            return fehler(*std::move(detail));
    if (!erfolg || !antwort.is_object())
        return fehler(nichtUebergeben);
    if (mitBuchung) {
        auto const status = textUnter(antwort, "status");
        if (status && kleingeschrieben(*status) == "matched")
            return importiert("Beleg aus dem Portal übernommen und dieser Buchung zugeordnet.");
        return importiert(
            "Beleg übernommen – Betrag weicht ab, er steht jetzt unter „Vorschläge zur Bestätigung“.");
    }
    if (istUnter(antwort, "cost_capped", true))
        return fehler(textUnter(antwort, "reasoning").value_or("Das Belegkontingent ist erreicht."));
    if (istUnter(antwort, "is_receipt", false))
        return fehler(textUnter(antwort, "reasoning").value_or("In der Datei wurde kein Beleg erkannt."));
    if (istUnter(antwort, "duplicate", true))
        return importiert("Dieser Beleg war bereits importiert.");
    return importiert("Beleg importiert und automatisch zugeordnet, wenn eine Buchung passt.");
}

Belegversand::Belegversand(Portalablage& ablage, netz::Vermittlersuche* vermittler)
    : ablage_(ablage)
    , leitungen_(vermittler) {}

Belegversand::~Belegversand() {
    leitungen_.abbrechen();
    std::deque<Auftrag> uebrig;
    std::vector<std::thread> faeden;
    {
        std::lock_guard const schutz{sperre_};
        ende_ = true;
        uebrig.swap(wartend_);
        faeden.swap(faeden_);
    }
    neues_.notify_all();
    for (auto& faden : faeden)
        faden.join();
    for (auto const& auftrag : uebrig)
        ablage_.entfernen(auftrag.datei.substr(0, auftrag.datei.rfind('/')));
}

void Belegversand::senden(Belegziel ziel, std::string datei, Melder melden) {
    std::lock_guard const schutz{sperre_};
    wartend_.push_back({.ziel = std::move(ziel), .datei = std::move(datei), .melden = std::move(melden)});
    if (muessige_ < wartend_.size() && faeden_.size() < hoechsteFaeden)
        faeden_.emplace_back([this] { arbeiten(); });
    neues_.notify_one();
}

void Belegversand::arbeiten() {
    std::unique_lock schutz{sperre_};
    for (;;) {
        ++muessige_;
        neues_.wait(schutz, [this] { return ende_ || !wartend_.empty(); });
        --muessige_;
        if (ende_)
            return;
        {
            auto const auftrag = std::move(wartend_.front());
            wartend_.pop_front();
            schutz.unlock();
            bearbeiten(auftrag);
        }
        schutz.lock();
    }
}

void Belegversand::bearbeiten(Auftrag const& auftrag) {
    Portalmeldung meldung;
    try {
        meldung = hochladen(auftrag);
    } catch (std::exception const&) { // no memory left
        meldung = fehler(nichtUebergeben);
    }
    auftrag.melden(meldung);
    ablage_.entfernen(auftrag.datei.substr(0, auftrag.datei.rfind('/')));
}

Portalmeldung Belegversand::hochladen(Auftrag const& auftrag) {
    auto const name = alsUtf8(letzteKomponente(auftrag.datei));
    auto const endung = dateiendung(name);
    if (!belegendung(endung))
        return fehler("Nur PDF- und Bildbelege werden automatisch übernommen.");
    auto const datei = oeffneDatei(auftrag.datei);
    struct stat lage {};
    auto const hash = datei && ::fstat(datei.get(), &lage) == 0
                          ? sha256Datei(datei.get(), hoechsterPortalbeleg)
                          : std::nullopt;
    if (!hash)
        return fehler("Die heruntergeladene Datei ist nicht lesbar oder größer als 50 MB.");
    auto const url = belegadresse(auftrag.ziel, hexadezimal(*hash), name);
    if (!url)
        return fehler(nichtUebergeben);
    auto const grenze = netz::neueGrenze("Quillmate-");
    auftrag.melden(
        {.status = Portalstatus::wird_importiert,
         .nachricht = "PDF geladen · Quillmate prüft und ordnet es jetzt zu …"});
    std::string antwort;
    auto const ausgang = leitungen_.senden(
        {.url = *url,
         .koerper = {},
         .datei =
             netz::Dateikoerper{
                 .vorspann = netz::dateikopf(
                     grenze, auftrag.ziel.transaction ? "files" : "file", name, mimetypNach(endung)),
                 .deskriptor = datei.get(),
                 .groesse = static_cast<std::uint64_t>(lage.st_size),
                 .nachspann = netz::abschluss(grenze)},
         .inhaltstyp = "multipart/form-data; boundary=" + grenze,
         .leerlaufgrenze = leerlaufgrenze,
         .nurEinmal = true},
        wartegrenze, &antwort);
    if (ausgang.grund)
        protokoll("Portal: Beleg nicht übergeben: " + ausgang.grund->text());
    else if (!ausgang.angenommen())
        protokoll(fmt::format("Portal: Beleg nicht angenommen (HTTP {})", *ausgang.status));
    return belegausgang(ausgang, antwort, auftrag.ziel.transaction.has_value());
}

} // namespace quillmate::portal
