#pragma once

#include "abgleich.h"

#include <cstdint>
#include <string>
#include <vector>

/// The sample receipts that are drawn by quillmate-beispiele and the bookings that quillmate-demodienst
/// begins with: one invented year of one invented business. Pure and always the same.
namespace quillmate::demo {

/// How a sample receipt lies in the user's folders.
enum class Machart {
    textPdf,  ///< Invoice with a text layer.
    scanPdf,  ///< Scanned page, no text layer.
    fotoJpeg, ///< Photo of a till receipt.
    fotoPng,
    fotoHeic,
};

struct Posten {
    std::string bezeichnung;
    int menge;
    Cent einzelpreis; ///< With tax.
};

struct Beispielbeleg {
    int nummer; ///< 0, 1, 2 ...
    Machart machart;
    std::string haendler;
    std::string strasse;
    std::string ort;
    std::string rechnungsnummer;
    Tag datum;
    std::vector<Posten> posten;
    int steuersatz; ///< Percent.
    bool gebucht;   ///< Whether a booking of this amount exists.

    [[nodiscard]] Cent brutto() const;
    [[nodiscard]] Cent steuer() const; ///< What of it is tax, rounded to the cent.
};

/// No two have the same total.
[[nodiscard]] std::vector<Beispielbeleg> beispielbelege();

/// One booking for each receipt that has one, some days after it, and a few for which there is no receipt; by
/// date.
[[nodiscard]] std::vector<Buchung> beispielbuchungen();

/// A small generator of pseudo-random numbers that gives the same ones everywhere (the standard library's
/// distributions do not). Not for secrets.
class Wuerfel {
public:
    explicit Wuerfel(std::uint64_t saat) noexcept
        : lage_(saat) {}
    [[nodiscard]] std::uint64_t zahl() noexcept;
    /// From 0 to `grenze` - 1.
    [[nodiscard]] int unter(int grenze) noexcept;

private:
    std::uint64_t lage_;
};

} // namespace quillmate::demo
