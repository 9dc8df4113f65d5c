// Threads of the runtime library.
#include <cerrno>

#include <process.h>

#include "kernel32/thread/thread.h"

extern "C" uintptr_t _beginthreadex(void*, unsigned stack_size, unsigned (*start)(void*),
                                    void* argument, unsigned, unsigned* id)
{
    if (!start)
    {
        errno = EINVAL;
        return 0;
    }
    const HANDLE thread = platform::start_thread(start, argument, stack_size, id);
    if (!thread)
        errno = EAGAIN;
    return reinterpret_cast<uintptr_t>(thread);
}

extern "C" void _endthreadex(unsigned exit_code)
{
    platform::end_thread(exit_code);
}
