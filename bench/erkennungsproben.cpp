#include "erkennungsproben.h"

#include "alltagsproben.h"
#include "blatt.h"
#include "grundlage/datei.h"
#include "leser/motoren/bild.h"
#include "leser/motoren/dateiquelle.h"
#include "leser/motoren/pdf.h"
#include "schriftproben.h"
#include "wahrheit.h"
#include "werkzeug/vorlagen.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <functional>
#include <optional>
#include <set>
#include <stdexcept>
#include <utility>

namespace quillmate::bench {

namespace {

namespace fs = std::filesystem;
using leser::motoren::ausgerichtet;
using leser::motoren::Graubild;

constexpr int gezeichnete = 24; // Of each kind that is drawn.

/// The files below a folder of the corpus with one of these endings, sorted.
std::vector<fs::path> dateien(fs::path const& ordner, std::set<std::string> const& endungen) {
    std::vector<fs::path> alle;
    std::error_code fehlt;
    for (auto const& e :
         fs::recursive_directory_iterator{ordner, fs::directory_options::follow_directory_symlink, fehlt})
        if (e.is_regular_file() && endungen.contains(e.path().extension().string()))
            alle.push_back(e.path());
    std::ranges::sort(alle);
    return alle;
}

std::vector<fs::path> belegbilder(Umgebung const& umgebung) {
    auto alle = umgebung.korpus ? dateien(*umgebung.korpus / "receipts", {".jpg"}) : std::vector<fs::path>{};
    std::erase_if(alle, [](fs::path p) { return !fs::exists(p.replace_extension(".csv")); });
    return alle;
}

std::optional<Graubild> geladen(fs::path const& pfad) {
    auto const datei = oeffneDatei(pfad.string());
    auto const quelle = leser::motoren::Dateiquelle::ausDeskriptor(datei.get());
    return quelle ? leser::motoren::bildLaden(*quelle) : std::nullopt;
}

class Werkstatt {
public:
    Werkstatt(Art const& art, Umgebung const& umgebung)
        : art_(art)
        , ordner_(umgebung.arbeitsordner / "proben" / art.name) {
        fs::create_directories(ordner_);
    }

