// What is found in pictures of every kind, what is taken for a receipt, and what does it cost? See README.md.

#include "erkennungsproben.h"
#include "grundlage/datei.h"
#include "grundlage/pruefsumme.h"
#include "messung.h"
#include "texterkennung/heuristik.h"
#include "wahrheit.h"
#include "wortvergleich.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <map>
#include <numeric>
#include <optional>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quillmate::bench {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr std::uint64_t hoechstgroesse = 256U << 20U;

struct Lesung {
    std::string text;
    double sekunden{0};
    int felder{0};
};

/// Everything read by one side, in the order of the pictures.
using Lesungen = std::vector<Lesung>;

Lesung ausJson(json const& zeile) {
    return {zeile.value("text", ""), zeile.value("sekunden", 0.0), zeile.value("felder", 0)};
}

/// By quillmate-bench-lesen of some state of the program.
Lesungen unsere(fs::path const& programm, std::vector<Probe> const& alle, fs::path const& arbeitsordner) {
    auto const liste = arbeitsordner / "liste";
    std::string pfade;
    for (auto const& p : alle)
        pfade += p.datei.string() + "\n";
    if (!schreibeAtomar(liste.string(), pfade, Dauerhaft::nein))
        throw std::runtime_error{"cannot write " + liste.string()};
    auto const lauf = ausfuehren({programm.string(), liste.string()}, Ausgabe::behalten);
    std::istringstream zeilen{lauf.ausgabe};
    Lesungen gelesen;
    for (std::string zeile; std::getline(zeilen, zeile);)
        gelesen.push_back(ausJson(json::parse(zeile)));
    if (!lauf.gelungen || gelesen.size() != alle.size())
        throw std::runtime_error{programm.string() + " did not read all pictures"};
    return gelesen;
}

/// The engine's own program, or what it once said of the same bytes.
Lesung ihre(Probe const& probe, std::optional<fs::path> const& ablage) {
    std::optional<fs::path> merken;
    if (ablage)
        if (auto const inhalt = leseDatei(probe.datei.string(), hoechstgroesse)) {
            fs::create_directories(*ablage);
            merken = *ablage / hexadezimal(sha256(*inhalt));
            if (auto const alt = leseDatei(merken->string(), hoechstgroesse))
                return ausJson(json::parse(*alt));
        }
    auto const lauf = ausfuehren(
        {"env", "OMP_THREAD_LIMIT=1", "tesseract", "-l", "deu+eng", probe.datei.string(), "-", "quiet"},
        Ausgabe::behalten);
    Lesung const gelesen{lauf.ausgabe, (lauf.benutzerzeit + lauf.systemzeit).count(), 0};
    json const zeile{{"text", gelesen.text}, {"sekunden", gelesen.sekunden}};
    if (merken)
        static_cast<void>(schreibeAtomar(
            merken->string(), zeile.dump(-1, ' ', false, json::error_handler_t::replace), Dauerhaft::nein));
    return gelesen;
}

bool hatUmlaut(std::string const& wort) {
    constexpr std::array umlaute{"ä", "ö", "ü", "Ä", "Ö", "Ü", "ß"};
    return std::ranges::any_of(umlaute, [&](char const* u) { return wort.find(u) != std::string::npos; });
}

bool istBetrag(std::string const& wort) {
    static std::regex const muster{R"(\d{1,3}(\.\d{3})*[.,]\d{2})"};
    return std::regex_match(wort, muster);
}

/// Whether a gap was seen between an amount and its currency is not what is asked.
std::string euroAllein(std::string const& text) {
    static std::regex const euro{"€"};
    return std::regex_replace(text, euro, " € ");
}

/// What one side found in some pictures of one kind.
struct Fund {
    Anteil woerter, umlaute, betraege, summen;
    int bilder{0};
    int belege{0}; ///< Judged as one.
    double sekunden{0};
    double teuerstes{0};

