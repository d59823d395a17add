// The first byte is the size of the pieces in which the rest arrives.
#include "grundlage/text.h"
#include "leser/protokoll/nachricht.h"
#include "ziel.h"

#include <algorithm>

using namespace quillmate;
using namespace quillmate::Texterkennung;

int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse) {
    if (groesse == 0)
        return 0;
    constexpr std::uint32_t nummer = 1;
    std::size_t const stueck = std::max<std::size_t>(daten[0], 1);
    std::span<std::uint8_t const> rest{daten + 1, groesse - 1};
    leser::protokoll::AntwortEingang eingang{nummer};
    std::size_t genommen = 0;
    while (!rest.empty() && eingang.stand() == leser::protokoll::AntwortEingang::Stand::offen) {
        VERSPROCHEN(eingang.noch() > 0 && eingang.noch() <= leser::protokoll::hoechstensTextBytes);
        auto const anzahl = std::min({stueck, rest.size(), eingang.noch()});
        eingang.nimm(rest.first(anzahl));
        rest = rest.subspan(anzahl);
        genommen += anzahl;
    }
    if (eingang.stand() == leser::protokoll::AntwortEingang::Stand::fertig) {
        auto const& lesung = eingang.lesung();
        VERSPROCHEN(lesung.art != Texterkennung::Lesung::Art::ohneLeser);
        VERSPROCHEN(!lesung.text || alsUtf8(*lesung.text) == *lesung.text);
        // There is exactly one way to say it.
        auto const noch = leser::protokoll::antwortBytes(nummer, lesung);
        VERSPROCHEN(noch == fuzz::alsText(daten + 1, genommen));
    }
    return 0;
}
