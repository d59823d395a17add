// How long does a full scan of a mixed folder take, the first time and again, compared with a shell pipeline
// of the usual tools? See README.md.

#include "dienst/dienst.h"
#include "fd.h"
#include "grundlage/adresse.h"
#include "grundlage/datei.h"
#include "grundlage/pruefsumme.h"
#include "macscan/beurteilung.h"
#include "messung.h"
#include "netz/http.h"
#include "scanheim.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <stdexcept>
#include <thread>

namespace quillmate::bench {

namespace {

namespace fs = std::filesystem;

constexpr double zielErste = 0.6;
constexpr double zielZweite = 0.02;
/// A round takes minutes and varies little.
constexpr std::size_t hoechstensRunden = 3;

/// Arguments: a folder for the texts, the pattern, then the command that lists the files. Prints the number
/// of texts with an amount. Each text is named by the process that wrote it.
constexpr char const* rohrleitung = R"(
texte=$1 muster=$2
shift 2
"$@" -0 | OMP_THREAD_LIMIT=1 xargs -0 -P 2 -n 1 sh -c '
  case $1 in
  *.[pP][dD][fF]) exec pdftotext -q -l 3 "$1" "$0/$$.txt" ;;
  *) exec tesseract "$1" "$0/$$" -l deu+eng quiet 2>/dev/null ;;
  esac' "$texte"
LC_ALL=C.UTF-8 grep -rliP "$muster" "$texte" | wc -l)";

/// The amount pattern of the program's own judgement.
constexpr char const* muster = R"((?:€|eur|usd|\$|chf|gbp|£)\s?\d{1,3}(?:[.\s]\d{3})*[.,]\d{2}\b|)"
                               R"(\b\d{1,3}(?:[.\s]\d{3})*[.,]\d{2}\s?(?:€|eur|usd|\$|chf|gbp|£)|)"
                               R"(\b\d{1,3}(?:[.\s]\d{3})*[.,]\d{2}\b)";

double rechenzeit(Lauf const& lauf) {
    return (lauf.benutzerzeit + lauf.systemzeit).count();
}

/// What the service was told at the end of the last scan.
struct Bericht {
    std::int64_t geprueft{0};
    std::int64_t hochgeladen{0};
    std::int64_t uebersprungen{0};
};

Bericht letzterBericht(dienst::Zugang const& zugang) {
    auto const url =
        Adresse::lesen(zugang.server)
            .value()
            .darunter(fmt::format("/clients/{}/letzter-bericht", zugang.clientId), {{"token", zugang.token}});
    dienst::Dienst dienst;
    auto const antwort =
        url ? dienst.holen({.url = url->text(), .koerper = {}, .inhaltstyp = {}}) : std::nullopt;
    auto const json = FremdesJson::parse(antwort.value_or(""), nullptr, false);
    if (!json.is_object() || !json.contains("gruende"))
        throw std::runtime_error{"the service has no report of the scan"};
    return {
        .geprueft = json.value("gesamt", std::int64_t{0}),
        .hochgeladen = json["gruende"].value("hochgeladen", std::int64_t{0}),
        .uebersprungen = json["gruende"].value("uebersprungen", std::int64_t{0})};
}

/// What no scan that looks at the contents can go below.
double nurLesen(std::vector<std::string> const& pfade) {
    auto const beginn = std::chrono::steady_clock::now();
    std::atomic<std::size_t> naechste{0};
    std::atomic<bool> gelungen{true};
    auto const arbeit = [&] {
        for (auto n = naechste++; n < pfade.size(); n = naechste++)
            if (!MacScan::inhaltspruefsumme(pfade[n]))
                gelungen = false;
    };
    {
        std::jthread const helfer{arbeit};
        arbeit();
    }
    if (!gelungen)
        throw std::runtime_error{"files cannot be read"};
    return Sekunden{std::chrono::steady_clock::now() - beginn}.count();
}

struct Messwerte {
    std::vector<double> erste;
    std::vector<double> ersteRechenzeit;
    std::vector<double> zweite;
    std::vector<double> boden;
    std::vector<double> peer;
    std::vector<double> peerRechenzeit;
    Bericht bericht;        ///< Of the first scan.
    std::int64_t anders{0}; ///< Files that were judged again by the second scan.
    std::int64_t peerFunde{0};
};

std::vector<std::string> zerlegt(std::string_view text, char trenner) {
    std::vector<std::string> teile;
    while (!text.empty()) {
        auto const ende = std::min(text.find(trenner), text.size());
        teile.emplace_back(text.substr(0, ende));
        text.remove_prefix(std::min(ende + 1, text.size()));
    }
    return teile;
}

void peerMessen(
    Scanheim const& heim, fs::path const& texte, std::vector<std::string> const& fd, Messwerte& werte) {
    fs::create_directory(texte);
    // A scan runs at low priority. So does the peer, or a busy machine would disturb the scan alone.
    std::vector<std::string> befehl{"nice",      "-n", "10",           "sh",  "-c",
                                    rohrleitung, "sh", texte.string(), muster};
    befehl.insert(befehl.end(), fd.begin(), fd.end());
    auto const lauf = ausfuehren(befehl, Ausgabe::behalten);
    fs::remove_all(texte);
    auto const& text = lauf.ausgabe;
    if (!lauf.gelungen ||
        std::from_chars(text.data(), text.data() + text.size(), werte.peerFunde).ec != std::errc{} ||
        werte.peerFunde == 0)
        throw std::runtime_error{"the pipeline finds nothing in " + heim.pfad().string()};
    werte.peer.push_back(lauf.dauer.count());
    werte.peerRechenzeit.push_back(rechenzeit(lauf));
}

