// Message timers.
//
// A timer keeps to the grid of its periods, counted from the moment it was set: however late its
// messages are removed, the rate doesn't drift. A window chooses its timers' ids. Ids of timers
// without a window are unique in the process and are only reused after four thousand million
// others, so that the message of a timer that was ended can't be taken for that of another.
#include <algorithm>
#include <new>

#include "message_queue.h"
#include "system/clock.h"
#include "system/exception_guard.h"
#include "system/faults.h"
#include "system/last_error.h"

using namespace platform;

namespace
{

constexpr int64_t nanoseconds_per_millisecond = 1'000'000;

// Begins far from the small numbers that programs choose themselves.
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
    Key key{window, id};
    if (window)
        key.second = std::max<UINT_PTR>(id, 1); // 0 would mean failure
    const auto found = m_timers.find(key);
    if (found != m_timers.end())
    {
        move_on(found, timer.due);
        found->second = timer;
        return key.second;
    }
    if (!window)
        do
            key.second = new_id();
        while (m_timers.count(key) != 0); // once all numbers have been used
    const auto moment = m_moments.emplace(timer.due, key).first;
    try
    {
        m_timers.emplace(key, timer);
    }
    catch (const std::bad_alloc&)
    {
        m_moments.erase(moment);
        throw;
    }
    return key.second;
}

bool MessageTimers::kill(HWND window, UINT_PTR id)
{
    const auto found = m_timers.find({window, id});
    if (found == m_timers.end())
        return false;
    m_moments.erase({found->second.due, found->first});
    m_timers.erase(found);
    return true;
}

void MessageTimers::kill_all(HWND window)
{
    for (auto each = m_timers.lower_bound({window, 0});
         each != m_timers.end() && each->first.first == window; each = m_timers.erase(each))
        m_moments.erase({each->second.due, each->first});
}

// Reuses the same node, so no memory is needed.
void MessageTimers::move_on(const Timers::iterator& timer, int64_t due)
{
    auto moment = m_moments.extract({timer->second.due, timer->first});
    timer->second.due = moment.value().first = due;
    m_moments.insert(std::move(moment));
}

MessageTimers::Moments::const_iterator MessageTimers::earliest(const MessageFilter& filter) const
{
    if (!filter.takes(WM_TIMER))
        return m_moments.end();
    return std::find_if(m_moments.begin(), m_moments.end(),
                        [&filter](const auto& moment)
                        { return filter.takes(moment.second.first); });
}

bool MessageTimers::take(MSG& message, const MessageFilter& filter, int64_t now, bool remove)
{
    const auto moment = earliest(filter);
    if (moment == m_moments.end() || moment->first > now)
        return false;
    const auto found = m_timers.find(moment->second);
    const Timer& timer = found->second;
    message = {};
    message.hwnd = found->first.first;
    message.message = WM_TIMER;
    message.wParam = found->first.second;
    message.lParam = reinterpret_cast<LPARAM>(timer.procedure);
    message.time = millisecond_tick();
    if (remove)
        move_on(found, timer.due + ((now - timer.due) / timer.period + 1) * timer.period);
    return true;
}

int64_t MessageTimers::next_due(const MessageFilter& filter) const
{
    const auto moment = earliest(filter);
    return moment == m_moments.end() ? -1 : moment->first;
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
    catch (const std::exception& exception)
    {
        return failed_by(exception, UINT_PTR{});
    }
}

extern "C" BOOL KillTimer(HWND window, UINT_PTR id)
{
    MessageQueue* const queue = MessageQueue::own();
    if (!queue || !is_own_or_none(window))
        return FALSE;
    return queue->timers().kill(window, id) ? TRUE : fail_with(ERROR_INVALID_PARAMETER);
}
