// The move knows the system by ports alone.
#include "umzug/umzug.h"
#ifdef VERBOTEN
#include "plattform_linux/dateiwerk_linux.h"
#endif
