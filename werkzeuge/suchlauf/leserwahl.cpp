#include "leserwahl.h"

#include "leser/prozess/leser_prozesse.h"

std::unique_ptr<quillmate::Texterkennung::Leser> quillmate::suchlauf::leserBauen() {
    return std::make_unique<leser::prozess::LeserProzesse>();
}