    void zeichne(
        Graubild const& bild, std::string const& name, std::string text, std::string summe, int guete) {
        auto const pfad = ordner_ / (name + ".jpg");
        auto const bytes = vorlagen::jpeg(bild, std::nullopt, vorlagen::Jpegart::einfach, guete);
        if (!schreibeAtomar(pfad.string(), bytes, Dauerhaft::nein))
            throw std::runtime_error{"cannot write " + pfad.string()};
        alle_.push_back({&art_, name, pfad, std::move(text), std::move(summe)});
    }
    void nimm(fs::path const& pfad, std::string text, std::string summe) {
        alle_.push_back({&art_, pfad.stem().string(), pfad, std::move(text), std::move(summe)});
    }
    [[nodiscard]] std::vector<Probe> fertig() && { return std::move(alle_); }

private:
    Art const& art_;
    fs::path ordner_;
    std::vector<Probe> alle_;
};

/// Each receipt of the corpus, changed.
std::vector<Probe> abgewandelt(
    Art const& art, Umgebung const& umgebung, std::function<Graubild(Graubild, std::size_t)> const& wandle) {
    constexpr int guete = 80;
    Werkstatt werkstatt{art, umgebung};
    std::size_t nummer = 0;
    for (auto const& pfad : belegbilder(umgebung))
        if (auto bild = geladen(pfad))
            werkstatt.zeichne(
                wandle(*std::move(bild), nummer++), pfad.stem().string(),
                wahrerText(fs::path{pfad}.replace_extension(".csv")),
                wahreSumme(fs::path{pfad}.replace_extension(".json")), guete);
    return std::move(werkstatt).fertig();
}

/// With a long side of so many points.
Graubild verkleinert(Graubild bild, int lang) {
    int const bisher = std::max(bild.breite, bild.hoehe);
    if (bisher <= lang)
        return bild;
    leser::motoren::Verkleinerer kleiner{
        bild.breite, bild.hoehe, std::max(bild.breite * lang / bisher, 1),
        std::max(bild.hoehe * lang / bisher, 1)};
    for (int y = 0; y < bild.hoehe; ++y)
        kleiner.zeile(bild.zeile(y));
    return std::move(kleiner).fertig();
}

/// By 4 to 10 degrees one way or the other.
Graubild schief(Graubild const& bild, std::size_t nummer) {
    double const winkel = 4.0 + static_cast<double>(nummer % 4) * 2.0;
    return gedreht(bild, nummer / 4 % 2 == 0 ? winkel : -winkel);
}

std::vector<Probe> rechnungen(Art const& art, Umgebung const& umgebung) {
    Werkstatt werkstatt{art, umgebung};
    auto const alle =
        umgebung.korpus ? dateien(*umgebung.korpus / "einvoices", {".pdf"}) : std::vector<fs::path>{};
    for (auto const& pfad : alle) {
        auto const datei = oeffneDatei(pfad.string());
        auto const quelle = leser::motoren::Dateiquelle::ausDeskriptor(datei.get());
        auto pdf = quelle ? leser::motoren::PdfDatei::oeffnen(*quelle) : std::nullopt;
        auto bild = pdf ? pdf->pdfSeiteAlsBild() : std::nullopt;
        auto const text =
            ausfuehren({"pdftotext", "-q", "-layout", "-l", "1", pfad.string(), "-"}, Ausgabe::behalten)
                .ausgabe;
        if (bild && !text.empty())
            werkstatt.zeichne(*bild, pfad.stem().string(), text, "", 75);
    }
    return std::move(werkstatt).fertig();
}

std::vector<Probe> gezeichnet(
    Art const& art, Umgebung const& umgebung, Schriftprobe (*machen)(int), int guete) {
    Werkstatt werkstatt{art, umgebung};
    for (int i = 0; i < gezeichnete; ++i) {
        auto probe = machen(i);
        werkstatt.zeichne(probe.bild, fmt::format("{:02}", i), std::move(probe.text), "", guete);
    }
    return std::move(werkstatt).fertig();
}

std::vector<Probe> fotos(Art const& art, Umgebung const& umgebung, std::optional<fs::path> const& ordner) {
    Werkstatt werkstatt{art, umgebung};
    if (ordner)
        for (auto const& pfad : dateien(*ordner, {".jpg", ".jpeg", ".png", ".webp", ".heic"}))
            werkstatt.nimm(pfad, "", "");
    return std::move(werkstatt).fertig();
}

std::optional<fs::path> kleineFotos(Umgebung const& umgebung) {
    return umgebung.korpus ? std::optional{*umgebung.korpus / "photos"} : std::nullopt;
}

std::vector<Probe> sprueche(Art const& art, Umgebung const& umgebung) {
    Werkstatt werkstatt{art, umgebung};
    auto const ordner = kleineFotos(umgebung);
    auto alle = ordner ? dateien(*ordner, {".jpg", ".jpeg"}) : std::vector<fs::path>{};
    int nummer = 0;
    for (std::size_t i = 0; i < alle.size() && nummer < gezeichnete; i += 7)
        if (auto const bild = geladen(alle[i])) {
            auto probe = spruchbild(nummer++, *bild);
            werkstatt.zeichne(probe.bild, alle[i].stem().string(), std::move(probe.text), "", 80);
        }
    return std::move(werkstatt).fertig();
}

struct Machart {
    Art art;
    std::function<std::vector<Probe>(Art const&, Umgebung const&)> machen;
};

Machart kleine(std::string_view name, int lang) {
    return {
        {name, Soll::beleg, "the receipts of the corpus, reduced to this long side"},
        [lang](Art const& a, Umgebung const& u) {
            return abgewandelt(
                a, u, [lang](Graubild b, std::size_t) { return verkleinert(std::move(b), lang); });
        }};
}

Machart gelegte(std::string_view name, int code) {
    return {
        {name, Soll::beleg, "the receipts of the corpus, stored this way without a mark of it"},
        [code](Art const& a, Umgebung const& u) {
            return abgewandelt(
                a, u, [code](Graubild b, std::size_t) { return ausgerichtet(std::move(b), code); });
        }};
}

Machart gezeichnete_(
    std::string_view name, Soll soll, std::string_view woraus, Schriftprobe (*machen)(int), int guete) {
    return {{name, soll, woraus}, [machen, guete](Art const& a, Umgebung const& u) {
                return gezeichnet(a, u, machen, guete);
            }};
}

std::vector<Machart> const& macharten() {
    static std::vector<Machart> const alle{
        {{"receipts", Soll::beleg, "those of the corpus"},
         [](Art const& a, Umgebung const& u) {
             Werkstatt werkstatt{a, u};
             for (auto const& pfad : belegbilder(u))
                 werkstatt.nimm(
                     pfad, wahrerText(fs::path{pfad}.replace_extension(".csv")),
                     wahreSumme(fs::path{pfad}.replace_extension(".json")));
             return std::move(werkstatt).fertig();
         }},
        {{"invoices", Soll::beleg, "first pages of the corpus's electronic invoices as pictures"},
         rechnungen},
        gezeichnete_("German scans", Soll::beleg, "drawn, 300 dpi", gescannteRechnung, 60),
        gezeichnete_("dark table", Soll::beleg, "drawn", fotografierterBon, 80),
        gezeichnete_("slant", Soll::beleg, "drawn, tilted 5 to 20 degrees, a shadow", schraegerBon, 80),
        gezeichnete_("long roll", Soll::beleg, "drawn, 1 : 6", langerBon, 80),
        gezeichnete_("two receipts", Soll::beleg, "drawn, side by side", zweiBons, 80),
        kleine("1000", 1000),
        kleine("700", 700),
        kleine("500", 500),
        kleine("400", 400),
        gelegte("turned 90", 6),
        gelegte("turned 180", 3),
        gelegte("turned 270", 8),
        {{"askew", Soll::beleg, "the receipts of the corpus, 4 to 10 degrees either way"},
         [](Art const& a, Umgebung const& u) {
             return abgewandelt(a, u, schief);
         }},
        {{"photographs, small", Soll::keiner, "those of the corpus"},
         [](Art const& a, Umgebung const& u) {
             return fotos(a, u, kleineFotos(u));
         }},
        {{"photographs, large", Soll::keiner, "those of the other folder"},
         [](Art const& a, Umgebung const& u) {
             return fotos(a, u, u.fotos);
         }},
        gezeichnete_(
            "screenshots", Soll::keiner, "drawn: messages and articles without amounts", bildschirm, 90),
        {{"memes", Soll::keiner, "words across small photographs"}, sprueche},
        gezeichnete_("posters", Soll::keiner, "drawn: a few large words", plakat, 85),
    };
    return alle;
}

} // namespace

std::vector<Art> const& arten() {
    static auto const alle = [] {
        std::vector<Art> namen;
        for (auto const& m : macharten())
            namen.push_back(m.art);
        return namen;
    }();
    return alle;
}

std::vector<Probe> proben(Art const& art, Umgebung const& umgebung) {
    auto const machart =
        std::ranges::find(macharten(), art.name, [](Machart const& m) { return m.art.name; });
    return machart->machen(machart->art, umgebung);
}

} // namespace quillmate::bench
