#include "bild.h"

#include <libheif/heif.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

namespace quillmate::leser::motoren {

namespace {

// Only a first line of defence: the product of both sides is checked once the header is read.
constexpr int hoechsteSeite = 32'768;

template<auto freigeben>
struct Freigabe {
    template<typename T>
    void operator()(T* zeiger) const {
        freigeben(zeiger);
    }
};
using Dokument = std::unique_ptr<heif_context, Freigabe<heif_context_free>>;
using Griff = std::unique_ptr<heif_image_handle const, Freigabe<heif_image_handle_release>>;
using Bild = std::unique_ptr<heif_image const, Freigabe<heif_image_release>>;
using Vorgaben = std::unique_ptr<heif_decoding_options, Freigabe<heif_decoding_options_free>>;

struct Lesestelle {
    Dateiquelle const* quelle;
    std::int64_t stelle;
};

Lesestelle& lesestelle(void* daten) {
    return *static_cast<Lesestelle*>(daten);
}

std::int64_t wo(void* daten) {
    return lesestelle(daten).stelle;
}

int lies(void* ziel, std::size_t anzahl, void* daten) {
    auto& l = lesestelle(daten);
    auto const n = l.quelle->lesen(l.stelle, {static_cast<std::uint8_t*>(ziel), anzahl});
    l.stelle += static_cast<std::int64_t>(n);
    return n == anzahl ? 0 : -1;
}

int springe(std::int64_t stelle, void* daten) {
    lesestelle(daten).stelle = stelle;
    return 0;
}

heif_reader_grow_status warte(std::int64_t groesse, void* daten) {
    return groesse <= lesestelle(daten).quelle->groesse() ? heif_reader_grow_status_size_reached
                                                          : heif_reader_grow_status_size_beyond_eof;
}

/// One plane of a decoded picture; samples of more than 8 bits are two bytes, the low one first.
class Ebene {
public:
    Ebene(heif_image const* bild, heif_channel kanal)
        : anfang_(heif_image_get_plane_readonly(bild, kanal, &schritt_))
        , verschiebung_(std::max(heif_image_get_bits_per_pixel_range(bild, kanal) - 8, 0))
        , breite_(heif_image_get_width(bild, kanal))
        , hoehe_(heif_image_get_height(bild, kanal)) {}

    explicit operator bool() const { return anfang_ != nullptr && breite_ > 0 && hoehe_ > 0 && schritt_ > 0; }
    [[nodiscard]] int breite() const { return breite_; }
    [[nodiscard]] int hoehe() const { return hoehe_; }

