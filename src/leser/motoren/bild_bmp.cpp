#include "bild.h"

#include <leptonica/allheaders.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <vector>

namespace quillmate::leser::motoren {

namespace {

struct Freigabe {
    void operator()(Pix* pix) const { pixDestroy(&pix); }
};
using Bild = std::unique_ptr<Pix, Freigabe>;

constexpr std::size_t kopfBytes = 26;

std::int64_t zahl(std::span<std::uint8_t const> bytes) {
    std::uint32_t wert = 0;
    for (std::size_t i = 4; i-- > 0;)
        wert = wert << 8U | bytes[i];
    return static_cast<std::int32_t>(wert);
}

} // namespace

std::optional<RohesBild> bmpLaden(Dateiquelle const& quelle) {
    constexpr std::int64_t bytesJePunkt = 5; // The library's picture, and the grey one made of it.
    std::array<std::uint8_t, kopfBytes> kopf{};
    // The file is held besides. It is not packed, so a larger one is a larger picture.
    if (quelle.groesse() > hoechsterBildspeicher || quelle.lesen(0, kopf) != kopf.size())
        return std::nullopt;
    auto const breite = zahl(std::span{kopf}.subspan(18));
    auto const hoehe = std::abs(zahl(std::span{kopf}.subspan(22))); // Negative: the rows come from the top.
    if (breite <= 0 || hoehe <= 0 || breite > hoechstePixel || hoehe > hoechstePixel ||
        breite * hoehe > hoechsterBildspeicher / bytesJePunkt)
        return std::nullopt;
    std::vector<std::uint8_t> datei(static_cast<std::size_t>(quelle.groesse()));
    datei.resize(quelle.lesen(0, datei));
    setMsgSeverity(L_SEVERITY_NONE); // Odd pictures are no news for standard error.
    Bild const bunt{pixReadMemBmp(datei.data(), datei.size())};
    Bild const grau{bunt ? pixConvertTo8(bunt.get(), 0) : nullptr};
    if (!grau)
        return std::nullopt;
    int const b = pixGetWidth(grau.get());
    int const h = pixGetHeight(grau.get());
    auto const ziel = zielmass(b, h);
    Verkleinerer verkleinerer{b, h, ziel.breite, ziel.hoehe};
    std::vector<std::uint8_t> zeile(static_cast<std::size_t>(b));
    auto const* worte = pixGetData(grau.get());
    for (int y = 0; y < h; ++y, worte += pixGetWpl(grau.get())) {
        for (int x = 0; x < b; ++x)
            zeile[static_cast<std::size_t>(x)] = static_cast<std::uint8_t>(GET_DATA_BYTE(worte, x));
        verkleinerer.zeile(zeile);
    }
    return RohesBild{std::move(verkleinerer).fertig(), 1};
}

} // namespace quillmate::leser::motoren
