// quillmate-leser: reads PDFs and pictures for the main program, locked up.
//
//   dienst       the order of things: engines, lock-up, then a child for each file
//   sandkasten   the lock-up
//   notausgang   the end of a reading whose engine does not come back
//   ../leser     the engines
//
// Started by leser/prozess/leser_prozesse.h and by nobody else.
#include "dienst.h"
#include "leser/motoren/leser_im_prozess.h"
#include "wacht.h"

using namespace quillmate;

int main() {
    return leser::programm::alsLeserDienen([] {
        auto daten = leser::motoren::sucheSprachdaten(leser::motoren::ueblicheSprachordner());
        auto const stand = leser::motoren::sprachstand(daten);
        auto motoren = std::make_unique<leser::motoren::LeserImProzess>(std::move(daten));
        static leser::programm::Wacht wacht;
        motoren->bewachen(wacht);
        motoren->vorwaermen(); // Once for all files: children have what is made here.
        return leser::programm::Werkzeug{std::move(motoren), stand};
    });
}
