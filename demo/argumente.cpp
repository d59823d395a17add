#include "argumente.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

namespace quillmate::demo {

char const* const hilfetext =
    R"(Aufruf: quillmate-demodienst --daten ORDNER [--port N] [--client N] [--token T] [--ohne-texte]
        quillmate-demodienst --zeige --daten ORDNER

  --daten ORDNER  wo Datenbank und Belege liegen; wird angelegt
  --port N        Port auf 127.0.0.1; 0 (Vorgabe): irgendein freier
  --client N      Nummer des Mandanten (Vorgabe: 1)
  --token T       Sitzungsschlüssel (Vorgabe: ein zufälliger)
  --ohne-texte    Belege nicht lesen
  --zeige         die Belege und ihre Buchungen ausgeben
  --help          diese Hilfe
  --version       die Fassung
)";

namespace {

template<class Zahl>
std::optional<Zahl> alsZahl(std::string_view text) {
    Zahl wert{};
    auto const [ende, fehler] = std::from_chars(text.data(), text.data() + text.size(), wert);
    if (text.empty() || fehler != std::errc{} || ende != text.data() + text.size())
        return std::nullopt;
    return wert;
}

bool taugtAlsToken(std::string_view text) {
    constexpr std::size_t hoechstlaenge = 200;
    return !text.empty() && text.size() <= hoechstlaenge &&
           std::ranges::all_of(text, [](char c) { return c > ' ' && c < '\x7F'; });
}

} // namespace

std::variant<Argumente, std::string> liesArgumente(std::span<char const* const> argumente) {
    Argumente ergebnis;
    for (std::size_t i = 0; i < argumente.size(); ++i) {
        std::string_view const name = argumente[i];
        if (name == "--hilfe" || name == "--help" || name == "-h") {
            ergebnis.auftrag = Argumente::Auftrag::hilfe;
            return ergebnis;
        }
        if (name == "--version") {
            ergebnis.auftrag = Argumente::Auftrag::fassung;
            return ergebnis;
        }
        if (name == "--ohne-texte") {
            ergebnis.ohneTexte = true;
            continue;
        }
        if (name == "--zeige") {
            ergebnis.auftrag = Argumente::Auftrag::zeigen;
            continue;
        }
        if (name != "--port" && name != "--daten" && name != "--client" && name != "--token")
            return fmt::format("Unbekanntes Argument: {}", name);
        if (++i == argumente.size())
            return fmt::format("Hinter {} fehlt ein Wert.", name);
        std::string_view const wert = argumente[i];
        if (name == "--port") {
            auto const port = alsZahl<int>(wert);
            if (!port || *port < 0 || *port > 65535)
                return fmt::format("Kein Port: {}", wert);
            ergebnis.port = *port;
        } else if (name == "--client") {
            auto const kunde = alsZahl<std::int64_t>(wert);
            if (!kunde)
                return fmt::format("Keine Mandantennummer: {}", wert);
            ergebnis.kunde = *kunde;
        } else if (name == "--token") {
            if (!taugtAlsToken(wert))
                return std::string{"Der Sitzungsschlüssel muss aus 1 bis 200 druckbaren ASCII-Zeichen ohne "
                                   "Leerzeichen bestehen."};
            ergebnis.token = wert;
        } else {
            ergebnis.daten = wert;
        }
    }
    if (ergebnis.daten.empty())
        return std::string{"Es fehlt --daten ORDNER."};
    return ergebnis;
}

} // namespace quillmate::demo
