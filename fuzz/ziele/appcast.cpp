#include "aktualisierung/appcast.h"

#include "ziel.h"

using namespace quillmate::aktualisierung;

int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse) {
    auto const text = quillmate::fuzz::alsText(daten, groesse);
    // What nobody with our key has signed is never taken, whatever it says.
    static Schluessel const schluessel{0xD7, 0x5A, 0x98, 0x01};
    VERSPROCHEN(!signierterTeil(text, std::span{&schluessel, 1}));
    VERSPROCHEN(!signierterTeil(text, {}));
    // And what somebody has signed still has its bounds.
    if (auto const appcast = appcastLesen(text)) {
        VERSPROCHEN(appcast->angebote.size() <= 64 && !appcast->kennung.empty());
        for (auto const& angebot : appcast->angebote) {
            VERSPROCHEN(angebot.laenge > 0 && angebot.laenge <= hoechstgroesseArchiv);
            VERSPROCHEN(angebot.url.starts_with("https://"));
            VERSPROCHEN(!angebot.signaturen.empty() && angebot.signaturen.size() <= 4);
        }
        (void)neuestes(*appcast, *Fassungsnummer::lesen("50"), "x86_64");
    }
    return 0;
}
