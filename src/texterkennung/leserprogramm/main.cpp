// quillmate-leser: reads PDFs and pictures for the main program, locked up.
//
//   dienst       the order of things: engines, lock-up, then file after file
//   sandkasten   the lock-up
//   ../leser     the engines
//
// Started by leserprozess/leser_prozesse.h and by nobody else.
#include "dienst.h"
#include "texterkennung_leser/leser_im_prozess.h"

using namespace quillmate::Texterkennung;

int main() {
    return alsLeserDienen([] {
        auto daten = sucheSprachdaten(ueblicheSprachordner());
        auto const stand = sprachstand(daten);
        auto leser = std::make_unique<LeserImProzess>(std::move(daten));
        leser->vorwaermen(0); // Engines are made of the open language data when first needed.
        return Werkzeug{std::move(leser), stand};
    });
}
