// No toolkit outside of its adapter.
#include "macscan/suche.h"

#ifdef VERBOTEN
#include <gtk/gtk.h>
#endif
