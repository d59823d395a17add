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

bool istBekannt(
    std::string const& url, dienst::GesehenePfade const& gesehen, dienst::Textmenge const& bekannteHashes) {
    auto const pfad = alsUtf8(url);
    auto const hash = gesehen.pfade.contains(pfad) ? gesehen.hashes.find(pfad) : gesehen.hashes.end();
    bool const schonGesehen = hash != gesehen.hashes.end();
    if (!schonGesehen && bekannteHashes.empty())
        return false; // nothing to compare a digest with
    auto const summe = inhaltspruefsumme(url);
    return summe && ((schonGesehen && *summe == hash->second) || bekannteHashes.contains(*summe));
}

bool darfWegenPfadUebersprungen(std::string const& url, dienst::GesehenePfade const& gesehen) {
    return istBekannt(url, gesehen, {});
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
    std::string const& url, std::vector<std::string> const& stichworte, bool bilderImmer,
    Texterkennung::Erkenner& erkenner, Leseversuch versuch) {
    if (bilderImmer && istBild(url))
        return Entscheidung::hochladen;
    auto const text = versuch == Leseversuch::erster ? erkenner.text(url) : erkenner.letzterVersuch(url);
    if (!text)
        return std::unexpected(text.error());
    return entscheidenNachText(url, *text, stichworte);
}

} // namespace quillmate::MacScan
