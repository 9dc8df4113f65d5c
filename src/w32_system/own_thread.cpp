#include "own_thread.h"

#include <algorithm>

#include <process.h>

#include "frame.h"

namespace
{

enum Stage : uint32_t
{
    thread_starts = 0,
    thread_is_refused,
    thread_runs,
    thread_leaves, // still runs a few last instructions of the library
};

bool Move(QvThreadStage& stage, uint32_t from, uint32_t to)
{
    return stage.compare_exchange_strong(from, to);
}

} // namespace

bool QvAwaitThreadEnd(HANDLE thread, DWORD limit)
{
    constexpr DWORD interval = 10; // ms between two checks
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

HANDLE QvStartThread(unsigned(__stdcall* procedure)(void*), void* argument, uint32_t& id,
                     QvThreadStage& stage)
{
    stage = thread_starts;
    unsigned threadId = 0;
    const uintptr_t thread = _beginthreadex(nullptr, 0, procedure, argument, 0, &threadId);
    id = threadId;
    return reinterpret_cast<HANDLE>(thread);
}

bool QvBeginThread(QvThreadStage& stage)
{
    return Move(stage, thread_starts, thread_runs);
}

bool QvRefuseThread(QvThreadStage& stage)
{
    return Move(stage, thread_starts, thread_is_refused);
}

void QvLeaveThread(QvThreadStage& stage)
{
    stage = thread_leaves; // first: then the detach sees this stage, or the thread the detach
    if (QvIsDetaching())
        TerminateThread(GetCurrentThread(), 0);
}

void QvEndThread(HANDLE thread, QvThreadStage& stage, DWORD limit, DWORD exitCode)
{
    constexpr DWORD termination_limit = 1000; // ms; ending a terminated thread takes almost no time
    // ms, for a few instructions. They may take longer if another thread interrupts them. If they
    // hold the lock of the heap, terminating the thread there would leave that lock held for ever.
    constexpr DWORD last_steps_limit = 200;
    DWORD patience = limit;
    if (QvIsDetaching())
    {
        QvRefuseThread(stage);
        if (stage != thread_runs)
            patience = std::min(limit, last_steps_limit);
    }
    if (!QvAwaitThreadEnd(thread, patience))
    {
        TerminateThread(thread, exitCode);
        QvAwaitThreadEnd(thread, termination_limit);
    }
    CloseHandle(thread);
}
