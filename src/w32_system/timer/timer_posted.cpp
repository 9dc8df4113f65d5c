// Timers that use message timers of the thread that sets them.
#include "timer_routes.h"

#include <cfloat>

#include <windows.h>

namespace
{

// The masks of all floating-point exceptions, including the one for denormal operands.
constexpr unsigned int all_masked = 0x8001F;

// The thread returns to its message pump with all exceptions masked, whatever the callback changed.
void MaskFloatingPointExceptions()
{
    if ((_controlfp(0, 0) & all_masked) != all_masked)
        _controlfp(all_masked, all_masked);
    if ((_control87(0, 0) & all_masked) != all_masked)
        _control87(all_masked, all_masked);
}

void CALLBACK PostedTimerProc(HWND, UINT, UINT_PTR id, DWORD)
{
    QvTimer* timer;
    {
        const QvTimerGuard guard;
        timer = QvFindTimer(id);
        // A late message of a timer that has ended; a timer of another kind may have its number
        // now.
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

// Needs gs_TimerLock. Returns an id of at most 32 bits that no other timer has, or 0.
UINT_PTR SetSystemTimer(UINT milliseconds)
{
    UINT_PTR id = SetTimer(nullptr, 0, milliseconds, PostedTimerProc);
    while (id != 0 && QvFindTimer(id))
    {
        // The new timer is set first, so that the system can't return the same id again.
        const UINT_PTR other = SetTimer(nullptr, 0, milliseconds, PostedTimerProc);
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
        timer.release()->bPublished = true; // it fires only on this thread
    }
    return id;
}
