#pragma once

#include "macscan/suche.h"

#include <optional>
#include <span>
#include <string>

namespace quillmate::suchlauf {

struct Argumente {
    MacScan::Scanauftrag auftrag;
    std::optional<std::string> merken; ///< Remember this folder, print its identifier, and scan nothing.
    bool hilfe{false};
    bool fassung{false}; ///< Only print the version.
};

inline constexpr char const* hilfetext =
    R"(Aufruf: quillmate-suchlauf --server URL --client N --token T [Optionen]
        quillmate-suchlauf --merken ORDNER

Sucht Belege in den Standardorten und gemerkten Ordnern und lädt sie zum Dienst hoch.

  --server URL           Basisadresse der Schnittstelle, ohne Schrägstrich am Ende
  --client N             Mandantennummer
  --token T              Sitzungstoken
  --alles                auch prüfen, was der Dienst schon kennt
  --fotos                jedes Bild ungelesen senden
  --nur-ordner KENNUNG   nur Bilder dieses gemerkten Ordners
  --hoechstens N         höchstens so viele Bilder dabei (1 bis 500)
  --merken ORDNER        Ordner merken und seine Kennung ausgeben
  --help                 diese Seite
  --version              die Fassung

Ende: 0, wenn alles ankam; 1, wenn der Dienst nicht antwortet, ablehnt oder etwas nicht ankam; 2 bei falschem Aufruf.

Strg-C hält die Suche sauber an: angefangene Dateien werden beendet, weitere nicht begonnen.
)";

/// The decoded command line, or a German sentence about what is wrong with it in `fehler`.
[[nodiscard]] std::optional<Argumente> argumenteAus(
    std::span<char const* const> argumente, std::string& fehler);

} // namespace quillmate::suchlauf
