#include "bild.h"
#include "exif.h"

#include <webp/decode.h>
#include <webp/demux.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace quillmate::leser::motoren {

namespace {

struct Freigabe {
    void operator()(WebPDemuxer* d) const { WebPDemuxDelete(d); }
    void operator()(WebPIDecoder* d) const { WebPIDelete(d); }
};

constexpr std::int64_t bytesJePunkt = 4; // As the library holds a lossless picture, which it decodes whole.
constexpr std::int64_t hoechsteDatei = hoechsterBildspeicher / 2; // It is held whole besides.

/// The orientation and the bytes of the first picture; all of the file where it holds just one.
struct Inhalt {
    std::span<std::uint8_t const> erstesBild;
    int ausrichtung{1};
};

Inhalt inhalt(std::span<std::uint8_t const> datei) {
    Inhalt gefunden{datei};
    WebPData const daten{datei.data(), datei.size()};
    WebPDemuxState stand{};
    std::unique_ptr<WebPDemuxer, Freigabe> const behaelter{WebPDemuxPartial(&daten, &stand)};
    if (!behaelter)
        return gefunden;
    auto const merkmale = WebPDemuxGetI(behaelter.get(), WEBP_FF_FORMAT_FLAGS);
    if (WebPIterator bild{};
        (merkmale & ANIMATION_FLAG) != 0 && WebPDemuxGetFrame(behaelter.get(), 1, &bild) != 0) {
        gefunden.erstesBild = {bild.fragment.bytes, bild.fragment.size};
        WebPDemuxReleaseIterator(&bild);
    }
    if (WebPChunkIterator stueck{};
        (merkmale & EXIF_FLAG) != 0 && WebPDemuxGetChunk(behaelter.get(), "EXIF", 1, &stueck) != 0) {
        gefunden.ausrichtung = exifAusrichtung({stueck.chunk.bytes, stueck.chunk.size});
        WebPDemuxReleaseChunkIterator(&stueck);
    }
    return gefunden;
}

/// Decodes and reduces at once. Rows that are missing at the end are white.
std::optional<Graubild> dekodiert(std::span<std::uint8_t const> bytes) {
    WebPDecoderConfig vorgaben;
    if (WebPInitDecoderConfig(&vorgaben) == 0 ||
        WebPGetFeatures(bytes.data(), bytes.size(), &vorgaben.input) != VP8_STATUS_OK)
        return std::nullopt;
    int const breite = vorgaben.input.width;
    int const hoehe = vorgaben.input.height;
    if (breite <= 0 || hoehe <= 0 ||
        static_cast<std::int64_t>(breite) * hoehe * bytesJePunkt > hoechsterBildspeicher)
        return std::nullopt;
    auto const ziel = zielmass(breite, hoehe);
    vorgaben.options.use_scaling = ziel.breite != breite || ziel.hoehe != hoehe ? 1 : 0;
    vorgaben.options.scaled_width = ziel.breite;
    vorgaben.options.scaled_height = ziel.hoehe;
    auto const punkte = static_cast<std::size_t>(ziel.breite) * static_cast<std::size_t>(ziel.hoehe);
    std::vector<std::uint8_t> rgba(punkte * 4, 255);
    vorgaben.output.colorspace = MODE_RGBA;
    vorgaben.output.is_external_memory = 1;
    vorgaben.output.u.RGBA = {rgba.data(), 4 * ziel.breite, rgba.size()};
    std::unique_ptr<WebPIDecoder, Freigabe> const entschluessler{WebPIDecode(nullptr, 0, &vorgaben)};
    if (!entschluessler)
        return std::nullopt;
    auto const stand = WebPIUpdate(entschluessler.get(), bytes.data(), bytes.size());
    int letzte = 0;
    if (WebPIDecGetRGB(entschluessler.get(), &letzte, nullptr, nullptr, nullptr) == nullptr || letzte <= 0 ||
        (stand != VP8_STATUS_OK && stand != VP8_STATUS_SUSPENDED))
        return std::nullopt;
    Graubild bild{ziel.breite, ziel.hoehe, std::vector<std::uint8_t>(punkte)};
    for (std::size_t i = 0; i < punkte; ++i) {
        auto const* const p = rgba.data() + 4 * i;
        unsigned const grau = (77U * p[0] + 150U * p[1] + 29U * p[2] + 128U) >> 8U;
        bild.punkte[i] = static_cast<std::uint8_t>((grau * p[3] + 255U * (255U - p[3]) + 127U) / 255U);
    }
    return bild;
}

} // namespace

std::optional<RohesBild> webpLaden(Dateiquelle const& quelle) {
    if (quelle.groesse() > hoechsteDatei)
        return std::nullopt;
    std::vector<std::uint8_t> datei(static_cast<std::size_t>(quelle.groesse()));
    datei.resize(quelle.lesen(0, datei));
    auto const gefunden = inhalt(datei);
    auto bild = dekodiert(gefunden.erstesBild);
    if (!bild)
        return std::nullopt;
    return RohesBild{std::move(*bild), gefunden.ausrichtung};
}

} // namespace quillmate::leser::motoren
