#include "umzug.h"

#include "grundlage/protokoll.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <utility>

namespace quillmate::Umzug {

namespace {

/// A whole number in decimal, with sign or without; nothing for anything else.
std::optional<std::int64_t> ganzzahl(std::optional<std::string> const& text) {
    if (!text)
        return std::nullopt;
    std::string_view ziffern = *text;
    if (ziffern.starts_with('+')) {
        ziffern.remove_prefix(1);
        if (ziffern.starts_with('-'))
            return std::nullopt;
    }
    std::int64_t zahl = 0;
    auto const [ende, fehler] = std::from_chars(ziffern.data(), ziffern.data() + ziffern.size(), zahl);
    if (fehler != std::errc{} || ende != ziffern.data() + ziffern.size())
        return std::nullopt;
    return zahl;
}

ports::Frage angebot(Lage const& lage, bool schonDa) {
    if (schonDa)
        return {
            .meldung = "Quillmate ist schon in „Programme“",
            .erklaerung =
                "Du hast gerade eine zweite Kopie geöffnet – " + std::string{lage.beschreibung()} +
                ". Quillmate öffnet stattdessen die Fassung aus „Programme“ und räumt die Kopie weg.",
            .knoepfe = {"Fassung aus „Programme“ öffnen", "Später"}};
    return {
        .meldung = "Quillmate nach „Programme“ verschieben?",
        .erklaerung = "Quillmate läuft gerade " + std::string{lage.beschreibung()} + ". " +
                      std::string{lage.folge()} +
                      " In „Programme“ findest du es im Launchpad, und es hält sich von selbst aktuell.",
        .knoepfe = {"In „Programme“ verschieben", "Später"}};
}

} // namespace

Umzieher::Umzieher(Hilfen hilfen, Ordner ordner)
    : hilfen_(hilfen)
    , ordner_(std::move(ordner)) {}

Lage Umzieher::lage() const {
    return Umzug::lage(hilfen_.buendelkunde, ordner_);
}

std::string Umzieher::eigenerProgrammordner() const {
    return ordner_.zuhause + "/Applications";
}

bool Umzieher::pruefenUndAnbieten() {
    hilfen_.voreinstellungen.entferne(schluesselNichtMehrFragen);
    auto const hier = lage();
    if (!hier.umzugNoetig()) {
        hilfen_.dateiwerk.resteEntfernen(hier.laufend);
        return false;
    }
    bool const schonDa = vorhandeneFassung(hier.laufend).has_value();
    if (hilfen_.dialoge.fragenUndWarten(angebot(hier, schonDa)).knopf != 0)
        return false;
    return ausfuehren(hier);
}

std::optional<std::string> Umzieher::vorhandeneFassung(std::string const& neben) const {
    auto const eigenes = hilfen_.buendelkunde.lesen(neben);
    if (!eigenes || !eigenes->kennung)
        return std::nullopt;
    auto const eigeneNummer = ganzzahl(eigenes->buildnummer).value_or(0);
    auto const name = zielName(neben, hilfen_.buendelkunde);
    for (auto const& ordner : {ordner_.programme, eigenerProgrammordner()}) {
        auto const pfad = ordner + '/' + name;
        // By another name it would still be the running bundle, and cleaning up would throw the only one away.
        if (pfad == neben || hilfen_.dateiwerk.derselbe(pfad, neben))
            continue;
        auto const kandidat = hilfen_.buendelkunde.lesen(pfad);
        if (!kandidat || kandidat->kennung != eigenes->kennung)
            continue;
        auto const nummer = ganzzahl(kandidat->buildnummer);
        if (nummer && *nummer >= eigeneNummer)
            return pfad;
    }
    return std::nullopt;
}

bool Umzieher::ausfuehren(Lage const& lage) {
    // The old copy lies in the trash by then: moving it again would put the new one there too and copy nothing.
    if (neustartLaeuft_)
        return true;
    auto ziel = vorhandeneFassung(lage.laufend);
    if (!ziel) {
        auto kopie = kopieren(lage);
        if (kopie.hindernis) {
            (void)hilfen_.dialoge.fragenUndWarten(
                {.meldung = "Verschieben hat nicht geklappt",
                 .erklaerung =
                     *kopie.hindernis +
                     "\n\nZieh Quillmate bitte selbst in den Ordner „Programme“ und starte es von dort.",
                 .knoepfe = {"OK"},
                 .warnung = true});
            return false;
        }
        ziel = std::move(kopie.ziel);
    }
    // Before the old copy goes: from here on the menu starts the new one, whatever happens.
    if (auto const neues = hilfen_.buendelkunde.lesen(*ziel))
        hilfen_.menueeintrag.eintragen(*neues);
    auto const auswerfen = aufraeumen(*ziel, lage);
    hilfen_.voreinstellungen.setzeWahrheitswert(schluesselGeradeUmgezogen, true);
    neuStarten(*ziel, auswerfen);
    return true;
}

Kopie Umzieher::kopieren(Lage const& lage) {
    auto& werk = hilfen_.dateiwerk;
    auto ordner = ordner_.programme;
    if (!werk.beschreibbar(ordner)) {
        ordner = eigenerProgrammordner();
        if (auto hindernis = werk.ordnerAnlegen(ordner))
            return {.ziel = {}, .hindernis = std::move(hindernis)};
    }
    Kopie kopie{.ziel = ordner + '/' + zielName(lage.original, hilfen_.buendelkunde), .hindernis = {}};
    if (werk.derselbe(kopie.ziel, lage.original))
        return kopie; // a link leads there; to replace it would throw the only copy away
    if (werk.vorhanden(kopie.ziel))
        kopie.hindernis = werk.inDenPapierkorb(kopie.ziel);
    if (!kopie.hindernis)
        kopie.hindernis = werk.kopieren(lage.original, kopie.ziel);
    if (!kopie.hindernis)
        werk.downloadmarkenEntfernen(kopie.ziel);
    return kopie;
}

std::optional<std::string> Umzieher::aufraeumen(std::string const& ziel, Lage const& lage) {
    auto& werk = hilfen_.dateiwerk;
    if (lage.ort == Ort::dmg) {
        auto traeger = werk.datentraeger(lage.original);
        if (traeger && traeger->nurLesen && traeger->pfad.starts_with("/Volumes/"))
            return std::move(traeger->pfad);
        return std::nullopt;
    }
    bool const istZiel = lage.original == ziel || werk.derselbe(lage.original, ziel);
    if (istZiel || ortFuer(lage.original, ordner_) == Ort::programme || istWegwerfort(lage.original))
        return std::nullopt;
    auto const altes = hilfen_.buendelkunde.lesen(lage.original);
    auto const eigenes = hilfen_.buendelkunde.lesen(hilfen_.buendelkunde.laufend());
    if (!altes || !altes->kennung || !eigenes || altes->kennung != eigenes->kennung)
        return std::nullopt;
    if (auto const hindernis = werk.inDenPapierkorb(lage.original))
        protokoll("Umzug: Original nicht in den Papierkorb gelegt: " + *hindernis);
    return std::nullopt;
}

void Umzieher::neuStarten(std::string const& ziel, std::optional<std::string> const& auswerfen) {
    neustartLaeuft_ = true;
    auto const buendel = hilfen_.buendelkunde.lesen(ziel);
    hilfen_.neustart.vorbereiten(
        buendel ? *buendel : ports::Buendel{.pfad = ziel}, auswerfen.value_or(std::string{}));
    hilfen_.hauptschleife.beenden();
}

void Umzieher::bestaetigenFallsUmgezogen(ports::Programmfenster* fenster) {
    if (!hilfen_.voreinstellungen.wahrheitswert(schluesselGeradeUmgezogen).value_or(false))
        return;
    hilfen_.voreinstellungen.entferne(schluesselGeradeUmgezogen);
    if (lage().umzugNoetig())
        return;
    ports::Frage const frage{
        .meldung = "Quillmate ist jetzt in „Programme“",
        .erklaerung =
            "Ab jetzt bleibt es auf deinem Mac und aktualisiert sich von selbst.\n\nDamit du es schnell "
            "wiederfindest: Rechtsklick auf das Quillmate-Symbol im Dock → Optionen → „Im Dock behalten“. "
            "Steht dort noch ein altes Symbol mit Fragezeichen, zieh es einfach aus dem Dock.",
        .knoepfe = {"Alles klar"}};
    if (fenster)
        hilfen_.dialoge.fragen(*fenster, frage, [](ports::Antwort) {});
    else
        (void)hilfen_.dialoge.fragenUndWarten(frage);
}

} // namespace quillmate::Umzug
