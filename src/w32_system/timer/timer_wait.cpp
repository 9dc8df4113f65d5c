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

// One waiter joins the thread; the others wait until it has done so.
void WaitForThread(QvTimerEnd& end, pthread_t thread, bool joins)
{
    if (!joins)
    {
        QvAwaitTimerFlag(end.bJoined);
        return;
    }
    pthread_join(thread, nullptr);
    QvRaiseTimerFlag(end.bJoined);
}

} // namespace

extern "C" int QV_WaitForTimer(unsigned int id)
{
    if (QvIsInTimerCallback(id))
        return QvRefuse(QV_ERR_BADARG, L"id", L"QV_WaitForTimer: Called by the timer itself.",
                        timer_source_name, __LINE__);
    int32_t kind;
    pthread_t thread;
    bool joins = false;
    std::shared_ptr<QvTimerEnd> end;
    {
        const QvTimerGuard guard;
        const QvTimer* const timer = QvFindTimer(id);
        if (!timer)
            return QvWasTimerId(id) ? QV_OK : QV_ERR_NULLPTR;
        kind = timer->iKind;
        if (kind == QV_TIMER_POSTED)
            return QV_ERR_BADARG;
        thread = timer->thread;
        end = timer->pEnd;
        if (kind == QV_TIMER_THREAD)
        {
            joins = !end->bJoining;
            end->bJoining = true;
        }
    }
    switch (kind)
    {
    case QV_TIMER_THREAD:
        WaitForThread(*end, thread, joins);
        return QV_OK;
    case QV_TIMER_MULTIMEDIA:
        WaitForEvent(*end);
        return QV_OK;
    default:
        return QV_ERR_NULLPTR;
    }
}
