// The bottom layer knows nothing of what stands on it.
#include "grundlage/protokoll.h"

#ifdef VERBOTEN
#include "ports/uhr.h"
#endif
