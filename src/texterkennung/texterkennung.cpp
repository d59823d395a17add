#include "texterkennung.h"

#include "grundlage/datei.h"
#include "grundlage/text.h"
#include "heuristik.h"

#include <cerrno>

namespace quillmate::Texterkennung {

namespace {

std::optional<Dateiart> dateiartNachEndung(std::string const& pfad) {
    auto const endung = dateiendung(letzteKomponente(pfad));
    if (endung == "pdf")
        return Dateiart::pdf;
    if (bildEndungen.contains(endung))
        return Dateiart::bild;
    return std::nullopt;
}

/// Whether an error tells of the machine's load and not of the file.
bool mangelAnMitteln(int fehler) {
    return fehler == EMFILE || fehler == ENFILE || fehler == ENOMEM;
}

} // namespace

std::optional<std::string> Erkenner::text(std::string const& pfad) {
    auto const art = dateiartNachEndung(pfad);
    if (!art)
        return std::nullopt;
    // The key is taken before the file is read: a file that changes meanwhile has another key afterwards, so
    // a text of the old bytes is never found for the new ones.
    auto const schluessel = zwischenspeicherSchluessel(pfad);
    if (auto const eintrag = speicher_.ausZwischenspeicher(schluessel))
        return eintrag->text;

    Lesung lesung;
    errno = 0; // What is no regular file is refused without an error.
    if (auto const datei = oeffneDatei(pfad))
        lesung = leser_.lesen(datei.get(), *art);
    else if (mangelAnMitteln(errno))
        return std::nullopt;
    if (lesung.text)
        lesung.text = ersteZeichen(*lesung.text, hoechstensZeichen);
    if (lesung.art == Lesung::Art::gelesen)
        speicher_.inZwischenspeicher(schluessel, lesung.text);
    return lesung.text;
}

} // namespace quillmate::Texterkennung
