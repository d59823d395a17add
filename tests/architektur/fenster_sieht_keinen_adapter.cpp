// The main window is written against ports.
#include "fenster/fenster.h"

#ifdef VERBOTEN
#include "adapter/gtk/webansicht_gtk.h"
#endif
