// Threads of the runtime library.
#include <cerrno>

#include <process.h>

#include "kernel32/thread/thread.h"

extern "C" uintptr_t _beginthreadex(void*, unsigned stackSize, unsigned (*start)(void*),
                                    void* argument, unsigned, unsigned* id)
{
    if (!start)
    {
        errno = EINVAL;
        return 0;
    }
    const HANDLE thread = platform::start_thread(start, argument, stackSize, id);
    if (!thread)
        errno = EAGAIN;
    return reinterpret_cast<uintptr_t>(thread);
}

extern "C" void _endthreadex(unsigned exitCode)
{
    platform::end_thread(exitCode);
}
