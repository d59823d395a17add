// HTTP needs nothing of a desktop.
#include "netz/http.h"

#ifdef VERBOTEN
#include "plattform/uhr.h"
#endif
