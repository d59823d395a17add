#include "bild.h"

#include "texterkennung/heuristik.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>
#include <utility>

namespace quillmate::leser::motoren {

namespace {

constexpr double mindestLaenge = 2000;

} // namespace

int zielLaenge(int breite, int hoehe) {
    int const lang = std::max(breite, hoehe);
    double const gewuenscht =
        std::max(std::round(Texterkennung::lesefaktor(breite, hoehe) * lang), mindestLaenge);
    return static_cast<int>(std::min<double>(lang, gewuenscht));
}

Bildmass zielmass(int breite, int hoehe) {
    int const lang = std::max(breite, hoehe);
    int const ziel = zielLaenge(breite, hoehe);
    auto seite = [&](int laenge) {
        return std::clamp(
            static_cast<int>(std::lround(static_cast<double>(laenge) * ziel / lang)), 1, laenge);
    };
    return {seite(breite), seite(hoehe)};
}

std::optional<Graubild> bildLaden(Dateiquelle const& quelle) {
    if (quelle.groesse() > hoechsteBilddatei)
        return std::nullopt;
    std::array<std::uint8_t, 12> bytes{};
    auto const gelesen = quelle.lesen(0, bytes);
    std::string_view const anfang{reinterpret_cast<char const*>(bytes.data()), gelesen};
    auto const bild = [&]() -> std::optional<RohesBild> {
        if (anfang.starts_with("\xFF\xD8\xFF"))
            return jpegLaden(quelle);
        if (anfang.starts_with("\x89PNG\r\n\x1A\n"))
            return pngLaden(quelle);
        if (anfang.size() == bytes.size() && anfang.substr(4, 4) == "ftyp")
            return heifLaden(quelle);
        if (anfang.starts_with("GIF87a") || anfang.starts_with("GIF89a"))
            return gifLaden(quelle);
        if (anfang.starts_with("RIFF") && anfang.size() == bytes.size() && anfang.substr(8, 4) == "WEBP")
            return webpLaden(quelle);
        if (anfang.starts_with(std::string_view{"II*\0", 4}) ||
            anfang.starts_with(std::string_view{"MM\0*", 4}))
            return tiffLaden(quelle);
        if (anfang.starts_with("BM"))
            return bmpLaden(quelle);
        return std::nullopt;
    };
    auto roh = bild();
    if (!roh)
        return std::nullopt;
    return ausgerichtet(std::move(roh->bild), roh->exifAusrichtung);
}

} // namespace quillmate::leser::motoren
