#include "beurteilung.h"

#include "grundlage/datei.h"
#include "grundlage/dateiarten.h"
#include "grundlage/pruefsumme.h"
#include "grundlage/text.h"
#include "texterkennung/heuristik.h"

#include <algorithm>

namespace quillmate::MacScan {

namespace {

bool istBild(std::string const& url) {
    return Texterkennung::bildEndungen.contains(dateiendung(letzteKomponente(url)));
}

} // namespace

std::optional<std::string> inhaltspruefsumme(std::string const& pfad) {
    auto const datei = oeffneDatei(pfad);
    auto const summe = datei ? sha256Datei(datei.get(), hoechsterScanbeleg) : std::nullopt;
    return summe ? std::optional{hexadezimal(*summe)} : std::nullopt;
}

bool koennteBekanntSein(
    std::string const& url, dienst::GesehenePfade const& gesehen, dienst::Textmenge const& bekannteHashes) {
    if (!bekannteHashes.empty())
        return true;
    auto const pfad = alsUtf8(url);
    return gesehen.pfade.contains(pfad) && gesehen.hashes.contains(pfad);
}

bool istBekannt(
    Belegdatei& datei, dienst::GesehenePfade const& gesehen, dienst::Textmenge const& bekannteHashes,
    Abbruchfrage const& abbrechen) {
    if (!koennteBekanntSein(datei.pfad(), gesehen, bekannteHashes))
        return false; // nothing to compare a digest with
    auto const summe = datei.pruefsumme(hoechsterScanbeleg, abbrechen);
    if (!summe)
        return false;
    if (bekannteHashes.contains(*summe))
        return true;
    auto const pfad = alsUtf8(datei.pfad());
    if (!gesehen.pfade.contains(pfad))
        return false;
    auto const hash = gesehen.hashes.find(pfad);
    return hash != gesehen.hashes.end() && *summe == hash->second;
}

bool darfWegenPfadUebersprungen(std::string const& url, dienst::GesehenePfade const& gesehen) {
    if (!koennteBekanntSein(url, gesehen, {}))
        return false;
    auto datei = Belegdatei::oeffnen(url);
    return datei && istBekannt(*datei, gesehen, {});
}

bool passtZumThema(
    std::string const& url, std::string_view text, std::vector<std::string> const& stichworte) {
    // Composed on both sides: a file name that comes from a Mac is decomposed, a keyword is not.
    auto const name = zusammengesetzt(kleingeschrieben(letzteKomponente(url)));
    auto const inhalt = zusammengesetzt(kleingeschrieben(text));
    return std::ranges::any_of(stichworte, [&](std::string const& stichwort) {
        auto const gesucht = zusammengesetzt(stichwort);
        return name.find(gesucht) != std::string::npos || inhalt.find(gesucht) != std::string::npos;
    });
}

Entscheidung entscheidenNachText(
    std::string const& url, std::optional<std::string> const& text,
    std::vector<std::string> const& stichworte) {
    bool const beleg = text && Texterkennung::siehtNachBelegAus(*text);
    if (istBild(url) && !beleg)
        return Entscheidung::keinBelegtext;
    if (!text) // a document whose text cannot be got is left to the service
        return Entscheidung::hochladen;
    if (Texterkennung::istVerlaesslich(*text)) {
        if (!beleg)
            return Entscheidung::keinBeleg;
        if (!stichworte.empty() && !passtZumThema(url, *text, stichworte))
            return Entscheidung::nichtZumThema;
    }
    return Entscheidung::hochladen;
}

Ergebnis<Entscheidung> entscheiden(
    Belegdatei& datei, std::vector<std::string> const& stichworte, bool bilderImmer,
    Texterkennung::Erkenner& erkenner, Leseversuch versuch, Abbruchfrage const& abbrechen) {
    if (bilderImmer && istBild(datei.pfad()))
        return Entscheidung::hochladen;
    auto const text = versuch == Leseversuch::erster ? erkenner.text(datei, abbrechen)
                                                     : erkenner.letzterVersuch(datei, abbrechen);
    if (!text)
        return std::unexpected(text.error());
    return entscheidenNachText(datei.pfad(), *text, stichworte);
}

} // namespace quillmate::MacScan