/// One round: new home, new service. The files were just copied and so are in the page cache for everyone.
void rundeMessen(Umgebung const& umgebung, bool mitPeer, Messwerte& werte) {
    Scanheim const heim{umgebung, "heim"};
    auto fd = fdBefehl(heim.orte());
    {
        Dienstprozess const dienst{umgebung.arbeitsordner / "dienst"};
        auto const erste = heim.suchlauf(dienst.zugang());
        werte.bericht = letzterBericht(dienst.zugang());
        auto const zweite = heim.suchlauf(dienst.zugang());
        auto const danach = letzterBericht(dienst.zugang());
        werte.anders = danach.geprueft;
        if (werte.bericht.hochgeladen == 0 || danach.hochgeladen != 0 ||
            danach.geprueft + danach.uebersprungen != werte.bericht.geprueft)
            throw std::runtime_error{"the scans do not send each receipt once"};
        werte.erste.push_back(erste.dauer.count());
        werte.ersteRechenzeit.push_back(rechenzeit(erste));
        werte.zweite.push_back(zweite.dauer.count());
    }
    if (!mitPeer)
        return;
    auto nullgetrennt = fd;
    nullgetrennt.emplace_back("-0");
    auto const pfade = zerlegt(ausfuehren(nullgetrennt, Ausgabe::behalten).ausgabe, '\0');
    // Different files would make the times worthless.
    if (static_cast<std::int64_t>(pfade.size()) != werte.bericht.geprueft)
        throw std::runtime_error{
            fmt::format("the scan has {} files, fdfind {}", werte.bericht.geprueft, pfade.size())};
    werte.boden.push_back(nurLesen(pfade));
    peerMessen(heim, umgebung.arbeitsordner / "texte", fd, werte);
}

std::vector<Zeile> messen(Umgebung const& umgebung) {
    if (!fs::exists(nachbarprogramm("quillmate-suchlauf")) ||
        !fs::exists(nachbarprogramm("quillmate-demodienst"))) {
        hinweis("  übersprungen: quillmate-suchlauf und quillmate-demodienst sind nicht gebaut");
        return {};
    }
    bool mitPeer = true;
    for (auto const* const programm : {"fdfind", "xargs", "pdftotext", "tesseract", "grep"})
        mitPeer = installiert(programm) && mitPeer;
    ZweiProzessoren const zwei;
    Messwerte werte;
    auto const runden = std::min(umgebung.runden, hoechstensRunden);
    for (std::size_t runde = 1; runde <= runden; ++runde) {
        hinweis(fmt::format("  Runde {} von {} ...", runde, runden));
        rundeMessen(umgebung, mitPeer, werte);
    }

    std::vector<Zeile> zeilen;
    auto const erste = median(werte.erste);
    if (mitPeer) {
        auto const peer = median(werte.peer);
        auto const unsereRechenzeit = median(werte.ersteRechenzeit);
        auto const peerRechenzeit = median(werte.peerRechenzeit);
        zeilen.push_back(
            {.kennzahl = fmt::format("full scan of {} files", werte.bericht.geprueft),
             .unsere = fmt::format("{}, {} receipts sent", alsZeit(erste), werte.bericht.hochgeladen),
             .vergleich = fmt::format(
                 "{} fdfind, pdftotext and tesseract two at a time, grep; {} with an amount, none sent",
                 alsZeit(peer), werte.peerFunde),
             .verhaeltnis = erste / peer,
             // In the generated samples are scanned PDFs and HEIC pictures, which only we read.
             .ziel = umgebung.korpus ? std::optional{zielErste} : std::nullopt});
        zeilen.push_back(
            {.kennzahl = "its processor time",
             .unsere = alsZeit(unsereRechenzeit),
             .vergleich = alsZeit(peerRechenzeit) + " the same",
             .verhaeltnis = unsereRechenzeit / peerRechenzeit,
             .ziel = {}});
    }
    auto const zweite = median(werte.zweite);
    zeilen.push_back(
        {.kennzahl = "full scan again, nothing new",
         .unsere = fmt::format("{}, {} files judged again", alsZeit(zweite), werte.anders),
         .vergleich = alsZeit(erste) + " the first scan",
         .verhaeltnis = zweite / erste,
         .ziel = zielZweite});
    if (!werte.boden.empty()) {
        auto const boden = median(werte.boden);
        zeilen.push_back(
            {.kennzahl = "full scan again, nothing new",
             .unsere = alsZeit(zweite),
             .vergleich = alsZeit(boden) + " only reading and hashing the files, two threads",
             .verhaeltnis = zweite / boden,
             .ziel = {}});
    }
    return zeilen;
}

Anmeldung const anmeldung{
    {.name = "scan",
     .frage = "How long does a full scan of a mixed folder take, the first time and again?",
     .messen = messen}};

} // namespace

} // namespace quillmate::bench
