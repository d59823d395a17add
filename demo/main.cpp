// quillmate-demodienst: a small service for trying and testing the program.
//
//   argumente      command line
//   speicher       what is stored (SQLite and one file of bytes)
//   auswertung     reads received files, matches them with bookings (abgleich)
//   http_server    connections and their limits
//   dienst         the API's routes; multipart takes upload forms apart
//   portal         a vendor's portal over https, with portalzertifikat and textpdf
//   webseite       the pages (files: seite/), with anmeldung; selbstlauf is what their self-run reports
//   anzeige        the table of --zeige
//
// Threads: the main one waits for signals; one accepts connections; one per open connection; one commits
// uploads; one reads files.

#include "anzeige.h"
#include "argumente.h"
#include "auswertung.h"
#include "belegdaten.h"
#include "dienst.h"
#include "grundlage/prozesswerte.h"
#include "http_server.h"
#include "leser/prozess/leser_prozesse.h"
#include "portal.h"
#include "speicher.h"
#include "webseite.h"
#include "zugang.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <span>
#include <thread>

namespace {

using namespace quillmate;
using namespace quillmate::demo;

constexpr int endeGut = 0;
constexpr int endeFehler = 1;
constexpr int endeArgumente = 2;

/// How long running requests and readings may hold up the end.
constexpr std::chrono::milliseconds fristEnde{700};

int zeige(Argumente const& argumente) {
    std::string grund;
    auto const speicher = Speicher::nurLesen(argumente.daten, grund);
    if (!speicher) {
        fmt::print(stderr, "{}\n", grund);
        return endeFehler;
    }
    fmt::print("{}", alsTabelle(*speicher));
    return endeGut;
}

int diene(Argumente const& argumente) {
    // Blocked before the first thread begins, so that they arrive at sigwait() below and nowhere else.
    sigset_t signale;
    sigemptyset(&signale);
    sigaddset(&signale, SIGTERM);
    sigaddset(&signale, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signale, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    ::umask(077); // Receipts are nobody else's business.

    std::string grund;
    auto const speicher = Speicher::oeffnen(argumente.daten, grund);
    if (!speicher) {
        fmt::print(stderr, "{}\n", grund);
        return endeFehler;
    }
    if (!speicher->kundeAnlegen(argumente.kunde, beispielbuchungen())) {
        fmt::print(stderr, "Der Mandant {} lässt sich nicht anlegen.\n", argumente.kunde);
        return endeFehler;
    }
    auto const token = argumente.token.empty() ? zufallstext() : argumente.token;
    auto const leser = argumente.ohneTexte ? nullptr : std::make_unique<leser::prozess::LeserProzesse>();
    Auswertung auswertung{*speicher, leser.get()};
    constexpr std::size_t vorrat = std::size_t{256} << 20U;
    HttpServer server{{.hoechstensKoerper_byte = hoechstensFormular_byte, .vorrat_byte = vorrat}};
    Zugang const zugang{.kunde = argumente.kunde, .token = token};
    Dienst const dienst{server, *speicher, auswertung, zugang};
    auto const portal = Portal::oeffnen(argumente.daten, grund);
    if (!portal) {
        fmt::print(stderr, "{}\n", grund);
        return endeFehler;
    }
    Webseite const webseite{server, zugang, portal->adresse()};

    auto const port = server.binden(argumente.port);
    if (!port) {
        fmt::print(stderr, "Port {} auf 127.0.0.1 ist nicht frei.\n", argumente.port);
        return endeFehler;
    }
    std::promise<void> bedient;
    auto ende = bedient.get_future();
    std::thread faden{[&] {
        server.bedienen();
        bedient.set_value();
    }};
    nlohmann::ordered_json const meldung{
        {"adresse", fmt::format("http://127.0.0.1:{}", *port)},
        {"client", argumente.kunde},
        {"token", token},
        {"portal", portal->adresse()}};
    fmt::print("{}\n", meldung.dump());
    std::fflush(stdout);

    int signal = 0;
    sigwait(&signale, &signal);

    auto const schluss = std::chrono::steady_clock::now() + fristEnde;
    auto liest = !auswertung.anhalten();
    // More than once: the server may not have begun to serve when the signal came.
    do
        server.beenden();
    while (ende.wait_for(std::chrono::milliseconds{10}) != std::future_status::ready &&
           std::chrono::steady_clock::now() < schluss);
    while (liest && std::chrono::steady_clock::now() < schluss) {
        std::this_thread::sleep_for(std::chrono::milliseconds{10});
        liest = !auswertung.anhalten();
    }
    bool const portalZu = portal->beenden(schluss);
    // A text recognition under way cannot be broken off and may take many seconds. All that was answered is
    // on disk, and what was not read yet is read by the next run.
    if (liest || !portalZu || ende.wait_for(std::chrono::seconds{0}) != std::future_status::ready)
        std::_Exit(endeGut);
    faden.join();
    return endeGut;
}

} // namespace

#ifdef __SANITIZE_THREAD__
/// The HTTP library makes a table at its first request, under a guard that the sanitizer does not see.
extern "C" char const* __tsan_default_suppressions();
extern "C" char const* __tsan_default_suppressions() {
    return "called_from_lib:libcpp-httplib.so\n";
}
#endif

int main(int argc, char** argv) {
    auto const gelesen =
        liesArgumente(std::span{argv, static_cast<std::size_t>(argc)}.subspan(argc > 0 ? 1 : 0));
    if (auto const* const fehler = std::get_if<std::string>(&gelesen)) {
        fmt::print(
            stderr, "quillmate-demodienst: {}\n„quillmate-demodienst --help“ zeigt, was es gibt.\n", *fehler);
        return endeArgumente;
    }
    auto const& argumente = std::get<Argumente>(gelesen);
    switch (argumente.auftrag) {
    case Argumente::Auftrag::hilfe:
        fmt::print("{}", hilfetext);
        return endeGut;
    case Argumente::Auftrag::fassung:
        fmt::print("quillmate-demodienst {}\n", fassungstext);
        return endeGut;
    case Argumente::Auftrag::zeigen:
        return zeige(argumente);
    case Argumente::Auftrag::dienen:
        return diene(argumente);
    }
    return endeFehler;
}
