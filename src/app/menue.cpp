#include "menue.h"

namespace quillmate::app::menue {

std::vector<Untermenue> const& menueleiste() {
    using enum Befehl;
    using enum Ziel;
    static std::vector<Untermenue> const leiste{
        {.titel = "",
         .abschnitte =
             {{{"Über Quillmate", ueber, {}, ersterEmpfaenger},
               {"Nach Updates suchen …", nachUpdatesSuchen, {}, aktualisierer}},
              {{"Quillmate ausblenden", ausblenden, Taste{'h'}, ersterEmpfaenger},
               {"Quillmate beenden", beenden, Taste{'q'}, ersterEmpfaenger}}}},
        {.titel = "Ablage",
         .abschnitte =
             {{{"Neu laden", neuLaden, Taste{'r'}, haupt},
               {"Zurück", zurueck, Taste{'['}, haupt},
               {"Vorwärts", vorwaerts, Taste{']'}, haupt}},
              {{"Drucken …", drucken, Taste{'p'}, haupt}},
              {{"Fenster schließen", fensterSchliessen, Taste{'w'}, ersterEmpfaenger}}}},
        {.titel = "Bearbeiten",
         .abschnitte = {
             {{"Widerrufen", widerrufen, Taste{'z'}, ersterEmpfaenger},
              {"Wiederholen", wiederholen, Taste{'Z'}, ersterEmpfaenger}},
             {{"Ausschneiden", ausschneiden, Taste{'x'}, ersterEmpfaenger},
              {"Kopieren", kopieren, Taste{'c'}, ersterEmpfaenger},
              {"Einsetzen", einsetzen, Taste{'v'}, ersterEmpfaenger},
              {"Alles auswählen", allesAuswaehlen, Taste{'a'}, ersterEmpfaenger}}}}};
    return leiste;
}

} // namespace quillmate::app::menue
