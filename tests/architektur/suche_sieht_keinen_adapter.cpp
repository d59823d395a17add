// The search is written against ports.
#include "macscan/suche.h"

#ifdef VERBOTEN
#include "plattform_linux/verzeichnisse.h"
#endif
