#include "event_state.h"

#include <algorithm>
#include <climits>

#include "system/calls.h"
#include "system/clock.h"
#include "system/lock_wait.h"
#include "winbase.h"

namespace platform
{

namespace
{

// How long a wait reads the word before it sleeps in the kernel: about as long as a wake-up takes,
// 5 to 35 us on the machines measured, so that an idle waiter at most doubles its cost. A partner
// on another processor answers in one or two. Texts from one process to a capture object (channel/1
// writer of the benchmarks) took 28 to 39 us each when it read for 2 us, 9 with 6, 3 to 6 with 10,
// and 1.2 with 20. The limit is a time and not a number of reads, as one read takes ten times as
// long on some processors as on others.
constexpr int64_t spin_time = 20'000; // ns
constexpr int looks_between_clocks = 64;

} // namespace

int64_t deadline_after(DWORD milliseconds)
{
    return milliseconds == INFINITE ? -1 : monotonic_ns() + milliseconds * int64_t{1'000'000};
}

bool futex_wait(void* word, uint32_t value, int64_t deadline, bool shared)
{
    timespec until;
    if (deadline >= 0)
    {
        until.tv_sec = deadline / 1'000'000'000;
        until.tv_nsec = deadline % 1'000'000'000;
    }
    // The bitset form takes an absolute time on the monotonic clock.
    const int operation = FUTEX_WAIT_BITSET | (shared ? 0 : FUTEX_PRIVATE_FLAG);
    return sys::futex(word, operation, value, deadline >= 0 ? &until : nullptr) == 0 ||
           errno != ETIMEDOUT;
}

void futex_wake(void* word, int count, bool shared)
{
    sys::futex(word, FUTEX_WAKE | (shared ? 0 : FUTEX_PRIVATE_FLAG), static_cast<uint32_t>(count),
               nullptr);
}

void EventState::set(bool shared)
{
    // A waiter counts itself before it reads the word, and the word is set before the count is
    // read: one of the two sees the other.
    signalled.store(1, std::memory_order_seq_cst);
    if (waiters.load(std::memory_order_seq_cst) != 0)
        futex_wake(&signalled, manual_reset.load(std::memory_order_relaxed) ? INT_MAX : 1, shared);
}

bool EventState::try_take(uint32_t leave)
{
    if (manual_reset.load(std::memory_order_relaxed))
        return signalled.load(std::memory_order_seq_cst) == 1;
    uint32_t expected = 1;
    return signalled.load(std::memory_order_relaxed) == 1 &&
           signalled.compare_exchange_strong(expected, leave, std::memory_order_seq_cst);
}

void EventState::keep(uint32_t left)
{
    signalled.compare_exchange_strong(left, 0, std::memory_order_seq_cst);
}

void EventState::give_back(uint32_t left, bool shared)
{
    if (signalled.compare_exchange_strong(left, 1, std::memory_order_seq_cst) &&
        waiters.load(std::memory_order_seq_cst) != 0)
        futex_wake(&signalled, 1, shared);
}

DWORD EventState::wait(DWORD milliseconds, bool shared)
{
    if (try_take())
        return WAIT_OBJECT_0;
    return milliseconds == 0 ? WAIT_TIMEOUT : wait_until(deadline_after(milliseconds), shared);
}

DWORD EventState::wait_until(int64_t deadline, bool shared, uint32_t leave)
{
    const int64_t longest = monotonic_ns() + spin_time;
    const int64_t spin_end = deadline < 0 ? longest : std::min(deadline, longest);
    do
        for (int i = 0; i < looks_between_clocks; ++i)
        {
            if (try_take(leave))
                return WAIT_OBJECT_0;
            relax();
        }
    while (monotonic_ns() < spin_end);
    waiters.fetch_add(1, std::memory_order_seq_cst);
    DWORD result = WAIT_OBJECT_0;
    while (!try_take(leave))
    {
        const uint32_t now = signalled.load(std::memory_order_seq_cst);
        if (now != 1 && !futex_wait(&signalled, now, deadline, shared))
        {
            result = try_take(leave) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
            break;
        }
    }
    waiters.fetch_sub(1, std::memory_order_seq_cst);
    return result;
}

} // namespace platform
