// The callbacks of an asynchronous transfer, collected, and held where a test wants to step them.
#pragma once

#include <condition_variable>
#include <mutex>
#include <ostream>
#include <thread>
#include <vector>

#include <plinth_w32_system.h>

namespace test
{

struct AsyncCall
{
    int status;
    uint64_t size; // of a copy; of a read or write always 0
    uint64_t done;
    bool operator==(const AsyncCall&) const = default;
};

inline void PrintTo(const AsyncCall& call, std::ostream* out)
{
    *out << "(" << call.status << ", " << call.size << ", " << call.done << ")";
}

// Give its functions and itself to one transfer. It outlives the transfer.
class AsyncCalls
{
public:
    explicit AsyncCalls(bool held = false) : m_held(held) {}
    AsyncCalls(const AsyncCalls&) = delete;
    AsyncCalls& operator=(const AsyncCalls&) = delete;

    QvAsyncIo io(uint64_t offset = 0) { return {offset, this, on_io}; }
    static void on_io(int status, uint64_t done, void* self)
    {
        static_cast<AsyncCalls*>(self)->add({status, 0, done});
    }
    static void on_copy(int status, uint64_t size, uint64_t copied, void* self)
    {
        static_cast<AsyncCalls*>(self)->add({status, size, copied});
    }

    // Waits for a callback with another status than that, and gives all that came.
    std::vector<AsyncCall> wait()
    {
        return wait_until([&] { return m_calls.back().status != QV_ERR_INPROGRESS; });
    }
    std::vector<AsyncCall> wait_for(int status)
    {
        return wait_until([&] { return m_calls.back().status == status; });
    }
    std::vector<AsyncCall> wait_for_count(size_t count)
    {
        return wait_until([&] { return m_calls.size() >= count; });
    }
    size_t count()
    {
        const std::lock_guard lock(m_mutex);
        return m_calls.size();
    }
    std::thread::id thread() // of the last callback
    {
        const std::lock_guard lock(m_mutex);
        return m_thread;
    }

    // Held callbacks stay until this: the one that is there or comes next, or all from now on.
    void step()
    {
        const std::lock_guard lock(m_mutex);
        ++m_steps;
        m_changed.notify_all();
    }
    void let_go()
    {
        const std::lock_guard lock(m_mutex);
        m_held = false;
        m_changed.notify_all();
    }

private:
    template <class Condition> std::vector<AsyncCall> wait_until(Condition condition)
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return !m_calls.empty() && condition(); });
        return m_calls;
    }

    void add(const AsyncCall& call)
    {
        std::unique_lock lock(m_mutex);
        m_calls.push_back(call);
        m_thread = std::this_thread::get_id();
        m_changed.notify_all();
        m_changed.wait(lock, [&] { return !m_held || m_steps > 0; });
        if (m_held)
            --m_steps;
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<AsyncCall> m_calls;
    std::thread::id m_thread;
    bool m_held;
    unsigned m_steps = 0;
};

// Returns when the steps under way have ended, and with them the files of copies are closed.
inline void wait_for_steps()
{
    QV_CancelAsyncIO(nullptr);
}

// Content that tells one place from another.
inline std::string pattern(size_t size)
{
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<char>((i * 31 + i / 256) & 0xff);
    return bytes;
}

} // namespace test
