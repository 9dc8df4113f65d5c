// Timers with a thread of their own.
//
// Each such thread is joined exactly once, so that after a wait the thread has ended, and none
// remains. The first waiter joins it. Without a waiter, the ending thread stores itself to be
// joined by the next thread that ends, and joins the one stored before: at most one is stored at
// any time.
#include "timer_routes.h"

#include <cerrno>
#include <cmath>
#include <optional>
#include <type_traits>

#include <windows.h>

#include "at_fork.h"

namespace
{

static_assert(std::is_same_v<decltype(QvTimerRecord::thread), pthread_t>);

std::optional<pthread_t> s_lastEnded; // gs_TimerLock

const QvAtFork s_atFork(QvForkStep::timer_threads, {nullptr, nullptr, [] { s_lastEnded.reset(); }});

// The first tick after now on the timer's grid.
double NextTick(double next, double now, double interval)
{
    return interval > 0.0 ? next + (std::trunc((now - next) / interval) + 1.0) * interval : now;
}

void Run(QvTimer& timer)
{
    const double interval = static_cast<double>(timer.i64IntervalNs) / 1e6; // ms
    const int mode = timer.iPrecision;
    const bool drops_missed = timer.iCatchUpMode == 1;
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
        if (drops_missed && now > next)
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
    std::optional<pthread_t> other;
    {
        const QvTimerGuard guard;
        QvStopTimer(*timer);
        QvTakeOutTimer(*timer);
        if (!timer->pEnd->bJoining && !QvIsTornDown())
        {
            other = s_lastEnded;
            s_lastEnded = pthread_self();
        }
        else if (!timer->pEnd->bJoining)
            pthread_detach(pthread_self()); // no other thread will join it: the process ends
    }
    timer.reset();
    if (other)
        pthread_join(*other, nullptr);
}

void* timer_thread_proc(void* argument)
{
    const Ending ending(static_cast<QvTimer*>(argument));
    QvAwaitTimerFlag(ending.timer->bPublished);
    Run(*ending.timer);
    return nullptr;
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
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    const int error = pthread_create(&timer->thread, &attributes, timer_thread_proc, timer.get());
    pthread_attr_destroy(&attributes);
    if (error != 0)
    {
        TraceFailure(error);
        return 0;
    }
    return QvPublishTimer(std::move(timer), std::move(node));
}

void QvJoinEndedTimerThread()
{
    std::optional<pthread_t> ended;
    {
        const QvTimerGuard guard;
        ended.swap(s_lastEnded);
    }
    if (ended)
        pthread_join(*ended, nullptr);
}
