#include "kommandozeile.h"

#include "grundlage/prozesswerte.h"

#include <fmt/format.h>

#include <string_view>

namespace quillmate::app::kommandozeile {

namespace {

constexpr std::string_view hilfetext = R"(Aufruf: quillmate [ADRESSE]
        quillmate --scan ORDNER
        quillmate --text DATEI

Ohne Argumente öffnet quillmate sein Fenster. Ein zweiter Start holt das erste nach vorn.

  ADRESSE        eine Adresse „quillmate:…“, mit der der Browser eine Anmeldung beendet
  --scan ORDNER  sucht mögliche Belege unter ORDNER und gibt sie als eine Zeile JSON aus
  --text DATEI   liest DATEI und gibt Text und Beurteilung als eine Zeile JSON aus
  --help         diese Hilfe
  --version      die Fassung

Umgebung: QUILLMATE_URL ist die Adresse, die das Fenster zuerst lädt.
)";

} // namespace

std::optional<Antwort> antwort(std::span<char const* const> argumente, std::string const& buildnummer) {
    for (std::string_view const argument : argumente.subspan(argumente.empty() ? 0 : 1)) {
        if (argument == "--help" || argument == "-h" || argument == "--hilfe")
            return Antwort{.text = std::string{hilfetext}};
        if (argument == "--version")
            return Antwort{
                .text = buildnummer.empty() ? fmt::format("Quillmate {}\n", fassungstext)
                                            : fmt::format("Quillmate {} ({})\n", fassungstext, buildnummer)};
        // As their last argument the diagnostic modes are as good as not given.
        if (argument == "--scan" || argument == "--text" || !argument.starts_with('-') || argument == "-")
            continue;
        return Antwort{
            .text =
                fmt::format("quillmate: Unbekannt: {}\n„quillmate --help“ zeigt, was es gibt.\n", argument),
            .status = 2};
    }
    return std::nullopt;
}

} // namespace quillmate::app::kommandozeile
