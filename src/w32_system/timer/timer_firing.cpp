// What multimedia and message timers do at each firing.
//
// A callback of a message timer may pump messages and so be called again by its own timer. Such a
// nested call counts like any other, and the record stays until the outermost call has ended.
#include "timer_routes.h"

#include <windows.h>

namespace
{

struct Depth
{
    explicit Depth(int32_t& count) : depth(++count) {}
    Depth(const Depth&) = delete;
    Depth& operator=(const Depth&) = delete;
    ~Depth() { --depth; }

    int32_t& depth;
};

} // namespace

bool QvFireTimer(QvTimer& timer)
{
    // The calls that are running have not been counted yet.
    const bool usedUp = timer.iCallsLeft > 0 && timer.iCallsLeft <= timer.iDepth;
    if (!timer.bEnded && !usedUp)
    {
        {
            const Depth depth(timer.iDepth);
            if (QvIsTimerStopped(timer) || QvCallTimer(timer) == 0)
                timer.iCallsLeft = 1;
        }
        if (timer.iCallsLeft > 0)
            timer.bEnded |= --timer.iCallsLeft == 0;
    }
    return timer.bEnded && timer.iDepth == 0;
}

// The waiters are released last, so that they find the timer gone.
void QvRemoveTimer(QvTimer* timer)
{
    const std::shared_ptr<QvTimerEnd> end = timer->pEnd;
    {
        const QvTimerGuard guard;
        QvStopTimer(*timer);
        QvTakeOutTimer(*timer);
    }
    delete timer;
    if (end->hEvent)
        SetEvent(end->hEvent);
}
