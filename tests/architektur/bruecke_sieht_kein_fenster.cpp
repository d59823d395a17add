// The bridge does not know whose it is.
#include "bruecke/bruecke.h"

#ifdef VERBOTEN
#include "fenster/fenster.h"
#endif
