// Ports do not know who uses them.
#include "plattform/uhr.h"

#ifdef VERBOTEN
#include "ordner/fund.h"
#endif
