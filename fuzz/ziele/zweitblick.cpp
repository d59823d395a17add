// A small picture and a page of readings, made from the bytes. Boxes reach as far beyond the picture as the engine's
// numbers do, which have 16 bits.
#include "leser/motoren/zweitblick.h"

#include "leser/motoren/graubild.h"
#include "leser/motoren/kostprobe.h"
#include "texterkennung/heuristik.h"
#include "ziel.h"

#include <algorithm>
#include <span>
#include <string>
#include <vector>

using namespace quillmate;
using namespace quillmate::leser::motoren;

namespace {

/// The bytes one after the other; zeros when they are used up.
class Quelle {
public:
    explicit Quelle(std::span<std::uint8_t const> bytes)
        : bytes_(bytes) {}
    [[nodiscard]] bool leer() const { return bytes_.empty(); }
    int byte() {
        if (leer())
            return 0;
        int const wert = bytes_.front();
        bytes_ = bytes_.subspan(1);
        return wert;
    }
    int zahl16() {
        int const hoch = byte();
        return static_cast<std::int16_t>(static_cast<std::uint16_t>(hoch << 8 | byte()));
    }
    float anteil() { return static_cast<float>(byte()) / 255.0F; }

private:
    std::span<std::uint8_t const> bytes_;
};

/// White, with upright bars of ink.
leser::motoren::Graubild bildAus(Quelle& quelle) {
    leser::motoren::Graubild bild{quelle.byte(), quelle.byte() % 128, {}};
    bild.punkte.assign(static_cast<std::size_t>(bild.breite) * static_cast<std::size_t>(bild.hoehe), 255);
    for (int n = quelle.byte() % 32; n > 0; --n) {
        int const links = quelle.byte();
        int const oben = quelle.byte();
        int const rechts = std::min(links + quelle.byte() % 16, bild.breite);
        int const unten = std::min(oben + quelle.byte() % 64, bild.hoehe);
        auto const grau = static_cast<std::uint8_t>(quelle.byte());
        for (int y = oben; y < unten; ++y)
            for (int x = links; x < rechts; ++x)
                bild.punkte
                    [static_cast<std::size_t>(y) * static_cast<std::size_t>(bild.breite) +
                     static_cast<std::size_t>(x)] = grau;
    }
    return bild;
}

leser::motoren::Kasten kastenAus(Quelle& quelle) {
    if (quelle.byte() % 8 == 0)
        return {quelle.zahl16(), quelle.zahl16(), quelle.zahl16(), quelle.zahl16()};
    int const links = quelle.byte();
    int const oben = quelle.byte() % 128;
    return {links, oben, links + quelle.byte(), oben + quelle.byte() % 128};
}

std::vector<leser::motoren::Wort> woerterAus(Quelle& quelle) {
    std::vector<leser::motoren::Wort> woerter;
    for (int n = quelle.byte() % 8; n > 0; --n) {
        leser::motoren::Wort wort;
        for (int laenge = quelle.byte() % 8; laenge > 0; --laenge)
            wort.text += static_cast<char>(quelle.byte());
        wort.kasten = kastenAus(quelle);
        wort.zuversicht = quelle.anteil();
        woerter.push_back(std::move(wort));
    }
    return woerter;
}

std::vector<leser::motoren::Textzeile> zeilenAus(Quelle& quelle) {
    std::vector<leser::motoren::Textzeile> zeilen;
    for (int n = quelle.byte() % 64; n > 0; --n) {
        auto const zuversicht = quelle.anteil();
        zeilen.push_back({woerterAus(quelle), zuversicht});
    }
    return zeilen;
}

bool gleich(leser::motoren::Wort const& a, leser::motoren::Wort const& b) {
    return a.text == b.text && a.kasten == b.kasten;
}

bool imBild(leser::motoren::Kasten const& k, leser::motoren::Graubild const& bild) {
    return 0 <= k.links && k.links < k.rechts && k.rechts <= bild.breite && 0 <= k.oben && k.oben < k.unten &&
           k.unten <= bild.hoehe;
}

/// The pieces are the whole line, in order; says whether one of them is worth a second look.
bool pruefeStuecke(leser::motoren::Textzeile const& zeile) {
    std::size_t bisher = 0;
    bool zweifel = false;
    for (auto const& stueck : leser::motoren::stuecke(zeile)) {
        VERSPROCHEN(stueck.erstes == bisher && stueck.erstes < stueck.ende);
        bisher = stueck.ende;
        VERSPROCHEN(bisher <= zeile.woerter.size());
        zweifel = zweifel || leser::motoren::zweifelhaft(std::span{zeile.woerter}.subspan(
                                 stueck.erstes, stueck.ende - stueck.erstes));
    }
    VERSPROCHEN(bisher == zeile.woerter.size());
    return zweifel;
}

void pruefeGroessenwechsel(leser::motoren::Graubild const& bild, leser::motoren::Kasten const& kasten) {
    if (auto const grenze = leser::motoren::groessenwechsel(bild, kasten))
        VERSPROCHEN(std::max(kasten.links, 0) < *grenze && *grenze < std::min(kasten.rechts, bild.breite));
}

/// The sample holds six neighbouring lines.
void pruefeKostprobe(
    leser::motoren::Graubild const& bild, std::span<leser::motoren::Textzeile const> zeilen) {
    auto const probe = leser::motoren::kostprobe(zeilen);
    if (!probe)
        return;
    VERSPROCHEN(zeilen.size() >= 2 * zeilenDerKostprobe);
    VERSPROCHEN(probe->zuversicht >= Texterkennung::UNSICHER_GELESEN && probe->zuversicht <= 1.0F);
    bool const verkehrt = std::ranges::any_of(zeilen, [](leser::motoren::Textzeile const& zeile) {
        return std::ranges::any_of(
            zeile.woerter, [](leser::motoren::Wort const& w) { return w.kasten.oben > w.kasten.unten; });
    });
    auto const haelt = [&](leser::motoren::Textzeile const& zeile) {
        return std::ranges::all_of(zeile.woerter, [&](leser::motoren::Wort const& w) {
            return probe->oben <= w.kasten.oben && w.kasten.unten <= probe->unten;
        });
    };
    bool gefunden = verkehrt;
    for (std::size_t erste = 0; erste + zeilenDerKostprobe <= zeilen.size(); ++erste)
        gefunden = gefunden || std::ranges::all_of(zeilen.subspan(erste, zeilenDerKostprobe), haelt);
    VERSPROCHEN(gefunden);
    auto const streifen = leser::motoren::querstreifen(bild, probe->oben, probe->unten);
    VERSPROCHEN(streifen.breite == bild.breite && 0 <= streifen.hoehe && streifen.hoehe <= bild.hoehe);
    VERSPROCHEN(
        streifen.punkte.size() ==
        static_cast<std::size_t>(streifen.breite) * static_cast<std::size_t>(streifen.hoehe));
}

void pruefeZweitenBlick(
    leser::motoren::Graubild const& bild, std::vector<leser::motoren::Textzeile> zeilen, Quelle& quelle) {
    auto const vorher = zeilen;
    std::size_t gefragt = 0;
    auto const gelesen = leser::motoren::zweiterBlick(zeilen, bild, [&](leser::motoren::Kasten k) {
        VERSPROCHEN(imBild(k, bild));
        ++gefragt;
        return woerterAus(quelle);
    });
    VERSPROCHEN(gelesen <= leser::motoren::hoechstensStuecke);
    // A piece with print of two sizes is read in two parts.
    VERSPROCHEN(gelesen <= gefragt && gefragt <= 2 * gelesen);
    VERSPROCHEN(zeilen.size() == vorher.size());
    for (std::size_t i = 0; i < zeilen.size(); ++i) {
        if (!pruefeStuecke(vorher[i]))
            VERSPROCHEN(std::ranges::equal(zeilen[i].woerter, vorher[i].woerter, gleich));
        VERSPROCHEN(zeilen[i].woerter.empty() == vorher[i].woerter.empty());
        VERSPROCHEN(zeilen[i].zuversicht >= 0.0F && zeilen[i].zuversicht <= 1.001F);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse) {
    Quelle quelle{{daten, groesse}};
    auto const bild = bildAus(quelle);
    auto const zeilen = zeilenAus(quelle);
    pruefeKostprobe(bild, zeilen);
    pruefeGroessenwechsel(bild, {0, 0, bild.breite, bild.hoehe});
    pruefeGroessenwechsel(bild, kastenAus(quelle));
    pruefeZweitenBlick(bild, zeilen, quelle);
    return 0;
}
