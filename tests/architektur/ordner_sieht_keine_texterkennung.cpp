// Finding files and reading them are two jobs.
#include "ordner/dateisuche.h"

#ifdef VERBOTEN
#include "texterkennung/heuristik.h"
#endif
