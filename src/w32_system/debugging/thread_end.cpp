#include "thread_end.h"

#include "frame.h"

namespace
{

// False if the thread may still run. A wait that fails says nothing about the thread, which is
// asked itself then.
bool AwaitThreadEnd(HANDLE thread, DWORD limit)
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

} // namespace

void QvEndThread(HANDLE thread, DWORD limit, DWORD exitCode)
{
    constexpr DWORD termination_limit = 1000; // ms; the end itself takes none
    if (AwaitThreadEnd(thread, limit))
        return;
    TerminateThread(thread, exitCode);
    AwaitThreadEnd(thread, termination_limit);
}

void QvLeaveThread()
{
    if (QvIsTornDown())
        TerminateThread(GetCurrentThread(), 0);
}
