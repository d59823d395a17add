// Ports do not know who uses them.
#include "ports/uhr.h"

#ifdef VERBOTEN
#include "ordner/fund.h"
#endif
