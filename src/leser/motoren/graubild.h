#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace quillmate::leser::motoren {

/// Image-orientation codes of EXIF that recognition uses.
enum class Ausrichtung { aufrecht = 1, kopfueber = 3 };

/// A grey picture, 8 bits per pixel, 0 black, 255 white; rows from the top, without padding.
struct Graubild {
    int breite{};
    int hoehe{};
    std::vector<std::uint8_t> punkte; ///< breite * hoehe bytes.

    [[nodiscard]] std::span<std::uint8_t const> zeile(int y) const {
        auto const b = static_cast<std::size_t>(breite);
        return std::span{punkte}.subspan(static_cast<std::size_t>(y) * b, b);
    }
};

/// The picture as it is meant to be seen. `exifAusrichtung` is 1 to 8; anything else counts as 1.
[[nodiscard]] Graubild ausgerichtet(Graubild bild, int exifAusrichtung);

/// The rows from `oben` up to, but without, `unten`, as far as the picture has them.
[[nodiscard]] Graubild querstreifen(Graubild const& bild, int oben, int unten);

/// Shrinks a picture whose rows arrive one by one, by area averaging, so that a scan of any size costs only
/// the memory of its reduced form. Plain object, one thread at a time.
class Verkleinerer {
public:
    /// `breite` x `hoehe` is what arrives, `zielBreite` x `zielHoehe` what comes out; the target is never
    /// larger than the source and never empty.
    Verkleinerer(int breite, int hoehe, int zielBreite, int zielHoehe);
    /// Takes the next row (`breite` bytes). Rows beyond `hoehe` are ignored.
    void zeile(std::span<std::uint8_t const> punkte);
    /// The reduced picture. Rows that never arrived are white.
    [[nodiscard]] Graubild fertig() &&;

private:
    // The source columns that one target column covers, and the shares of the outermost two.
    struct Spalte {
        std::size_t erste, letzte;
        float anteilErste, anteilLetzte;
    };
    void waagrecht(std::span<std::uint8_t const> punkte);
    void abschliessen();

    int const breite_;
    int const hoehe_;
    double const hoehenverhaeltnis_; // Source rows per target row.
    float const anteilGanz_;         // Share of a source column that lies wholly in its target column.
    bool const unveraendert_;        // Source and target have the same size: rows are copied.
    std::vector<Spalte> spalten_;
    std::vector<float> reduziert_; // The present source row, reduced in width.
    std::vector<float> summe_;     // The present target row.
    Graubild bild_;
    int quellzeile_{0};
    int zielzeile_{0};
};

} // namespace quillmate::leser::motoren
