#include "merkliste.h"

#include "grundlage/datei.h"
#include "grundlage/pruefsumme.h"

#include <span>
#include <utility>

namespace quillmate::Ordner {

namespace {

constexpr char const* listenschluessel = "quillmate.ordner.lesezeichen.liste";
// An earlier version remembered a single folder under this key; it is only read to take that folder over.
constexpr char const* einzelschluessel = "quillmate.ordner.lesezeichen";

} // namespace

std::string Gemerkt::name() const {
    return letzteKomponente(url);
}

std::string kennung(std::string_view url) {
    auto const pruefsumme = sha256(standardisiert(url));
    return hexadezimal(std::span{pruefsumme}.first(8));
}

std::optional<std::string> auswaehlen(ports::Ordnertafel& tafel, std::string const& titel) {
    return tafel.waehlen(
        {.titel = titel,
         .hinweis = "Quillmate durchsucht nur diesen Ordner - und nur nach PDF- und Bilddateien.",
         .knopf = "Diesen Ordner durchsuchen"});
}

std::optional<std::vector<ports::Bytes>> Merkliste::gespeicherteLesezeichen() {
    auto liste = voreinstellungen_.datenliste(listenschluessel);
    if (!liste) {
        if (!voreinstellungen_.lesbar())
            return std::nullopt;
        liste = voreinstellungen_.datenliste(listenschluessel); // it may have become readable only now
    }
    if (liste)
        return liste;
    if (auto const einzelnes = voreinstellungen_.daten(einzelschluessel)) {
        liste.emplace({*einzelnes});
        voreinstellungen_.setzeDatenliste(listenschluessel, *liste);
        voreinstellungen_.entferne(einzelschluessel);
        return liste;
    }
    return std::vector<ports::Bytes>{};
}

std::optional<std::vector<ports::Bytes>> Merkliste::ohne(std::string_view kennung) {
    auto liste = gespeicherteLesezeichen();
    if (!liste)
        return std::nullopt;
    std::erase_if(*liste, [&](ports::Bytes const& lesezeichen) {
        auto const aufgeloest = lesezeichen_.aufloesen(lesezeichen);
        return !aufgeloest || Ordner::kennung(aufgeloest->pfad) == kennung;
    });
    return liste;
}

void Merkliste::merken(std::string const& url) {
    std::lock_guard const schutz{sperre_};
    auto lesezeichen = lesezeichen_.anlegen(url);
    if (!lesezeichen)
        return;
    auto liste = ohne(Ordner::kennung(url));
    if (!liste)
        return;
    liste->push_back(*std::move(lesezeichen));
    voreinstellungen_.setzeDatenliste(listenschluessel, *liste);
}

std::vector<Gemerkt> Merkliste::gemerkte() {
    std::lock_guard const schutz{sperre_};
    std::vector<Gemerkt> ergebnis;
    std::vector<ports::Bytes> neueListe;
    bool geaendert = false;
    auto gespeichert = gespeicherteLesezeichen();
    if (!gespeichert)
        return ergebnis;
    for (auto& lesezeichen : *gespeichert) {
        auto const aufgeloest = lesezeichen_.aufloesen(lesezeichen);
        if (!aufgeloest) {
            geaendert = true;
            continue;
        }
        auto frisches = aufgeloest->veraltet ? lesezeichen_.anlegen(aufgeloest->pfad) : std::nullopt;
        geaendert = geaendert || frisches.has_value();
        neueListe.push_back(frisches ? *std::move(frisches) : std::move(lesezeichen));
        ergebnis.push_back(
            {.url = aufgeloest->pfad,
             .kennung = Ordner::kennung(aufgeloest->pfad),
             // What is not there now stays in the list and is searched again when it is back.
             .zugriffOffen = !aufgeloest->abwesend && lesezeichen_.zugriffBeginnen(aufgeloest->pfad)});
    }
    if (geaendert)
        voreinstellungen_.setzeDatenliste(listenschluessel, neueListe);
    return ergebnis;
}

void Merkliste::beenden(Gemerkt const& gemerkt) {
    if (gemerkt.zugriffOffen)
        lesezeichen_.zugriffBeenden(gemerkt.url);
}

void Merkliste::vergessen(std::string_view kennung) {
    std::lock_guard const schutz{sperre_};
    if (auto const liste = ohne(kennung))
        voreinstellungen_.setzeDatenliste(listenschluessel, *liste);
}

void Merkliste::vergessen() {
    std::lock_guard const schutz{sperre_};
    voreinstellungen_.entferne(listenschluessel);
    voreinstellungen_.entferne(einzelschluessel);
}

} // namespace quillmate::Ordner
