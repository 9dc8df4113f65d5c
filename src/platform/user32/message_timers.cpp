// Message timers.
//
// A timer keeps to the grid of its periods, counted from the moment it was set: however late its
// messages are taken out, the rate doesn't drift. A window's timers have the ids that it gives. Ids
// of timers without a window are of the whole process and come back only after four thousand
// million others, so that the message of a timer that was ended can't be taken for that of another.
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

// A timer belongs to the thread of its window. False with the last error set.
bool is_own_or_none(HWND window)
{
    if (!window)
        return true;
    const DWORD thread = GetWindowThreadProcessId(window, nullptr);
    return thread == GetCurrentThreadId() ||
           fail_with(thread ? ERROR_WINDOW_OF_OTHER_THREAD : ERROR_INVALID_WINDOW_HANDLE);
}

} // namespace

namespace platform
{

UINT_PTR MessageTimers::set(HWND window, UINT_PTR id, UINT milliseconds, TIMERPROC procedure)
{
    const int64_t period = std::clamp(milliseconds, USER_TIMER_MINIMUM, USER_TIMER_MAXIMUM) *
                           nanoseconds_per_millisecond;
    const Timer timer{monotonic_ns() + period, period, procedure};
    if (window)
    {
        id = std::max<UINT_PTR>(id, 1); // 0 would say that it failed
        m_timers.insert_or_assign({window, id}, timer);
        return id;
    }
    const auto found = m_timers.find({nullptr, id});
    if (found != m_timers.end())
    {
        found->second = timer;
        return id;
    }
    auto made = m_timers.emplace(std::pair{window, new_id()}, timer);
    while (!made.second) // after all numbers have been through
        made = m_timers.emplace(std::pair{window, new_id()}, timer);
    return made.first->first.second;
}

void MessageTimers::kill_all(HWND window)
{
    std::erase_if(m_timers, [window](const auto& each) { return each.first.first == window; });
}

MessageTimers::Timers::const_iterator MessageTimers::earliest(const MessageFilter& filter) const
{
    auto found = m_timers.end();
    if (filter.takes(WM_TIMER))
        for (auto each = m_timers.begin(); each != m_timers.end(); ++each)
            if (filter.takes(each->first.first) &&
                (found == m_timers.end() || each->second.due < found->second.due))
                found = each;
    return found;
}

bool MessageTimers::take(MSG& message, const MessageFilter& filter, int64_t now, bool remove)
{
    const auto found = earliest(filter);
    if (found == m_timers.end() || found->second.due > now)
        return false;
    message = {};
    message.hwnd = found->first.first;
    message.message = WM_TIMER;
    message.wParam = found->first.second;
    message.lParam = reinterpret_cast<LPARAM>(found->second.procedure);
    message.time = millisecond_tick();
    if (remove)
    {
        Timer& timer = m_timers.find(found->first)->second;
        timer.due += ((now - timer.due) / timer.period + 1) * timer.period;
    }
    return true;
}

int64_t MessageTimers::next_due(const MessageFilter& filter) const
{
    const auto found = earliest(filter);
    return found == m_timers.end() ? -1 : found->second.due;
}

} // namespace platform

extern "C" UINT_PTR SetTimer(HWND window, UINT_PTR id, UINT milliseconds, TIMERPROC procedure)
{
    int error = 0;
    if (api_fault("SetTimer", error))
        return static_cast<UINT_PTR>(fail_with(static_cast<DWORD>(error)));
    MessageQueue* const queue = MessageQueue::own();
    if (!queue || !is_own_or_none(window))
        return 0;
    try
    {
        return queue->timers().set(window, id, milliseconds, procedure);
    }
    catch (const std::bad_alloc&)
    {
        return static_cast<UINT_PTR>(fail_with(ERROR_NOT_ENOUGH_MEMORY));
    }
}

extern "C" BOOL KillTimer(HWND window, UINT_PTR id)
{
    MessageQueue* const queue = MessageQueue::own();
    if (!queue || !is_own_or_none(window))
        return FALSE;
    return queue->timers().kill(window, id) ? TRUE : fail_with(ERROR_INVALID_PARAMETER);
}
