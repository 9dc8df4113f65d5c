// Message timers.
//
// A timer keeps to the grid of its periods, counted from the moment it was set: however late its
// messages are taken out, the rate doesn't drift. Ids of timers without a window are of the whole
// process and come back only after four thousand million others, so that the message of a timer
// that was ended can't be taken for that of another.
#include <algorithm>
#include <new>

#include "message_queue.h"
#include "system/clock.h"
#include "system/faults.h"
#include "system/last_error.h"

using namespace platform;

namespace
{

constexpr int64_t nanoseconds_per_millisecond = 1'000'000;

// Begins far from the small numbers that programs choose for timers of their own.
std::atomic<uint32_t> g_last_id{0x40000000};

UINT_PTR new_id()
{
    uint32_t id = ++g_last_id;
    while (id == 0)
        id = ++g_last_id;
    return id;
}

} // namespace

namespace platform
{

UINT_PTR MessageTimers::set(UINT_PTR id, UINT milliseconds, TIMERPROC procedure)
{
    const int64_t period = std::clamp(milliseconds, USER_TIMER_MINIMUM, USER_TIMER_MAXIMUM) *
                           nanoseconds_per_millisecond;
    const Timer timer{monotonic_ns() + period, period, procedure};
    const auto found = m_timers.find(id);
    if (found != m_timers.end())
    {
        found->second = timer;
        return id;
    }
    auto made = m_timers.emplace(new_id(), timer);
    while (!made.second) // after all numbers have been through
        made = m_timers.emplace(new_id(), timer);
    return made.first->first;
}

MessageTimers::Timers::const_iterator MessageTimers::earliest() const
{
    return std::min_element(m_timers.begin(), m_timers.end(),
                            [](const auto& a, const auto& b)
                            { return a.second.due < b.second.due; });
}

bool MessageTimers::take(MSG& message, int64_t now, bool remove)
{
    const auto found = earliest();
    if (found == m_timers.end() || found->second.due > now)
        return false;
    message = {};
    message.message = WM_TIMER;
    message.wParam = found->first;
    message.lParam = reinterpret_cast<LPARAM>(found->second.procedure);
    message.time = millisecond_tick();
    if (remove)
    {
        Timer& timer = m_timers.find(found->first)->second;
        timer.due += ((now - timer.due) / timer.period + 1) * timer.period;
    }
    return true;
}

int64_t MessageTimers::next_due() const
{
    const auto found = earliest();
    return found == m_timers.end() ? -1 : found->second.due;
}

} // namespace platform

extern "C" UINT_PTR SetTimer(HWND window, UINT_PTR id, UINT milliseconds, TIMERPROC procedure)
{
    int error = 0;
    if (api_fault("SetTimer", error))
        return static_cast<UINT_PTR>(fail_with(static_cast<DWORD>(error)));
    if (window)
        return static_cast<UINT_PTR>(fail_with(ERROR_INVALID_WINDOW_HANDLE));
    MessageQueue* const queue = MessageQueue::own();
    if (!queue)
        return 0;
    try
    {
        return queue->timers().set(id, milliseconds, procedure);
    }
    catch (const std::bad_alloc&)
    {
        return static_cast<UINT_PTR>(fail_with(ERROR_NOT_ENOUGH_MEMORY));
    }
}

extern "C" BOOL KillTimer(HWND window, UINT_PTR id)
{
    if (window)
        return fail_with(ERROR_INVALID_WINDOW_HANDLE);
    MessageQueue* const queue = MessageQueue::own();
    if (!queue)
        return FALSE;
    return queue->timers().kill(id) ? TRUE : fail_with(ERROR_INVALID_PARAMETER);
}
