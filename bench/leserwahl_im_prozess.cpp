// The terminal scan with its readers in its own process, as it is not shipped: what isolation is measured against.
#include "leser/motoren/leser_im_prozess.h"
#include "leserwahl.h"

std::unique_ptr<quillmate::Texterkennung::Leser> quillmate::suchlauf::leserBauen() {
    return leser::motoren::leserImProzess();
}
