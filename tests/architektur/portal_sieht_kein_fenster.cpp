// A portal's window reports upward by a callback; it does not know the main window.
#include "portal/portalfenster.h"

#ifdef VERBOTEN
#include "fenster/fenster.h"
#endif
