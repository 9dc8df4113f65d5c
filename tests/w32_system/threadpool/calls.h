// Calls for the pool that a test holds and lets go, and what became of the threads that ran them.
#pragma once

#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>

#include <plinth_w32_system.h>

namespace test
{

// How many threads that ran a call have ended.
class ThreadEnds
{
public:
    // Waits until so many have ended in this process, in all.
    static void wait_for(int count)
    {
        std::unique_lock lock(s_mutex);
        s_changed.wait(lock, [&] { return s_count >= count; });
    }
    static int count()
    {
        const std::lock_guard lock(s_mutex);
        return s_count;
    }
    // The calling thread is to be counted at its end.
    static void watch_this_thread() { static thread_local const Notice notice; }

private:
    struct Notice
    {
        ~Notice()
        {
            const std::lock_guard lock(s_mutex);
            ++s_count;
            s_changed.notify_all();
        }
    };
    // Never destroyed: a pool's last threads may end while the process does.
    static inline std::mutex& s_mutex = *new std::mutex;
    static inline std::condition_variable& s_changed = *new std::condition_variable;
    static inline int s_count = 0;
};

// One call: starts, tells its thread, and stays until it is let go.
class HeldCall
{
public:
    explicit HeldCall(CThreadPool* pool)
        : m_status(pool->MakeCallFromThreadPool(
              [](void* self) -> void*
              {
                  static_cast<HeldCall*>(self)->run();
                  return nullptr;
              },
              this))
    {
    }
    ~HeldCall() { finish(); }
    HeldCall(const HeldCall&) = delete;
    HeldCall& operator=(const HeldCall&) = delete;

    int status() const { return m_status; }

    std::thread::id thread()
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_started; });
        return m_thread;
    }

    // Lets it go and waits until it is about to return.
    void finish()
    {
        std::unique_lock lock(m_mutex);
        m_released = true;
        m_changed.notify_all();
        m_changed.wait(lock, [&] { return m_finished || m_status != QV_OK; });
    }

private:
    void run()
    {
        ThreadEnds::watch_this_thread();
        std::unique_lock lock(m_mutex);
        m_thread = std::this_thread::get_id();
        m_started = true;
        m_changed.notify_all();
        m_changed.wait(lock, [&] { return m_released; });
        m_finished = true;
        m_changed.notify_all();
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_started = false;
    bool m_released = false;
    bool m_finished = false;
    std::thread::id m_thread;
    const int m_status; // last: the call may run before the constructor is through
};

} // namespace test
