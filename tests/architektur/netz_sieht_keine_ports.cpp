// HTTP needs nothing of a desktop.
#include "netz/http.h"

#ifdef VERBOTEN
#include "ports/uhr.h"
#endif
