// The search is written against ports.
#include "macscan/suche.h"

#ifdef VERBOTEN
#include "adapter/linux/verzeichnisse.h"
#endif