    void zaehle(Probe const& probe, Lesung const& gelesen) {
        ++bilder;
        belege += Texterkennung::siehtNachBelegAus(gelesen.text) ? 1 : 0;
        sekunden += gelesen.sekunden;
        teuerstes = std::max(teuerstes, gelesen.sekunden);
        auto const soll = zerlegt(euroAllein(probe.text));
        auto const ist = zerlegt(euroAllein(gelesen.text));
        vergleiche(woerter, soll, ist, [](std::string const&) { return true; });
        vergleiche(umlaute, soll, ist, hatUmlaut);
        vergleiche(betraege, soll, ist, istBetrag);
        if (!probe.summe.empty()) {
            ++summen.alle;
            summen.gefunden += hatBetragWie(gelesen.text, probe.summe) ? 1 : 0;
        }
    }
    [[nodiscard]] double mittel() const { return bilder > 0 ? sekunden / bilder : 0; }
};

/// Ours, the state before, the engine's own program; of one kind and half.
struct Reihe {
    Fund jetzt, vorher, fremd;
};

std::string prozent(Anteil const& anteil) {
    return anteil.alle > 0 ? fmt::format("{:.1f}", 100 * anteil.wert()) : "-";
}

/// "ours / before / peer's"
template<typename Ausdruck>
std::string zelle(Reihe const& reihe, bool mitVorher, bool mitFremd, Ausdruck ausdruck) {
    std::string text = ausdruck(reihe.jetzt);
    if (mitVorher)
        text += " / " + ausdruck(reihe.vorher);
    if (mitFremd)
        text += " / " + ausdruck(reihe.fremd);
    return text;
}

struct Ergebnisse {
    std::map<std::string_view, std::array<Reihe, 2>> reihen; ///< By kind and half.
    std::map<std::string_view, std::vector<int>> felder;     ///< Of each picture of a kind.
    bool mitVorher{false};
    bool mitFremd{false};
};

std::string tabelle(Ergebnisse const& e) {
    std::string const seiten =
        std::string{"ours"} + (e.mitVorher ? " / before" : "") + (e.mitFremd ? " / plain engine" : "");
    std::string text = fmt::format(
        "Each cell: {}. Words, umlauts, amounts and totals in percent of what stands there, times in seconds "
        "of\n"
        "processor time per picture. Half 1 may be looked at, half 2 is held out.\n\n"
        "| kind | half | pictures | words | umlauts | amounts | totals | judged a receipt | mean | dearest "
        "|\n"
        "|---|---|---|---|---|---|---|---|---|---|\n",
        seiten);
    for (auto const& art : arten()) {
        auto const gefunden = e.reihen.find(art.name);
        if (gefunden == e.reihen.end())
            continue;
        for (std::size_t i = 0; i < 2; ++i) {
            auto const& r = gefunden->second[i];
            if (r.jetzt.bilder == 0)
                continue;
            auto feld = [&](auto ausdruck) {
                return zelle(r, e.mitVorher, e.mitFremd, ausdruck);
            };
            auto anteil = [&](Anteil Fund::*welcher) {
                return (r.jetzt.*welcher).alle > 0 ? feld([&](Fund const& f) { return prozent(f.*welcher); })
                                                   : std::string{"-"};
            };
            text += fmt::format(
                "| {} | {} | {} | {} | {} | {} | {} | {} | {} | {} |\n", art.name, i + 1, r.jetzt.bilder,
                anteil(&Fund::woerter), anteil(&Fund::umlaute), anteil(&Fund::betraege),
                anteil(&Fund::summen), feld([](Fund const& f) { return std::to_string(f.belege); }),
                feld([](Fund const& f) { return fmt::format("{:.2f}", f.mittel()); }),
                feld([](Fund const& f) { return fmt::format("{:.2f}", f.teuerstes); }));
        }
    }
    return text;
}

