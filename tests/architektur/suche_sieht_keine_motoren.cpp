// Only programs choose the engines that parse foreign bytes.
#include "macscan/suche.h"

#ifdef VERBOTEN
#include "leser/motoren/leser_im_prozess.h"
#endif
