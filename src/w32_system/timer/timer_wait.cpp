// Waiting for the end of a timer.
#include "timer_table.h"

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

// The thread can't end while another one unloads a module, which may be the caller.
void WaitForThread(const QvTimerEnd& end)
{
    constexpr DWORD last_steps_limit = 1000; // ms
    QvAwaitTimerFlag(end.bThreadLeaves);
    WaitForSingleObject(end.hThread, last_steps_limit);
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
        WaitForThread(*end);
        return QV_OK;
    case QV_TIMER_MULTIMEDIA:
        WaitForEvent(*end);
        return QV_OK;
    default:
        return QV_ERR_NULLPTR;
    }
}
