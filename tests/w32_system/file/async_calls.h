// Collects the callbacks of an asynchronous transfer, and holds them if a test wants to step
// through them.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <ostream>
#include <semaphore>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <plinth_w32_system.h>

namespace test
{

struct AsyncCall
{
    int status;
    uint64_t size; // only of a copy
    uint64_t done;
    bool operator==(const AsyncCall&) const = default;
};
using Calls = std::vector<AsyncCall>;
inline constexpr int more = QV_ERR_INPROGRESS;

inline void PrintTo(const AsyncCall& call, std::ostream* out)
{
    *out << "(" << call.status << ", " << call.size << ", " << call.done << ")";
}

// Pass its functions and its address to one transfer. It must outlive the transfer.
class AsyncCalls
{
public:
    explicit AsyncCalls(bool held = false) : m_held(held) { m_calls.reserve(100); }
    AsyncCalls(const AsyncCalls&) = delete;
    AsyncCalls& operator=(const AsyncCalls&) = delete;

    std::function<void()> act; // called first in each callback

    QvAsyncIo io(uint64_t offset = 0) { return {offset, this, on_io}; }
    int read(QvFile file, void* buffer, uint64_t size)
    {
        const QvAsyncIo from_start = io();
        return QV_ReadFile(file, buffer, size, nullptr, &from_start);
    }
    int copy(const wchar_t* from, const wchar_t* to, int fail_if_exists = 0,
             const volatile uint32_t* proceed = nullptr)
    {
        return QV_CopyFile(from, to, fail_if_exists, proceed, on_copy, this);
    }
    static void on_io(int status, uint64_t done, void* self)
    {
        static_cast<AsyncCalls*>(self)->add({status, 0, done});
    }
    static void on_copy(int status, uint64_t size, uint64_t copied, void* self)
    {
        static_cast<AsyncCalls*>(self)->add({status, size, copied});
    }

    // Waits for a callback with a status other than more, and returns all callbacks so far.
    Calls wait()
    {
        return wait_until([&] { return m_calls.back().status != more; });
    }
    Calls wait_for(int status)
    {
        return wait_until([&] { return m_calls.back().status == status; });
    }
    Calls wait_for_count(size_t count)
    {
        return wait_until([&] { return m_calls.size() >= count; });
    }
    size_t count()
    {
        const std::lock_guard lock(m_mutex);
        return m_calls.size();
    }

    // A held callback waits for these: step() releases the current or the next one, let_go() all
    // from now on.
    void step() { m_steps.release(); }
    void let_go() { m_steps.release(1 << 20); }

private:
    template <class Condition> Calls wait_until(Condition condition)
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return !m_calls.empty() && condition(); });
        return m_calls;
    }

    void add(const AsyncCall& call)
    {
        if (act)
            act();
        {
            const std::lock_guard lock(m_mutex);
            m_calls.push_back(call);
            m_changed.notify_all();
        }
        if (m_held)
            m_steps.acquire();
    }

    const bool m_held;
    std::counting_semaphore<> m_steps{0};
    std::mutex m_mutex;
    std::condition_variable m_changed;
    Calls m_calls;
};

// Returns when the steps under way have ended, and so the files of copies are closed.
inline void wait_for_steps()
{
    QV_CancelAsyncIO(nullptr);
}

// The callbacks of a read or write; a refusal is reported as a call with 77 bytes.
inline Calls transfer(bool writing, QvFile file, void* buffer, uint64_t size, uint64_t offset = 0)
{
    AsyncCalls calls;
    const QvAsyncIo io = calls.io(offset);
    uint64_t done = 77;
    const int status = writing ? QV_WriteFile(file, buffer, size, &done, &io)
                               : QV_ReadFile(file, buffer, size, &done, &io);
    EXPECT_EQ(done, 77u) << "the outcome goes to the callback alone";
    const Calls seen = status == QV_OK ? calls.wait() : Calls{{status, 0, done}};
    wait_for_steps();
    return seen;
}

} // namespace test
