// Time with milliseconds: the names come with <tchar.h>.
#ifndef PLINTH_PLATFORM_SYS_TIMEB_H
#define PLINTH_PLATFORM_SYS_TIMEB_H

#include "../tchar.h"

#endif
