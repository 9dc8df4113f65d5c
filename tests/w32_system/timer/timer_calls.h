// Callbacks of timers that a test counts, waits for and answers.
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
    // The action and the answer of each call, by its number from 1 on. Without it the timer
    // continues.
    std::function<int(int)> act;
    // The result of QV_GetTimerInfo within the last call.
    QvTimerInfo info = {};

    uintptr_t set(double milliseconds, int calls, int precision, int catch_up = 1)
    {
        return QV_SetThreadedTimer(callback, this, milliseconds, calls, precision, catch_up);
    }
    // Sets the timer, waits for its end and returns the number of its calls.
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

// The library returns ids of pointer size, but takes ids of 32 bits.
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

// Dispatches the messages of this thread until the condition is true, which is checked after each
// message.
template <class Condition> void pump_until(Condition condition)
{
    MSG message;
    while (!condition() && GetMessageW(&message, nullptr, 0, 0) > 0)
        DispatchMessageW(&message);
}

} // namespace test
