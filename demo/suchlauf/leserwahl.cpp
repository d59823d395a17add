#include "leserwahl.h"

#include "leserprozess/leser_prozesse.h"

std::unique_ptr<quillmate::Texterkennung::Leser> quillmate::Suchlauf::leserBauen() {
    return std::make_unique<Texterkennung::LeserProzesse>();
}
