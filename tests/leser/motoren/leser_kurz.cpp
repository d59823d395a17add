// quillmate-leser with half a second for a PDF, so that tests are short; with the watch over what does not look at the
// clock, or without it (QUILLMATE_UNBEWACHT), so that they see what it is for.
#include "leser/motoren/leser_im_prozess.h"
#include "leser/programm/dienst.h"
#include "leser/programm/wacht.h"

using namespace quillmate;

namespace {

class Blind final : public leser::motoren::Rechenwacht {
public:
    void beginnt(std::chrono::milliseconds /*frist*/) override {}
    void sonst(Texterkennung::Lesung const& /*lesung*/) override {}
    void endet() noexcept override {}
};

} // namespace

int main() {
    return leser::programm::alsLeserDienen([] {
        auto daten = leser::motoren::sucheSprachdaten(leser::motoren::ueblicheSprachordner());
        auto const stand = leser::motoren::sprachstand(daten);
        auto motoren = std::make_unique<leser::motoren::LeserImProzess>(std::move(daten));
#ifdef QUILLMATE_UNBEWACHT
        static Blind wacht;
#else
        static leser::programm::Wacht wacht;
#endif
        motoren->bewachen(wacht, {.frist = std::chrono::milliseconds{500}});
        motoren->vorwaermen();
        return leser::programm::Werkzeug{std::move(motoren), stand};
    });
}
