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

std::optional<EventUse> EventUse::of_shared(EventState* words)
{
    const uint32_t kind = words->manual_reset.load(std::memory_order_relaxed);
    if (kind > 1)
        return std::nullopt;
    return EventUse{.words = words, .is_shared = true, .is_manual_reset = kind == 1};
}

void EventUse::set() const
{
    // A waiter counts itself before it reads the word, and the word is set before the count is
    // read: one of the two sees the other.
    words->signalled.store(1, std::memory_order_seq_cst);
    if (words->waiters.load(std::memory_order_seq_cst) != 0)
        futex_wake(&words->signalled, is_manual_reset ? INT_MAX : 1, is_shared);
}

bool EventUse::try_take(uint32_t leave) const
{
    if (is_manual_reset)
        return words->signalled.load(std::memory_order_seq_cst) == 1;
    uint32_t expected = 1;
    return words->signalled.load(std::memory_order_relaxed) == 1 &&
           words->signalled.compare_exchange_strong(expected, leave, std::memory_order_seq_cst);
}

void EventUse::keep(uint32_t left) const
{
    words->signalled.compare_exchange_strong(left, 0, std::memory_order_seq_cst);
}

void EventUse::give_back(uint32_t left) const
{
    if (words->signalled.compare_exchange_strong(left, 1, std::memory_order_seq_cst) &&
        words->waiters.load(std::memory_order_seq_cst) != 0)
        futex_wake(&words->signalled, 1, is_shared);
}

DWORD EventUse::wait(DWORD milliseconds) const
{
    if (try_take())
        return WAIT_OBJECT_0;
    return milliseconds == 0 ? WAIT_TIMEOUT : wait_until(deadline_after(milliseconds));
}

DWORD EventUse::wait_until(int64_t deadline, uint32_t leave) const
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
    words->waiters.fetch_add(1, std::memory_order_seq_cst);
    DWORD result = WAIT_OBJECT_0;
    while (!try_take(leave))
    {
        const uint32_t now = words->signalled.load(std::memory_order_seq_cst);
        if (now != 1 && !futex_wait(&words->signalled, now, deadline, is_shared))
        {
            result = try_take(leave) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
            break;
        }
    }
    words->waiters.fetch_sub(1, std::memory_order_seq_cst);
    return result;
}

} // namespace platform