/// For each count of lines from which on a picture is looked at closer: what stays and what is stopped.
std::string kurve(Ergebnisse const& e) {
    std::string kopf = "| lines seen, at least |";
    std::string strich = "|---|";
    std::vector<std::pair<Soll, std::vector<int> const*>> spalten;
    for (auto const& art : arten())
        if (auto const f = e.felder.find(art.name); f != e.felder.end() && !f->second.empty()) {
            kopf += fmt::format(" {} |", art.name);
            strich += "---|";
            spalten.emplace_back(art.soll, &f->second);
        }
    std::string text = kopf + "\n" + strich + "\n";
    for (int const schwelle : {1, 2, 3, 4, 6, 8, 12, 16, 24}) {
        text += fmt::format("| {} |", schwelle);
        for (auto const& [soll, felder] : spalten) {
            auto const da = std::ranges::count_if(*felder, [&](int f) { return f >= schwelle; });
            double const anteil = static_cast<double>(da) / static_cast<double>(felder->size());
            text += soll == Soll::beleg ? fmt::format(" {:.0f} kept |", 100 * anteil)
                                        : fmt::format(" {:.0f} stopped |", 100 * (1 - anteil));
        }
        text += "\n";
    }
    return text;
}

/// Puts the text between two marks of a file.
void ersetzen(fs::path const& datei, std::string const& text) {
    constexpr std::string_view anfang = "<!-- recognition: begin -->\n";
    constexpr std::string_view ende = "<!-- recognition: end -->";
    auto inhalt = leseDatei(datei.string(), hoechstgroesse).value_or("");
    auto const von = inhalt.find(anfang);
    auto const bis = inhalt.find(ende);
    if (von == std::string::npos || bis == std::string::npos || bis < von)
        throw std::runtime_error{"no marks in " + datei.string()};
    inhalt.replace(von + anfang.size(), bis - von - anfang.size(), text);
    if (!schreibeAtomar(datei.string(), inhalt, Dauerhaft::nein))
        throw std::runtime_error{"cannot write " + datei.string()};
}

/// Both halves together.
Fund beide(Ergebnisse const& e, std::string_view art, Fund Reihe::*seite) {
    Fund summe;
    auto const gefunden = e.reihen.find(art);
    if (gefunden == e.reihen.end())
        return summe;
    auto dazu = [](Anteil& a, Anteil const& b) {
        a.alle += b.alle;
        a.gefunden += b.gefunden;
    };
    for (auto const& reihe : gefunden->second) {
        auto const& f = reihe.*seite;
        dazu(summe.woerter, f.woerter);
        dazu(summe.umlaute, f.umlaute);
        dazu(summe.betraege, f.betraege);
        dazu(summe.summen, f.summen);
        summe.bilder += f.bilder;
        summe.belege += f.belege;
        summe.sekunden += f.sekunden;
        summe.teuerstes = std::max(summe.teuerstes, f.teuerstes);
    }
    return summe;
}

std::vector<Zeile> zielzeilen(Ergebnisse const& e) {
    std::vector<Zeile> zeilen;
    auto const belege = beide(e, "receipts", &Reihe::jetzt);
    auto const fremd = beide(e, "receipts", &Reihe::fremd);
    auto mindestens = [&](std::string was, Anteil const& anteil, double ziel) {
        if (anteil.alle > 0)
            zeilen.push_back(
                {.kennzahl = std::move(was),
                 .unsere = prozent(anteil) + " %",
                 .vergleich = "all of them",
                 .verhaeltnis = anteil.wert(),
                 .ziel = ziel,
                 .richtung = Richtung::mindestens});
    };
    auto hoechstens = [&](std::string was, double unser, double ihr, std::string ihrer, double ziel) {
        if (ihr > 0)
            zeilen.push_back(
                {.kennzahl = std::move(was),
                 .unsere = alsZeit(unser),
                 .vergleich = alsZeit(ihr) + " " + ihrer,
                 .verhaeltnis = unser / ihr,
                 .ziel = ziel});
    };
    if (belege.bilder > 0 && fremd.bilder > 0) {
        zeilen.push_back(
            {.kennzahl = "receipts: share of words, more than the peer's",
             .unsere = prozent(belege.woerter) + " %",
             .vergleich = prozent(fremd.woerter) + " %",
             .verhaeltnis = belege.woerter.wert() - fremd.woerter.wert(),
             .ziel = 0.065,
             .richtung = Richtung::mindestens});
        hoechstens("receipts: processor time", belege.mittel(), fremd.mittel(), "tesseract", 0.5);
    }
    mindestens("receipts: totals", belege.summen, 0.95);
    mindestens("dark table: words", beide(e, "dark table", &Reihe::jetzt).woerter, 0.92);
    mindestens("dark table: amounts", beide(e, "dark table", &Reihe::jetzt).betraege, 0.9);
    for (auto const& art : arten())
        if (auto const f = beide(e, art.name, &Reihe::jetzt); art.soll == Soll::keiner && f.bilder > 0)
            zeilen.push_back(
                {.kennzahl = fmt::format("{}: judged a receipt", art.name),
                 .unsere = std::to_string(f.belege),
                 .vergleich = fmt::format("{} pictures", f.bilder),
                 .verhaeltnis = static_cast<double>(f.belege) / f.bilder,
                 .ziel = 0});
    for (auto const& [name, ziel] :
         {std::pair{std::string{"photographs, large"}, 0.25},
          std::pair{std::string{"photographs, small"}, 1.0 / 3}})
        if (auto const f = beide(e, name, &Reihe::jetzt); f.bilder > 0) {
            hoechstens(name + ": mean", f.mittel(), belege.mittel(), "a mean receipt", ziel);
            hoechstens(name + ": dearest", f.teuerstes, belege.teuerstes, "the dearest receipt", 1);
        }
    return zeilen;
}