    void zeile(int y, std::span<std::uint8_t> ziel) const {
        auto const* p = anfang_ + static_cast<std::ptrdiff_t>(y) * schritt_;
        if (verschiebung_ == 0) {
            std::memcpy(ziel.data(), p, ziel.size());
            return;
        }
        for (auto& punkt : ziel) {
            unsigned const wert = p[0] | (static_cast<unsigned>(p[1]) << 8U);
            punkt = static_cast<std::uint8_t>(std::min(wert >> static_cast<unsigned>(verschiebung_), 255U));
            p += 2;
        }
    }

private:
    int schritt_{0}; // Written while anfang_ is set, so it stands before it.
    std::uint8_t const* anfang_;
    int verschiebung_;
    int breite_;
    int hoehe_;
};

bool passt(heif_image_handle const* griff) {
    auto const breite = heif_image_handle_get_width(griff);
    auto const hoehe = heif_image_handle_get_height(griff);
    return breite > 0 && hoehe > 0 && static_cast<std::int64_t>(breite) * hoehe <= hoechstePixelHeif;
}

/// Decodes as stored; the brightness plane of the usual YCbCr is then already the grey picture. The stored
/// turns, mirrorings and crops are applied by the library.
Bild dekodiert(heif_image_handle const* griff, heif_colorspace farbraum, heif_chroma abtastung) {
    Vorgaben const vorgaben{heif_decoding_options_alloc()};
    if (!vorgaben)
        return nullptr;
    vorgaben->convert_hdr_to_8bit = 1;
    heif_image* bild = nullptr;
    auto const fehler = heif_decode_image(griff, &bild, farbraum, abtastung, vorgaben.get());
    Bild besitz{bild};
    return fehler.code == heif_error_Ok ? std::move(besitz) : nullptr;
}

std::optional<Graubild> ausEbenen(heif_image const* bild) {
    bool const rgb = heif_image_get_colorspace(bild) == heif_colorspace_RGB;
    Ebene const haupt{bild, rgb ? heif_channel_R : heif_channel_Y};
    if (!haupt)
        return std::nullopt;
    auto const breite = haupt.breite();
    auto const hoehe = haupt.hoehe();
    auto gleichGross = [&](Ebene const& e) {
        return e && e.breite() == breite && e.hoehe() == hoehe;
    };
    Ebene const gruen{bild, heif_channel_G};
    Ebene const blau{bild, heif_channel_B};
    if (rgb && (!gleichGross(gruen) || !gleichGross(blau)))
        return std::nullopt;
    Ebene const deckung{bild, heif_channel_Alpha};
    bool const durchsichtig = gleichGross(deckung);

    auto const ziel = zielmass(breite, hoehe);
    Verkleinerer verkleinerer{breite, hoehe, ziel.breite, ziel.hoehe};
    std::vector<std::uint8_t> grau(static_cast<std::size_t>(breite));
    std::vector<std::uint8_t> g(grau.size());
    std::vector<std::uint8_t> b(grau.size());
    for (int y = 0; y < hoehe; ++y) {
        haupt.zeile(y, grau);
        if (rgb) {
            gruen.zeile(y, g);
            blau.zeile(y, b);
            for (std::size_t x = 0; x < grau.size(); ++x)
                grau[x] = static_cast<std::uint8_t>((77U * grau[x] + 150U * g[x] + 29U * b[x] + 128U) >> 8U);
        }
        if (durchsichtig) {
            deckung.zeile(y, g);
            for (std::size_t x = 0; x < grau.size(); ++x)
                grau[x] = static_cast<std::uint8_t>((grau[x] * g[x] + 255U * (255U - g[x]) + 127U) / 255U);
        }
        verkleinerer.zeile(grau);
    }
    return std::move(verkleinerer).fertig();
}

} // namespace

std::optional<RohesBild> heifLaden(Dateiquelle const& quelle) {
    Dokument const dokument{heif_context_alloc()};
    if (!dokument)
        return std::nullopt;
    heif_context_set_maximum_image_size_limit(dokument.get(), hoechsteSeite);
    heif_context_set_max_decoding_threads(dokument.get(), 0);
    heif_reader const leser{1, wo, lies, springe, warte};
    Lesestelle stelle{&quelle, 0};
    if (heif_context_read_from_reader(dokument.get(), &leser, &stelle, nullptr).code != heif_error_Ok)
        return std::nullopt;
    heif_image_handle* roh = nullptr;
    if (heif_context_get_primary_image_handle(dokument.get(), &roh).code != heif_error_Ok)
        return std::nullopt;
    Griff const griff{roh};
    if (!passt(griff.get()))
        return std::nullopt;
    auto bild = dekodiert(griff.get(), heif_colorspace_undefined, heif_chroma_undefined);
    if (!bild)
        return std::nullopt;
    auto grau = ausEbenen(bild.get());
    if (!grau) {
        // An unusual layout of the samples: let the library bring it into planes.
        bild = dekodiert(griff.get(), heif_colorspace_RGB, heif_chroma_444);
        if (bild)
            grau = ausEbenen(bild.get());
    }
    if (!grau)
        return std::nullopt;
    return RohesBild{std::move(*grau), 1};
}

} // namespace quillmate::leser::motoren
