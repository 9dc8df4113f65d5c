#include "thread_end.h"

// A wait that fails says nothing about the thread, which is asked itself then.
bool QvAwaitThreadEnd(HANDLE thread, DWORD limit)
{
    constexpr DWORD interval = 10; // ms between the looks
    const DWORD result = WaitForSingleObject(thread, limit);
    if (result != WAIT_FAILED)
        return result == WAIT_OBJECT_0;
    DWORD code = STILL_ACTIVE;
    for (DWORD waited = 0;
         GetExitCodeThread(thread, &code) && code == STILL_ACTIVE && waited < limit;
         waited += interval)
        Sleep(interval);
    return code != STILL_ACTIVE;
}
