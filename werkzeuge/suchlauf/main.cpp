// A full scan from the terminal, with everything real but the window: the user's folders, the engines, the
// service. Signals are blocked in all threads and taken by sigtimedwait() in this one, which therefore sees
// Ctrl-C at a place where it may do more than set a flag.
#include "adapter/linux/arbeitsfaden_linux.h"
#include "adapter/linux/buendel.h"
#include "adapter/linux/lesezeichen_inode.h"
#include "adapter/linux/standardorte_xdg.h"
#include "adapter/linux/verzeichnisse.h"
#include "adapter/linux/voreinstellungen_plist.h"
#include "argumente.h"
#include "ausgabe.h"
#include "grundlage/datei.h"
#include "grundlage/ergebnis.h"
#include "grundlage/protokoll.h"
#include "grundlage/prozesswerte.h"
#include "leserwahl.h"
#include "macscan/suche.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <exception>
#include <mutex>
#include <optional>
#include <string>

namespace {

using namespace quillmate;

constexpr int ende_gut = 0;
constexpr int ende_fehler = 1;
constexpr int ende_aufruf = 2;
constexpr int ende_angehalten = 130; // what a shell expects after Ctrl-C

/// The messages of the scan, from its threads to this one.
class Postfach {
public:
    void legen(Json const& meldung) {
        std::lock_guard const schutz{sperre_};
        for (auto const& [schluessel, wert] : meldung.items())
            gesammelt_[schluessel] = wert;
    }
    [[nodiscard]] Json alles() const {
        std::lock_guard const schutz{sperre_};
        return gesammelt_;
    }

private:
    mutable std::mutex sperre_;
    Json gesammelt_ = Json::object();
};

/// While a line on the screen changes in place, others must not be written into it: what goes to standard error is
/// kept here and handed over whole lines at a time.
class Zwischenzeilen {
public:
    Zwischenzeilen() {
        std::array<int, 2> rohr{};
        if (::pipe2(rohr.data(), O_CLOEXEC) != 0)
            return; // then the lines mix
        lesen_ = Deskriptor{rohr[0]};
        Deskriptor const schreiben{rohr[1]};
        ::fcntl(lesen_.get(), F_SETFL, O_NONBLOCK);
        eigentlich_ = Deskriptor{::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)};
        ::dup2(schreiben.get(), STDERR_FILENO);
    }
    ~Zwischenzeilen() {
        if (eigentlich_)
            ::dup2(eigentlich_.get(), STDERR_FILENO);
        fmt::print(stderr, "{}", abholen());
    }
    Zwischenzeilen(Zwischenzeilen const&) = delete;
    Zwischenzeilen& operator=(Zwischenzeilen const&) = delete;

    [[nodiscard]] std::string abholen() {
        std::array<char, 4096> stueck{};
        while (lesen_) {
            auto const n = ::read(lesen_.get(), stueck.data(), stueck.size());
            if (n <= 0)
                break;
            rest_.append(stueck.data(), static_cast<std::size_t>(n));
        }
        auto const ende = rest_.rfind('\n');
        if (ende == std::string::npos)
            return {};
        auto zeilen = rest_.substr(0, ende + 1);
        rest_.erase(0, ende + 1);
        return zeilen;
    }

private:
    Deskriptor lesen_;
    Deskriptor eigentlich_;
    std::string rest_;
};

/// Whether the service is there and takes this access; else says why not. Within ten seconds where it is silent.
bool erreichbar(dienst::Zugang const& zugang, dienst::Dienst& dienst) {
    if (!dienst.antwortet(zugang)) {
        fmt::print(stderr, "Der Dienst antwortet nicht: {}\n", zugang.server);
        return false;
    }
    // Any list will do: a wrong token or client is refused whatever is asked for.
    auto const liste = dienst.leseListe(zugang, "known-nonreceipt-hashes");
    bool const abgelehnt =
        !liste && liste.error().ursache.herkunft == Ursache::Herkunft::http &&
        (liste.error().art == Fehlerart::abgelehnt || liste.error().art == Fehlerart::nichtGefunden);
    if (!abgelehnt) // What passes is the search's own business.
        return true;
    fmt::print(stderr, "{}\n", liste.error().text());
    return false;
}

int merken(std::string const& ordner, Ordner::Merkliste& merkliste) {
    auto const kennung = Ordner::kennung(ordner);
    merkliste.merken(ordner);
    bool gemerkt = false;
    for (auto const& eintrag : merkliste.gemerkte()) {
        gemerkt = gemerkt || eintrag.kennung == kennung;
        merkliste.beenden(eintrag);
    }
    if (!gemerkt) {
        fmt::print(stderr, "Diesen Ordner gibt es nicht: {}\n", ordner);
        return ende_fehler;
    }
    fmt::print("{}\n", kennung);
    return ende_gut;
}

