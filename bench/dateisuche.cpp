// How long does the search of a large home folder take, compared with a fast search program and with the
// standard library's iterator? See README.md.

#include "baum.h"
#include "fd.h"
#include "messung.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

namespace quillmate::bench {

namespace {

double gemessen(std::vector<std::string> const& befehl) {
    auto const lauf = ausfuehren(befehl);
    if (!lauf.gelungen)
        throw std::runtime_error{befehl.front() + " fails"};
    return lauf.dauer.count();
}

std::ptrdiff_t zeilenzahl(std::vector<std::string> const& befehl) {
    return std::ranges::count(ausfuehren(befehl, Ausgabe::behalten).ausgabe, '\n');
}

std::vector<Zeile> messen(Umgebung const& umgebung) {
    auto const wurzel = (umgebung.arbeitsordner / "baum").string();
    hinweis("  legt 300.000 Dateien an ...");
    baumAnlegen(wurzel, {});

    auto const suche = nachbarprogramm("quillmate-bench-suche").string();
    std::vector<std::string> const zwei{suche, wurzel, "2"};
    std::vector<std::string> const einer{suche, wurzel, "1"};
    std::vector<std::string> const einfach{suche, wurzel, "einfach"};
    std::vector<std::string> const beschnitten{suche, wurzel, "beschnitten"};
    auto const fd = fdBefehl({wurzel});
    bool const mitFd = installiert("fdfind");

    // Different answers would make the times worthless.
    auto const anzahl = zeilenzahl(zwei);
    if (anzahl == 0 || zeilenzahl(einer) != anzahl || zeilenzahl(einfach) != anzahl ||
        zeilenzahl(beschnitten) != anzahl || (mitFd && zeilenzahl(fd) != anzahl))
        throw std::runtime_error{"the searches disagree"};

    std::vector<std::function<double()>> laeufe;
    for (auto const* const befehl : {&zwei, &einer, &einfach, &beschnitten})
        laeufe.emplace_back([befehl] { return gemessen(*befehl); });
    if (mitFd)
        laeufe.emplace_back([&] { return gemessen(fd); });
    auto const zeiten = abwechselnd(umgebung.runden, laeufe);

    std::vector<Zeile> zeilen;
    if (mitFd) {
        auto const peer = alsZeit(zeiten[4]) + " fdfind -j2, no sizes or times";
        zeilen.push_back(
            {.kennzahl = "search, 2 threads",
             .unsere = alsZeit(zeiten[0]),
             .vergleich = peer,
             .verhaeltnis = zeiten[0] / zeiten[4],
             .ziel = 0.45});
        zeilen.push_back(
            {.kennzahl = "search, 1 thread",
             .unsere = alsZeit(zeiten[1]),
             .vergleich = peer,
             .verhaeltnis = zeiten[1] / zeiten[4],
             .ziel = 0.8});
    }
    zeilen.push_back(
        {.kennzahl = "search, 2 threads",
         .unsere = alsZeit(zeiten[0]),
         .vergleich = alsZeit(zeiten[2]) + " recursive_directory_iterator, a plain loop",
         .verhaeltnis = zeiten[0] / zeiten[2],
         .ziel = 0.06});
    zeilen.push_back(
        {.kennzahl = "search, 2 threads",
         .unsere = alsZeit(zeiten[0]),
         .vergleich = alsZeit(zeiten[3]) + " recursive_directory_iterator, kept from folders to skip",
         .verhaeltnis = zeiten[0] / zeiten[3]});
    return zeilen;
}

Anmeldung const anmeldung{
    {.name = "dateisuche",
     .frage = "How long does the search through 20,000 folders with 300,000 files take?",
     .messen = messen}};

} // namespace

} // namespace quillmate::bench
