#include "belegdaten.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <set>
#include <string_view>

namespace quillmate::demo {

namespace {

struct Ware {
    std::string_view bezeichnung;
    Cent preis; ///< About what one costs.
};

struct Haendler {
    std::string_view name;
    std::string_view strasse;
    std::string_view ort;
    std::string_view kuerzel; ///< Begins its invoice numbers.
    int steuersatz;
    std::array<Ware, 4> waren;
};

// All invented: names, streets and towns.
constexpr std::array haendlerliste{
    Haendler{
        "Nordlicht Bürobedarf GmbH",
        "Lindenallee 14",
        "23999 Ahornstedt",
        "NB",
        19,
        {Ware{"Kopierpapier A4, 500 Blatt", 549},
         {"Ordner breit, blau", 329},
         {"Tintenpatrone schwarz", 2490},
         {"Haftnotizen, 12 Blöcke", 899}}},
    Haendler{
        "Elbtal Werkzeughandel KG",
        "Hafenweg 3",
        "01999 Niederelb",
        "EW",
        19,
        {Ware{"Bohrerset HSS, 19-teilig", 3495},
         {"Akku 18 V, 4 Ah", 7990},
         {"Schraubendreher PH2", 695},
         {"Schutzbrille", 1290}}},
    Haendler{
        "Kaffeerösterei Morgenrot",
        "Marktplatz 8",
        "55999 Weinheide",
        "KM",
        7,
        {Ware{"Hausmischung, 1 kg", 1890},
         {"Espresso kräftig, 1 kg", 2150},
         {"Filterpapier, 100 Stück", 349},
         {"Entkalker", 790}}},
    Haendler{
        "Wolkenbrück Hosting AG",
        "Serverstraße 1",
        "60999 Mainfurt",
        "WH",
        19,
        {Ware{"Webspace Profi, 12 Monate", 10788},
         {"Domain, 1 Jahr", 1428},
         {"Postfach 50 GB, Monat", 499},
         {"Sicherung täglich, Monat", 299}}},
    Haendler{
        "Taxi-Funkzentrale Lindenhof eG",
        "Bahnhofstraße 2",
        "23999 Ahornstedt",
        "TX",
        7,
        {Ware{"Fahrt Stadtgebiet", 1840},
         {"Fahrt Flughafen", 5260},
         {"Zuschlag Großraum", 700},
         {"Wartezeit, 10 Minuten", 650}}},
    Haendler{
        "Bäckerei Ährenkranz",
        "Mühlgasse 5",
        "23999 Ahornstedt",
        "BA",
        7,
        {Ware{"Brötchen", 45},
         {"Bauernbrot 1000 g", 495},
         {"Butterkuchen, Blech", 2450},
         {"Laugenstange", 120}}},
    Haendler{
        "Hotel Zum Silbernen Anker",
        "Promenade 21",
        "18999 Strandwalde",
        "HA",
        7,
        {Ware{"Übernachtung Einzelzimmer", 8900},
         {"Frühstück", 1450},
         {"Parkplatz, Nacht", 800},
         {"Kurbeitrag", 320}}},
    Haendler{
        "Druckhaus Federkiel GmbH",
        "Gewerbering 77",
        "99999 Thürau",
        "DF",
        19,
        {Ware{"Visitenkarten, 250 Stück", 3990},
         {"Faltblatt A4, 1000 Stück", 18900},
         {"Plakat A1", 1250},
         {"Korrekturabzug", 1500}}},
    Haendler{
        "Gärtnerei Moosblick",
        "Am Anger 9",
        "23998 Ährenfeld",
        "GM",
        7,
        {Ware{"Zimmerpflanze groß", 3490},
         {"Blumenerde 40 l", 899},
         {"Übertopf, Ton", 1795},
         {"Strauß der Woche", 2200}}},
    Haendler{
        "Stadtwerke Ahornstedt",
        "Am Wasserturm 1",
        "23999 Ahornstedt",
        "SW",
        19,
        {Ware{"Abschlag Strom", 14500},
         {"Abschlag Fernwärme", 21000},
         {"Abschlag Wasser", 4800},
         {"Grundpreis Zähler", 1190}}},
    Haendler{
        "Fernbus Weitblick",
        "Zentraler Busbahnhof 4",
        "60999 Mainfurt",
        "FB",
        7,
        {Ware{"Fahrschein Hinfahrt", 2399},
         {"Fahrschein Rückfahrt", 2199},
         {"Sitzplatz wählen", 349},
         {"Gepäckstück", 400}}},
    Haendler{
        "Elektro Blitzmüller & Söhne",
        "Spannungsgasse 12",
        "23999 Ahornstedt",
        "EB",
        19,
        {Ware{"Netzteil 65 W", 4490},
         {"Kabel USB-C, 2 m", 1299},
         {"Mehrfachstecker", 1895},
         {"Arbeitsstunde", 6900}}},
    Haendler{
        "Papeterie Tintenklecks",
        "Schulstraße 6",
        "23999 Ahornstedt",
        "PT",
        19,
        {Ware{"Füller Klassik", 3250},
         {"Notizbuch A5", 1290},
         {"Umschläge C6, 50 Stück", 459},
         {"Briefmarkenheft", 850}}},
    Haendler{
        "Tankstelle Dreiländereck",
        "Fernstraße 200",
        "52999 Grenzau",
        "TD",
        19,
        {Ware{"Diesel, Tankfüllung", 7841},
         {"Scheibenreiniger", 599},
         {"Wagenwäsche", 1190},
         {"Motoröl 1 l", 1690}}}};

constexpr int anzahlText = 62;
constexpr int anzahlScan = 8;
constexpr int anzahlJpeg = 12;
constexpr int anzahlPng = 4;
constexpr int anzahlHeic = 3;

Machart machartNach(int nummer) {
    if (nummer < anzahlText)
        return Machart::textPdf;
    if (nummer < anzahlText + anzahlScan)
        return Machart::scanPdf;
    if (nummer < anzahlText + anzahlScan + anzahlJpeg)
        return Machart::fotoJpeg;
    if (nummer < anzahlText + anzahlScan + anzahlJpeg + anzahlPng)
        return Machart::fotoPng;
    return Machart::fotoHeic;
}

constexpr Tag jahresanfang{std::chrono::year{2026} / std::chrono::January / 2};
constexpr int tageImJahr = 290;

} // namespace

Cent Beispielbeleg::brutto() const {
    Cent summe = 0;
    for (auto const& posten_ : posten)
        summe += posten_.menge * posten_.einzelpreis;
    return summe;
}

Cent Beispielbeleg::steuer() const {
    auto const nenner = Cent{100} + steuersatz;
    return (brutto() * steuersatz + nenner / 2) / nenner;
}

std::vector<Beispielbeleg> beispielbelege() {
    Wuerfel wuerfel{20260102};
    std::vector<Beispielbeleg> belege;
    std::set<Cent> summen;
    constexpr int anzahl = anzahlText + anzahlScan + anzahlJpeg + anzahlPng + anzahlHeic;
    for (int nummer = 0; nummer < anzahl; ++nummer) {
        auto const& haendler =
            haendlerliste[static_cast<std::size_t>(wuerfel.unter(int{haendlerliste.size()}))];
        Beispielbeleg beleg{
            .nummer = nummer,
            .machart = machartNach(nummer),
            .haendler = std::string{haendler.name},
            .strasse = std::string{haendler.strasse},
            .ort = std::string{haendler.ort},
            .rechnungsnummer = fmt::format("{}-2026-{:04}", haendler.kuerzel, 1000 + nummer * 7),
            .datum = jahresanfang + std::chrono::days{wuerfel.unter(tageImJahr)},
            .posten = {},
            .steuersatz = haendler.steuersatz,
            .gebucht = nummer % 4 != 3};
        auto const verschiedene = 1 + wuerfel.unter(3);
        for (int i = 0; i < verschiedene; ++i) {
            auto const& ware = haendler.waren[static_cast<std::size_t>((nummer + i) % 4)];
            beleg.posten.push_back(
                {.bezeichnung = std::string{ware.bezeichnung},
                 .menge = 1 + wuerfel.unter(ware.preis < 2000 ? 4 : 1),
                 .einzelpreis = ware.preis + wuerfel.unter(90)});
        }
        while (!summen.insert(beleg.brutto()).second)
            ++beleg.posten.front().einzelpreis;
        belege.push_back(std::move(beleg));
    }
    return belege;
}

std::vector<Buchung> beispielbuchungen() {
    Wuerfel wuerfel{42};
    std::vector<Buchung> buchungen;
    for (auto const& beleg : beispielbelege())
        if (beleg.gebucht)
            buchungen.push_back(
                {.id = 0,
                 .datum = beleg.datum + std::chrono::days{wuerfel.unter(6)},
                 .betrag = -beleg.brutto(),
                 .gegenpartei = beleg.haendler,
                 .zweck = "Rechnung " + beleg.rechnungsnummer});
    buchungen.push_back(
        {0, jahresanfang + std::chrono::days{30}, -89'900, "Vermietung Giebelhaus", "Miete Februar"});
    buchungen.push_back(
        {0, jahresanfang + std::chrono::days{58}, -89'900, "Vermietung Giebelhaus", "Miete März"});
    buchungen.push_back(
        {0, jahresanfang + std::chrono::days{75}, 245'000, "Musterkundin Sommer", "Honorar Entwurf"});
    buchungen.push_back(
        {0, jahresanfang + std::chrono::days{90}, -1'999, "Funknetz Ahorn", "Mobilfunk März"});
    std::ranges::stable_sort(buchungen, {}, &Buchung::datum);
    return buchungen;
}

std::uint64_t Wuerfel::zahl() noexcept {
    // splitmix64
    lage_ += 0x9E3779B97F4A7C15U;
    auto z = lage_;
    z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31U);
}

int Wuerfel::unter(int grenze) noexcept {
    return static_cast<int>(zahl() % static_cast<std::uint64_t>(grenze));
}

} // namespace quillmate::demo
