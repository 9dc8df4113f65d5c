// Calls of the pool that a test holds and releases, and the ends of the threads that ran them.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>

#include <plinth_w32_system.h>

namespace test
{

// The number of ended threads of this process that ran a held call.
struct ThreadEnds
{
    static inline std::atomic<int> count{0};
    static void wait_for(int wanted)
    {
        for (int now; (now = count) < wanted;)
            count.wait(now);
    }
    ~ThreadEnds()
    {
        ++count;
        count.notify_all();
    }
};

// One call: it starts, stores its thread's id, and waits until it is released.
class HeldCall
{
public:
    explicit HeldCall(CThreadPool* pool) : m_status(pool->MakeCallFromThreadPool(run, this)) {}
    ~HeldCall() { finish(); }
    HeldCall(const HeldCall&) = delete;
    HeldCall& operator=(const HeldCall&) = delete;

    int status() const { return m_status; }

    std::thread::id thread()
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_thread != std::thread::id(); });
        return m_thread;
    }

    // Releases it and waits until it is about to return.
    void finish()
    {
        std::unique_lock lock(m_mutex);
        m_released = true;
        m_changed.notify_all();
        m_changed.wait(lock, [&] { return m_finished || m_status != QV_OK; });
    }

private:
    static void* run(void* call)
    {
        static thread_local const ThreadEnds end;
        auto& self = *static_cast<HeldCall*>(call);
        std::unique_lock lock(self.m_mutex);
        self.m_thread = std::this_thread::get_id();
        self.m_changed.notify_all();
        self.m_changed.wait(lock, [&] { return self.m_released; });
        self.m_finished = true;
        self.m_changed.notify_all();
        return nullptr;
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_released = false;
    bool m_finished = false;
    std::thread::id m_thread; // set once the call has started
    const int m_status;       // last: the call may run before the constructor ends
};

} // namespace test
