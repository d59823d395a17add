// How long does the text of a folder of PDFs take, compared with a text extractor that is started per file?
// See README.md.

#include "grundlage/datei.h"
#include "leser/motoren/dateiquelle.h"
#include "leser/motoren/pdf.h"
#include "messung.h"

#include <fmt/format.h>

#include <atomic>
#include <fstream>
#include <thread>

namespace quillmate::bench {

namespace {

namespace fs = std::filesystem;
using namespace leser::motoren;

constexpr double ziel = 0.2;
constexpr int leser = 2;

std::vector<std::string> dateien(fs::path const& wurzel) {
    std::vector<std::string> pfade;
    for (auto const& eintrag : fs::recursive_directory_iterator{wurzel})
        if (eintrag.is_regular_file() && eintrag.path().extension() == ".pdf")
            pfade.push_back(eintrag.path().string());
    return pfade;
}

double unsere(std::vector<std::string> const& pfade, std::atomic<int>& mitText) {
    auto const beginn = std::chrono::steady_clock::now();
    std::atomic<std::size_t> naechste{0};
    mitText = 0;
    {
        std::vector<std::jthread> faeden;
        for (int i = 0; i < leser; ++i)
            faeden.emplace_back([&] {
                for (auto n = naechste++; n < pfade.size(); n = naechste++) {
                    auto const datei = oeffneDatei(pfade[n]);
                    auto const quelle = Dateiquelle::ausDeskriptor(datei.get());
                    auto pdf = quelle ? PdfDatei::oeffnen(*quelle) : std::nullopt;
                    if (pdf && pdf->pdfTextschicht())
                        ++mitText;
                }
            });
    }
    return Sekunden{std::chrono::steady_clock::now() - beginn}.count();
}

std::vector<Zeile> messen(Umgebung const& umgebung) {
    if (!umgebung.korpus) {
        hinweis("  übersprungen: braucht --korpus mit PDFs");
        return {};
    }
    if (!installiert("pdftotext") || !installiert("xargs"))
        return {};
    auto const pfade = dateien(*umgebung.korpus);
    if (pfade.empty()) {
        hinweis("  übersprungen: keine PDFs im Korpus");
        return {};
    }
    auto const liste = (umgebung.arbeitsordner / "pdfs").string();
    {
        std::ofstream datei{liste};
        for (auto const& pfad : pfade)
            datei << pfad << '\0';
    }
    std::vector<std::string> const peer{"xargs", "-0",        "-a", liste, "-P", "2",  "-I",
                                        "{}",    "pdftotext", "-q", "-l",  "3",  "{}", "/dev/null"};
    std::atomic<int> mitText{0};
    auto const zeiten = abwechselnd(
        umgebung.runden, {[&] { return unsere(pfade, mitText); },
                          [&] {
                              return ausfuehren(peer).dauer.count();
                          }});
    return {
        {.kennzahl = fmt::format("text of {} PDFs", pfade.size()),
         .unsere = fmt::format("{}, {} with text", alsZeit(zeiten[0]), mitText.load()),
         .vergleich = alsZeit(zeiten[1]) + " pdftotext -l 3, two at a time",
         .verhaeltnis = zeiten[0] / zeiten[1],
         .ziel = ziel}};
}

Anmeldung const anmeldung{
    {.name = "texte",
     .frage = "How long does the text of the first three pages of all PDFs take, two readers at work?",
     .messen = messen}};

} // namespace

} // namespace quillmate::bench
