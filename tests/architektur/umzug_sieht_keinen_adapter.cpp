// The move knows the system by ports alone.
#include "umzug/umzug.h"
#ifdef VERBOTEN
#include "adapter/linux/dateiwerk_linux.h"
#endif