std::vector<Zeile> messen(Umgebung const& umgebung) {
    Ergebnisse e;
    e.mitVorher = umgebung.vorher.has_value();
    e.mitFremd = installiert("tesseract");
    std::ofstream einzeln;
    if (umgebung.einzeln)
        einzeln.open(*umgebung.einzeln);
    for (auto const& art : arten()) {
        if (!umgebung.arten.empty() && !umgebung.arten.contains(art.name))
            continue;
        auto const alle = proben(art, umgebung);
        if (alle.empty())
            continue;
        hinweis(fmt::format("  {}: {}", art.name, alle.size()));
        auto const jetzt = unsere(nachbarprogramm("quillmate-bench-lesen"), alle, umgebung.arbeitsordner);
        auto const vorher =
            umgebung.vorher ? unsere(*umgebung.vorher, alle, umgebung.arbeitsordner) : Lesungen{};
        for (std::size_t i = 0; i < alle.size(); ++i) {
            auto const& probe = alle[i];
            auto& reihe = e.reihen[art.name].at(haelfte(probe.name));
            reihe.jetzt.zaehle(probe, jetzt[i]);
            e.felder[art.name].push_back(jetzt[i].felder);
            if (e.mitVorher)
                reihe.vorher.zaehle(probe, vorher[i]);
            auto const fremd = e.mitFremd ? ihre(probe, umgebung.ablage) : Lesung{};
            if (e.mitFremd)
                reihe.fremd.zaehle(probe, fremd);
            if (einzeln.is_open())
                einzeln << json{{"art", art.name},
                                {"name", probe.name},
                                {"haelfte", haelfte(probe.name) + 1},
                                {"wahr", probe.text},
                                {"summe", probe.summe},
                                {"sekunden", jetzt[i].sekunden},
                                {"felder", jetzt[i].felder},
                                {"text", jetzt[i].text},
                                {"vorher", e.mitVorher ? vorher[i].text : ""},
                                {"fremd", fremd.text}}
                               .dump(-1, ' ', false, json::error_handler_t::replace)
                        << std::endl;
        }
        fs::remove_all(umgebung.arbeitsordner / "proben");
    }
    if (e.reihen.empty())
        return {};
    auto const text =
        tabelle(e) +
        "\nWhat the glance's count of lines keeps and stops, in percent of a kind; 3 is what is used:\n\n" +
        kurve(e);
    if (umgebung.tabelle)
        ersetzen(*umgebung.tabelle, text);
    else
        hinweis(text);
    return zielzeilen(e);
}

Anmeldung const anmeldung{
    {.name = "erkennung",
     .frage = "What is found in pictures of every kind, what is taken for a receipt, and what does it cost?",
     .messen = messen}};

} // namespace

} // namespace quillmate::bench
