// Threads of the runtime library.
#ifndef PLINTH_PLATFORM_PROCESS_H
#define PLINTH_PLATFORM_PROCESS_H

#include <stdint.h>

#include "windef.h"

#ifdef __cplusplus
extern "C"
{
#endif

    // Starts a thread. Returns its handle, which the caller must close, or 0 with errno set.
    PLINTH_PLATFORM_API uintptr_t _beginthreadex(void* security, unsigned stackSize,
                                                 unsigned (*start)(void*), void* argument,
                                                 unsigned flags, unsigned* id);
    PLINTH_PLATFORM_API void _endthreadex(unsigned exitCode);

#ifdef __cplusplus
}
#endif

#endif
