// Process start, in this order: process-wide values, diagnostic modes, everything with a window.
#include "adapter/gtk/grafik.h"
#include "adapter/gtk/laufende_programme_bus.h"
#include "adapter/linux/buendel.h"
#include "adapter/linux/einbau_linux.h"
#include "adapter/linux/einbaumarke.h"
#include "adapter/linux/verzeichnisse.h"
#include "adapter/linux/voreinstellungen_plist.h"
#include "aktualisierung/aktualisierung.h"
#include "anwendung.h"
#include "diagnose.h"
#include "einzelinstanz.h"
#include "grundlage/protokoll.h"
#include "grundlage/prozesswerte.h"
#include "kommandozeile.h"
#include "leser/prozess/leser_prozesse.h"
#include "texterkennung/zwischenspeicher.h"
#include "umgebung.h"

#include <csignal>
#include <cstdio>
#include <exception>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace {

using namespace quillmate;

int ausgeben(std::string zeile) {
    zeile += '\n';
    bool const geschrieben =
        std::fwrite(zeile.data(), 1, zeile.size(), stdout) == zeile.size() && std::fflush(stdout) == 0;
    if (!geschrieben)
        protokoll("Die Ausgabe konnte nicht geschrieben werden");
    return geschrieben ? 0 : 1;
}

/// The address of our own scheme that the desktop started us with.
std::optional<std::string> uebergebeneAdresse(std::span<char const* const> argumente) {
    for (std::string_view const argument : argumente.subspan(argumente.empty() ? 0 : 1))
        if (argument.starts_with("quillmate:"))
            return std::string{argument};
    return std::nullopt;
}

int starten(std::span<char const* const> argumente) {
    // A reader of our output or log that has gone is no reason to die.
    std::signal(SIGPIPE, SIG_IGN);
    auto const buendel = adapter::linux::eigenesBuendel();
    auto const kennung = buendel ? buendel->kennung : std::nullopt;
    adapter::linux::Einbauhilfen const einbauhilfen{
        .marken = adapter::linux::markenordner(kennung.value_or(app::hauptbau)),
        .zurueckgenommen =
            [&kennung](std::string const& buildnummer) {
                adapter::linux::VoreinstellungenPlist{
                    adapter::linux::VoreinstellungenPlist::dateiFuer(kennung.value_or(app::hauptbau))}
                    .setzeText(aktualisierung::schluesselGescheitert, buildnummer);
            },
        .einzelinstanz =
            [&kennung] {
                return app::AppEinzelinstanz::nurSperren(
                    kennung, adapter::linux::laufzeitordner().value_or(adapter::linux::keinOrdner));
            }};
    // As the helper that puts an update in, this process is no program with a window.
    if (auto const ausgang = adapter::linux::alsEinbauhelfer(argumente, einbauhilfen))
        return *ausgang;
    // The process-wide values read the environment before anything else runs.
    (void)startAdresse();
    (void)eigeneHosts();
    (void)softwarePfade();

    if (auto const ordner = app::diagnose::wertNach(argumente, "--scan"))
        return ausgeben(app::diagnose::scanZeile(*ordner));
    if (auto const datei = app::diagnose::wertNach(argumente, "--text")) {
        leser::prozess::LeserProzesse leser;
        Texterkennung::Zwischenspeicher const speicher{
            adapter::linux::zwischenspeicherOrdner(), Texterkennung::lesemethode()};
        Texterkennung::Erkenner erkenner{leser, speicher};
        auto bericht = app::diagnose::textbericht(*datei, erkenner);
        int const status = ausgeben(std::move(bericht.zeile));
        if (!bericht.fehler)
            return status;
        protokoll(bericht.fehler->text());
        return 1;
    }

    if (auto const antwort =
            app::kommandozeile::antwort(argumente, buendel ? buendel->buildnummer.value_or("") : "")) {
        auto* const strom = antwort->status == 0 ? stdout : stderr;
        bool const gesagt = std::fputs(antwort->text.c_str(), strom) >= 0 && std::fflush(strom) == 0;
        return gesagt ? antwort->status : 1;
    }

    if (auto const lesbar = adapter::linux::buendellage("/proc/self/exe"); !lesbar) {
        protokoll(lesbar.error().text());
        return 1; // Whose lock and settings would be ours?
    }
    // Before the first library of the desktop reads it.
    auto vorher = app::umgebung::einrichten(adapter::gtk::hatGrafikprozessor());
    adapter::gtk::LaufendeProgrammeBus programme{uebergebeneAdresse(argumente)};
    auto const laufzeit = adapter::linux::laufzeitordner();
    if (!laufzeit)
        protokoll(laufzeit.error().text());
    auto const einzelinstanz =
        app::AppEinzelinstanz::belegen(kennung, laufzeit.value_or(adapter::linux::keinOrdner), programme);
    if (!einzelinstanz)
        return 0; // Another start is no error.
    // Not before: a start that only wakes the running program says nothing about whether this version comes up.
    auto probe = buendel ? adapter::linux::selbstprobe(buendel->pfad, einbauhilfen, vorher) : Deskriptor{};
    app::Anwendung anwendung{std::move(vorher), std::move(probe)};
    return anwendung.laufen();
}

} // namespace

int main(int argc, char** argv) {
    try {
        return starten(std::span<char const* const>{argv, static_cast<std::size_t>(argc)});
    } catch (std::exception const& fehler) {
        quillmate::protokoll(std::string{"Unerwarteter Fehler: "} + fehler.what());
        return 1;
    }
}
