#include "erkennen.h"

#include "texterkennung/heuristik.h"

#include <utility>

namespace quillmate::leser::motoren {

namespace {

int wertung(std::string const& text) {
    return (Texterkennung::hatBelegwort(text) ? 2 : 0) + (Texterkennung::hatBetrag(text) ? 1 : 0);
}

} // namespace

std::optional<std::string> erkennen(Schrifterkenner& erkenner, Graubild bild, Erkennungsende ende) {
    erkenner.auflegen(std::move(bild));
    if (auto const anzahl = erkenner.textfelder(); anzahl && *anzahl < Texterkennung::MINDEST_TEXTFELDER)
        return std::nullopt;
    auto aufrecht = erkenner.lesen(Ausrichtung::aufrecht, ende);
    if (!aufrecht.text || Texterkennung::hatBelegwort(*aufrecht.text))
        return std::move(aufrecht.text);
    // Amounts without any receipt word are suspicious: digits survive a turned page, words do not.
    bool const betrag = Texterkennung::hatBetrag(*aufrecht.text);
    if (!betrag && aufrecht.zuversicht >= Texterkennung::UNSICHER_GELESEN)
        return std::move(aufrecht.text);
    auto gedreht = erkenner.lesen(Ausrichtung::kopfueber, ende);
    if (gedreht.text && wertung(*gedreht.text) > (betrag ? 1 : 0))
        return std::move(gedreht.text);
    return std::move(aufrecht.text);
}

} // namespace quillmate::leser::motoren
