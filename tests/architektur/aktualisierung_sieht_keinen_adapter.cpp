// Updates know the system by ports alone.
#include "aktualisierung/aktualisierung.h"
#ifdef VERBOTEN
#include "adapter/linux/einbau_linux.h"
#endif
