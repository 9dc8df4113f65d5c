// Timers carried by the message timers of the thread that sets them.
#include "timer_routes.h"

#include <cfloat>

#include <windows.h>

namespace
{

// All masks of floating-point exceptions, that for denormal operands included.
constexpr unsigned int all_masked = 0x8001F;

// Whatever the callback left behind, the thread goes back to its pump with exceptions masked.
void MaskFloatingPointExceptions()
{
    if ((_controlfp(0, 0) & all_masked) != all_masked)
        _controlfp(all_masked, all_masked);
    if ((_control87(0, 0) & all_masked) != all_masked)
        _control87(all_masked, all_masked);
}

void CALLBACK posted_timer_proc(HWND, UINT, UINT_PTR id, DWORD)
{
    QvTimer* timer;
    {
        const QvTimerGuard guard;
        timer = QvFindTimer(id);
        // A late message of a timer that has ended; its number may stand for another kind by now.
        if (!timer || timer->iKind != QV_TIMER_POSTED)
            return;
    }
    if (QvFireTimer(*timer))
    {
        KillTimer(nullptr, id);
        QvRemoveTimer(timer);
    }
    MaskFloatingPointExceptions();
}

// Needs gs_TimerLock. An id that no timer has and that 32 bits hold, or 0.
UINT_PTR SetSystemTimer(UINT milliseconds)
{
    UINT_PTR id = SetTimer(nullptr, 0, milliseconds, posted_timer_proc);
    while (id != 0 && QvFindTimer(id))
    {
        // The new one first: the system must not give the same id again.
        const UINT_PTR other = SetTimer(nullptr, 0, milliseconds, posted_timer_proc);
        KillTimer(nullptr, id);
        id = other;
    }
    if (id <= UINT32_MAX)
        return id;
    KillTimer(nullptr, id);
    return 0;
}

} // namespace

uintptr_t QvSetMessageTimer(QvTimerPointer& timer)
{
    QvTimerNode node = QvMakeTimerNode(*timer);
    timer->iKind = QV_TIMER_POSTED;
    const QvTimerGuard guard;
    const UINT_PTR id = SetSystemTimer(QvTimerMilliseconds(*timer));
    timer->uSystemId = id;
    if (id != 0)
    {
        QvEnterTimer(std::move(node), id);
        timer.release()->bPublished = true; // it fires on this thread alone
    }
    return id;
}
