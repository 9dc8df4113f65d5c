// Callbacks of timers that a test counts, waits for and lets answer.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>

#include <gtest/gtest.h>

#include <plinth_w32_system.h>

namespace test
{

class TimerCalls
{
public:
    // What each call does and answers, by its number from 1 on. Without it the timer goes on.
    std::function<int(int)> act;
    // What QV_GetTimerInfo shows within a call; the last one's.
    QvTimerInfo info = {};

    uintptr_t set(double milliseconds, int calls, int precision, int catch_up = 1)
    {
        return QV_SetThreadedTimer(callback, this, milliseconds, calls, precision, catch_up);
    }
    // Sets the timer, waits for its end and gives the number of its calls.
    int run(double milliseconds, int calls, int precision, int catch_up = 1)
    {
        const uintptr_t id = set(milliseconds, calls, precision, catch_up);
        EXPECT_NE(id, 0u);
        EXPECT_EQ(QV_WaitForTimer(static_cast<unsigned int>(id)), QV_OK);
        return count();
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

    static int callback(void* calls)
    {
        auto& self = *static_cast<TimerCalls*>(calls);
        EXPECT_EQ(QV_GetTimerInfo(QV_GetTimerRecord(0), &self.info), QV_OK);
        const int answer = self.act ? self.act(self.count() + 1) : 1;
        const std::lock_guard lock(self.m_mutex);
        ++self.m_count;
        self.m_changed.notify_all();
        return answer;
    }

private:
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
