// What multimedia and message timers do at each firing.
//
// A callback of a message timer may pump messages and so meet its own timer again. Such a call
// within a call counts like any other, and the record stays until the outermost is through.
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
    // The calls under way are not counted yet.
    const bool used_up = timer.iCallsLeft > 0 && timer.iCallsLeft <= timer.iDepth;
    if (!timer.bEnded && !used_up)
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

// Those who wait go on last, and find the timer gone.
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
