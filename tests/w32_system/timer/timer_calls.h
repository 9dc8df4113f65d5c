// Callbacks of timers that a test counts, waits for and lets answer.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>

#include <plinth_w32_system.h>

namespace test
{

class TimerCalls
{
public:
    // What each call does and answers, by its number from 1 on. Without it the timer goes on.
    std::function<int(int)> act;

    uintptr_t set(double milliseconds, int calls, int precision, int catch_up = 1)
    {
        return QV_SetThreadedTimer(callback, this, milliseconds, calls, precision, catch_up);
    }
    int count()
    {
        const std::lock_guard lock(m_mutex);
        return m_count;
    }
    void wait_for(int calls)
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_count >= calls; });
    }

    static int callback(void* self) { return static_cast<TimerCalls*>(self)->run(); }

private:
    int run()
    {
        int number;
        {
            const std::lock_guard lock(m_mutex);
            number = m_count + 1;
        }
        const int answer = act ? act(number) : 1;
        const std::lock_guard lock(m_mutex);
        ++m_count;
        m_changed.notify_all();
        return answer;
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_count = 0;
};

// Ids are pointer-sized as they are given, and 32 bits wide as they are taken.
inline int kill(uintptr_t id)
{
    return QV_KillTimerAsync(static_cast<unsigned int>(id));
}
inline int wait(uintptr_t id)
{
    return QV_WaitForTimer(static_cast<unsigned int>(id));
}
inline const QvTimerRecord* record_of(uintptr_t id)
{
    return QV_GetTimerRecord(static_cast<unsigned int>(id));
}

// Dispatches the messages of this thread as they come until the condition holds, which is looked at
// after each.
template <class Condition> void pump_until(Condition condition)
{
    MSG message;
    while (!condition() && GetMessageW(&message, nullptr, 0, 0) > 0)
        DispatchMessageW(&message);
}

} // namespace test
