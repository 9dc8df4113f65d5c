// Waiting for the end of a timer.
#include "timer_routes.h"

#include <windows.h>

#include "argument_check.h"

namespace
{

void WaitForEvent(const QvTimerEnd& end)
{
    if (end.hEvent)
    {
        WaitForSingleObject(end.hEvent, INFINITE);
        return;
    }
    DiagOutputExW_hlp(timer_source_name, __LINE__);
    DiagOutputExW(L"Cannot wait for time, its waitable object failed to be initialized.");
}

// The thread may be unable to end its timer. After the timer's end the thread can't end while a
// module is being unloaded, perhaps by the caller, so that wait has a limit.
void WaitForThread(unsigned int id, const std::shared_ptr<QvTimerEnd>& end)
{
    constexpr DWORD interval = 50;           // ms between two checks; the thread's end ends a wait
    constexpr DWORD last_steps_limit = 1000; // ms
    while (!end->bThreadLeaves)
    {
        const bool hasEnded = QvAwaitThreadEnd(end->hThread, interval);
        if (QvEndTimerOfLostThread(id, end, hasEnded) || hasEnded)
            return;
    }
    WaitForSingleObject(end->hThread, last_steps_limit);
}

} // namespace

extern "C" int QV_WaitForTimer(unsigned int id)
{
    if (QvIsInTimerCallback(id))
        return QvRefuse(QV_ERR_BADARG, L"id", L"QV_WaitForTimer: Called by the timer itself.",
                        timer_source_name, __LINE__);
    int32_t kind;
    std::shared_ptr<QvTimerEnd> end;
    {
        const QvTimerGuard guard;
        const QvTimer* const timer = QvFindTimer(id);
        if (!timer)
            return QvWasTimerId(id) ? QV_OK : QV_ERR_NULLPTR;
        kind = timer->iKind;
        if (kind == QV_TIMER_POSTED)
            return QV_ERR_BADARG;
        end = timer->pEnd;
    }
    switch (kind)
    {
    case QV_TIMER_THREAD:
        WaitForThread(id, end);
        return QV_OK;
    case QV_TIMER_MULTIMEDIA:
        WaitForEvent(*end);
        return QV_OK;
    default:
        return QV_ERR_NULLPTR;
    }
}
