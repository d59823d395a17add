// The terminal scan with its readers in its own process, as it is not shipped: what isolation is measured against.
#include "leserwahl.h"
#include "texterkennung_leser/leser_im_prozess.h"

std::unique_ptr<quillmate::Texterkennung::Leser> quillmate::Suchlauf::leserBauen() {
    return Texterkennung::leserImProzess();
}
