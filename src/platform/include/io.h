// Files by way of the runtime library: the names come with <tchar.h>.
#ifndef PLINTH_PLATFORM_IO_H
#define PLINTH_PLATFORM_IO_H

#include "tchar.h"

#endif
