// Timers that use the system's multimedia timers.
#include "timer_routes.h"

#include <atomic>
#include <cmath>

#include <windows.h>

#include <mmsystem.h>

#include "at_fork.h"

namespace
{

// True once a multimedia timer has been set: from then on the system has a thread for them.
constinit std::atomic<bool> s_bUsed{false};

const QvAtFork s_atFork(QvForkStep::multimedia_timers, {nullptr, nullptr, [] { s_bUsed = false; }});

// The system's timer has whole milliseconds and a limited resolution. If a firing is early by less
// than half an interval, this spins until the next multiple of the interval.
void Align(QvTimer& timer)
{
    const double interval = static_cast<double>(timer.i64IntervalNs) / 1e6; // ms
    double now = QV_GetTimeCounter();
    const double ticks = (now - timer.dLastTime) / interval;
    const double whole = std::floor(ticks);
    if (ticks - whole > 0.5)
    {
        const double target = timer.dLastTime + interval * (whole + 1.0);
        while (now < target)
            now = QV_GetTimeCounter();
    }
    timer.dLastTime = now;
}

void CALLBACK MultimediaTimerProc(UINT id, UINT, DWORD_PTR user, DWORD_PTR, DWORD_PTR)
{
    auto* const timer = reinterpret_cast<QvTimer*>(user);
    const uint32_t forks = QvForkCount();
    QvAwaitTimerFlag(timer->bPublished);
    if (timer->iPrecision == QV_PRECISION_MM_1_ALIGNED)
        Align(*timer);
    if (!QvFireTimer(*timer) || QvForkCount() != forks)
        return;
    timeKillEvent(id);
    QvRemoveTimer(timer);
}

void CALLBACK FenceProc(UINT, UINT, DWORD_PTR user, DWORD_PTR, DWORD_PTR)
{
    SetEvent(reinterpret_cast<HANDLE>(user));
}

// The system calls one callback after another: when this one runs, no earlier one is still running.
// The synchronous kill waits for this callback's own return.
void AwaitCall()
{
    // Another user's callback may occupy the thread. Then all of ours have returned before.
    constexpr DWORD longest = 1'000; // ms
    const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (!event)
        return;
    const UINT id = timeSetEvent(1, 0, FenceProc, reinterpret_cast<DWORD_PTR>(event),
                                 TIME_ONESHOT | TIME_KILL_SYNCHRONOUS);
    if (id != 0)
    {
        WaitForSingleObject(event, longest);
        timeKillEvent(id);
    }
    CloseHandle(event);
}

} // namespace

uintptr_t QvSetMultimediaTimer(QvTimerPointer& timer, UINT resolution)
{
    QvTimerNode node = QvMakeTimerNode(*timer);
    timer->iKind = QV_TIMER_MULTIMEDIA;
    // Without an event the timer runs, but can't be waited for.
    timer->hEvent = timer->pEnd->hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    timer->uSystemId = timeSetEvent(QvTimerMilliseconds(*timer), resolution, MultimediaTimerProc,
                                    reinterpret_cast<DWORD_PTR>(timer.get()),
                                    timer->iCallsLeft == 1 ? TIME_ONESHOT : TIME_PERIODIC);
    if (timer->uSystemId != 0)
    {
        s_bUsed = true;
        return QvPublishTimer(std::move(timer), std::move(node));
    }
    if (timer->hEvent)
        CloseHandle(timer->hEvent);
    timer->hEvent = timer->pEnd->hEvent = nullptr;
    return 0;
}

void QvAwaitLastMultimediaCall()
{
    {
        const QvTimerGuard guard;
        if (!s_bUsed || QvHasTimers(QV_TIMER_MULTIMEDIA))
            return;
    }
    AwaitCall();
}
