// quillmate-leser: reads PDFs and pictures for the main program, locked up.
//
//   dienst       the order of things: engines, lock-up, then file after file
//   sandkasten   the lock-up
//   ../leser     the engines
//
// Started by leser/prozess/leser_prozesse.h and by nobody else.
#include "dienst.h"
#include "leser/motoren/leser_im_prozess.h"

using namespace quillmate;

int main() {
    return leser::programm::alsLeserDienen([] {
        auto daten = leser::motoren::sucheSprachdaten(leser::motoren::ueblicheSprachordner());
        auto const stand = leser::motoren::sprachstand(daten);
        auto motoren = std::make_unique<leser::motoren::LeserImProzess>(std::move(daten));
        motoren->vorwaermen(0); // Engines are made of the open language data when first needed.
        return leser::programm::Werkzeug{std::move(motoren), stand};
    });
}
