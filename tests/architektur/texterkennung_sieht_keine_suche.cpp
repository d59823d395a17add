// Reading does not know what its texts are for.
#include "texterkennung/texterkennung.h"

#ifdef VERBOTEN
#include "macscan/suche.h"
#endif
