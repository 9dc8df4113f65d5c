// Timers with a thread of their own.
//
// A timer ends before its thread does: the thread still has to return through the library's code.
// So each thread that ends its timer enters itself into a list. It stays there until another thread
// that ends its timer later, or the unloading of the library, finds that it has ended.
//
// A thread may be unable to end its timer: it was terminated, or it can't begin because a thread
// that unloads a module holds the loader's lock. Then a thread that waits for the timer ends it.
#include "timer_routes.h"

#include <cerrno>
#include <cmath>
#include <new>
#include <type_traits>
#include <utility>

#include <windows.h>

#include "at_fork.h"

namespace
{

static_assert(std::is_same_v<decltype(QvTimerRecord::thread), pthread_t>);

using EndPointer = std::shared_ptr<QvTimerEnd>;

// Threads that have ended their timers, the newest first. Never destroyed: threads of timers may
// still end while the process does.
union EndedThreads
{
    constexpr EndedThreads() : newest() {}
    EndedThreads(const EndedThreads&) = delete;
    EndedThreads& operator=(const EndedThreads&) = delete;
    ~EndedThreads() {}

    EndPointer newest;
};
constinit EndedThreads s_ended; // gs_TimerLock

// The parent may have been in the middle of a change.
void RenewInChild()
{
    QvLeaveToParent(new (std::nothrow) EndPointer(std::move(s_ended.newest)));
    ::new (static_cast<void*>(&s_ended.newest)) EndPointer;
}

const QvAtFork s_atFork(QvForkStep::timer_threads, {nullptr, nullptr, RenewInChild});

// Needs gs_TimerLock.
void ForgetThreadsThatAreGone()
{
    for (EndPointer* at = &s_ended.newest; *at;)
    {
        if (WaitForSingleObject((*at)->hThread, 0) == WAIT_OBJECT_0)
            *at = EndPointer(std::move((*at)->pNextEnded));
        else
            at = &(*at)->pNextEnded;
    }
}

// Needs gs_TimerLock. The first half of a timer's end; the caller then frees the timer and raises
// bThreadLeaves.
EndPointer Withdraw(QvTimer& timer)
{
    EndPointer end = timer.pEnd;
    QvStopTimer(timer);
    QvTakeOutTimer(timer);
    ForgetThreadsThatAreGone();
    end->pNextEnded = std::move(s_ended.newest);
    s_ended.newest = end;
    return end;
}

// The first tick after now on the timer's grid.
double NextTick(double next, double now, double interval)
{
    return interval > 0.0 ? next + (std::trunc((now - next) / interval) + 1.0) * interval : now;
}

void Run(QvTimer& timer)
{
    const double interval = static_cast<double>(timer.i64IntervalNs) / 1e6; // ms
    const int mode = timer.iPrecision;
    const bool dropsMissed = timer.iCatchUpMode == 1;
    const bool limited = timer.iCallsLeft != 0;
    int left = timer.iCallsLeft;
    double next = timer.dStartTime + interval;
    double now = QV_GetTimeCounter();
    const uint32_t forks = QvForkCount();
    while ((!limited || left > 0) && !QvIsTimerStopped(timer))
    {
        if (next > now)
            QV_Sleep(next - now, mode);
        if (QvCallTimer(timer) == 0 || QvForkCount() != forks)
            break;
        // Counted from the previous tick, not from now, so that the callback's duration causes no
        // drift.
        next += interval;
        now = QV_GetTimeCounter();
        if (dropsMissed && now > next)
            next = NextTick(next, now, interval);
        if (limited)
            --left;
    }
}

// Ends the timer, even if its callback ends the thread.
struct Ending
{
    explicit Ending(QvTimer* ended) : timer(ended) {}
    Ending(const Ending&) = delete;
    Ending& operator=(const Ending&) = delete;
    ~Ending();

    QvTimerPointer timer;
    const uint32_t forks = QvForkCount();
};

Ending::~Ending()
{
    if (QvForkCount() != forks) // in the child of a callback, which is the child's only thread
    {
        QvLeaveToParent(timer.release());
        return;
    }
    EndPointer end;
    {
        const QvTimerGuard guard;
        end = Withdraw(*timer);
    }
    timer.reset();
    QvRaiseTimerFlag(end->bThreadLeaves);
}

// False in the child of a callback.
bool RunToTheEnd(QvTimer* timer)
{
    const Ending ending(timer);
    timer->thread = pthread_self();
    QvRaiseTimerFlag(timer->pEnd->bThreadNamed);
    QvAwaitTimerFlag(timer->bPublished);
    Run(*timer);
    return QvForkCount() == ending.forks;
}

// The argument outlives the thread: the timer owns it, later the list of ended threads. The timer
// of a refused thread has already been freed.
unsigned __stdcall TimerThreadProc(void* argument)
{
    auto& end = *static_cast<QvTimerEnd*>(argument);
    if (!QvBeginThread(end.threadStage) || RunToTheEnd(end.pTimer))
        QvLeaveThread(end.threadStage);
    return 0;
}

void TraceFailure(int error)
{
    DiagOutputExW_hlp(timer_source_name, __LINE__);
    DiagOutputExW(error == EINVAL ? L"Wrong thread attributes."
                                  : L"Insufficient resources for creating the thread.");
}

} // namespace

uintptr_t QvStartTimerThread(QvTimerPointer& timer)
{
    timer->iKind = QV_TIMER_THREAD;
    QvTimerNode node = QvMakeTimerNode(*timer);
    QvTimerEnd& end = *timer->pEnd;
    end.pTimer = timer.get();
    uint32_t id = 0; // not used
    end.hThread = QvStartThread(TimerThreadProc, &end, id, end.threadStage);
    if (!end.hThread)
    {
        TraceFailure(errno);
        return 0;
    }
    return QvPublishTimer(std::move(timer), std::move(node));
}

bool QvEndTimerOfLostThread(uint64_t id, const EndPointer& end, bool hasEnded)
{
    QvTimerPointer timer;
    {
        const QvTimerGuard guard;
        QvTimer* const found = QvFindTimer(id);
        if (!found || found->pEnd != end)
            return false;
        if (!hasEnded && !(QvIsTimerStopped(*found) && QvRefuseThread(end->threadStage)))
            return false;
        timer.reset(found);
        Withdraw(*timer);
    }
    timer.reset();
    QvRaiseTimerFlag(end->bThreadLeaves);
    return true;
}

void QvEndTimerThreads()
{
    constexpr DWORD last_steps_limit = 3000; // ms; they wait for nothing of the library's
    EndPointer next;
    {
        const QvTimerGuard guard;
        next = std::move(s_ended.newest);
    }
    while (next)
    {
        QvEndThread(std::exchange(next->hThread, nullptr), next->threadStage, last_steps_limit, 0);
        next = EndPointer(std::move(next->pNextEnded));
    }
}
