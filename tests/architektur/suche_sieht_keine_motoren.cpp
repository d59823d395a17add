// Only programs choose the engines that parse foreign bytes.
#include "macscan/suche.h"

#ifdef VERBOTEN
#include "texterkennung_leser/leser_im_prozess.h"
#endif