int suchen(
    MacScan::Scanauftrag const& auftrag, MacScan::Suche& suche, dienst::Dienst& dienst,
    sigset_t const& signale) {
    constexpr timespec takt{
        .tv_sec = 0, .tv_nsec = 20'000'000}; // Also how late the end of the search is noticed.
    bool const bildschirm = ::isatty(STDOUT_FILENO) == 1;
    Postfach postfach;
    suchlauf::Ausgabe ausgabe;
    int signalzahl = 0;

    if (!erreichbar(auftrag.zugang, dienst))
        return ende_fehler;
    std::optional<Zwischenzeilen> zwischenzeilen;
    if (bildschirm && ::isatty(STDERR_FILENO) == 1)
        zwischenzeilen.emplace();
    suche.starten(auftrag, [&postfach](Json const& meldung) { postfach.legen(meldung); });
    auto const zeigen = [&] {
        auto const bericht = suche.stand.bericht();
        auto const neu = ausgabe.neueSchritte(bericht);
        auto const zeilen = zwischenzeilen ? zwischenzeilen->abholen() : std::string{};
        if (bildschirm)
            fmt::print("\r\033[K{}{}{}", zeilen, neu, suchlauf::Ausgabe::laufend(bericht));
        else
            fmt::print("{}", neu);
        std::fflush(stdout);
    };
    while (suche.laeuft()) {
        zeigen();
        auto const signal = ::sigtimedwait(&signale, nullptr, &takt);
        if (signal <= 0)
            continue;
        switch (++signalzahl) {
        case 1:
            suche.anhalten();
            fmt::print(
                stderr, "\nDie Suche wird angehalten … (noch einmal bricht laufende Übertragungen ab)\n");
            break;
        case 2:
            dienst.abbrechen();
            break;
        default: // a file that takes its time to read; whoever asks three times does not want to wait for it
            ::_exit(ende_angehalten);
        }
    }
    zeigen();
    zwischenzeilen.reset();

    auto const meldung = postfach.alles();
    bool gut = true;
    if (meldung.contains("gruende")) {
        fmt::print("{}", suchlauf::Ausgabe::zusammenfassung(meldung));
        gut = meldung["gruende"].value("uebertragungFehlgeschlagen", 0) == 0;
        if (!gut)
            fmt::print(stderr, "\nNicht alles ist beim Dienst angekommen; die Zeilen oben sagen, warum.\n");
    }
    if (auto const fehler = meldung.find("fehler"); fehler != meldung.end()) {
        std::fflush(stdout);
        fmt::print(stderr, "{}\n", fehler->get<std::string>());
        gut = false;
    }
    if (meldung.contains("gestoppt"))
        fmt::print(
            "\nAngehalten nach {} von {} Dateien.\n", meldung["erledigt"].get<std::int64_t>(),
            meldung["gesamt"].get<std::int64_t>());
    if (signalzahl > 0)
        return ende_angehalten;
    return gut ? ende_gut : ende_fehler;
}

int ausfuehren(suchlauf::Argumente const& argumente, sigset_t const& signale) {
    adapter::linux::VoreinstellungenPlist voreinstellungen{
        adapter::linux::VoreinstellungenPlist::dateiFuer(adapter::linux::eigeneKennung())};
    adapter::linux::LesezeichenInode lesezeichen;
    Ordner::Merkliste merkliste{voreinstellungen, lesezeichen};
    if (argumente.merken)
        return merken(*argumente.merken, merkliste);

    adapter::linux::StandardorteXdg standardorte;
    ports::SystemUhr uhr;
    adapter::linux::ArbeitsfadenLinux arbeitsfaden;
    ports::KeineWolke wolke;
    auto const leser = suchlauf::leserBauen();
    Texterkennung::Zwischenspeicher const speicher{
        adapter::linux::zwischenspeicherOrdner(), Texterkennung::lesemethode()};
    Texterkennung::Erkenner erkenner{*leser, speicher};
    dienst::Dienst dienst;
    MacScan::Suche suche{
        {.merkliste = merkliste,
         .standardorte = standardorte,
         .erkenner = erkenner,
         .dienst = dienst,
         .uhr = uhr,
         .arbeitsfaden = arbeitsfaden,
         .wolke = wolke}};
    return suchen(argumente.auftrag, suche, dienst, signale);
}

} // namespace

int main(int argc, char** argv) {
    std::string fehler;
    auto const argumente =
        suchlauf::argumenteAus(std::span<char const* const>{argv, static_cast<std::size_t>(argc)}, fehler);
    if (!argumente) {
        fmt::print(
            stderr, "quillmate-suchlauf: {}\n„quillmate-suchlauf --help“ zeigt, was es gibt.\n", fehler);
        return ende_aufruf;
    }
    if (argumente->fassung) {
        fmt::print("quillmate-suchlauf {}\n", fassungstext);
        return ende_gut;
    }
    if (argumente->hilfe) {
        fmt::print("{}", suchlauf::hilfetext);
        return ende_gut;
    }
    sigset_t signale{};
    ::sigemptyset(&signale);
    ::sigaddset(&signale, SIGINT);
    ::sigaddset(&signale, SIGTERM);
    std::signal(SIGPIPE, SIG_IGN);                   // a terminal that has gone is no reason to lose a scan
    ::pthread_sigmask(SIG_BLOCK, &signale, nullptr); // before the first thread: all of them take it over
    try {
        return ausfuehren(*argumente, signale);
    } catch (std::exception const& ausnahme) {
        protokoll(std::string{"Unerwarteter Fehler: "} + ausnahme.what());
        return ende_fehler;
    }
}
