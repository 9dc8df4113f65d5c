// The state of an event, in the memory of the process or shared between processes.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>

#include "windef.h"

namespace platform
{

// The words of an event.
struct EventState
{
    // The futex word: 0 or 1, or the value that a taker has left in it. Only 1 is a signal; any
    // other value, also from a foreign program, is waited on until it changes.
    std::atomic<uint32_t> signalled;
    std::atomic<uint32_t> waiters;      // an upper bound: a waiter that was killed stays counted
    std::atomic<uint32_t> manual_reset; // read once by each user: see EventUse

    // The words of a new event.
    static constexpr std::array<uint32_t, 3> image(bool manual_reset, bool initial)
    {
        return {initial, 0, manual_reset};
    }
};

static_assert(sizeof(EventState) == 12 && std::atomic<uint32_t>::is_always_lock_free);

// An event as one of its users sees it.
struct EventUse
{
    EventState* words;
    bool is_shared; // between processes
    // Fixed when the event was made or joined: a foreign program may change the word, and a wait
    // that doesn't consume the signal would then return again and again.
    bool is_manual_reset;

    // An event that was made or joined in shared memory. Nothing if the word for its kind has a
    // value that no program of ours writes.
    static std::optional<EventUse> of_shared(EventState* words);

    // Signals; wakes one waiter, or all of a manual-reset event.
    void set() const;
    void reset() const { words->signalled.store(0, std::memory_order_seq_cst); }
    // Takes the signal if there is one, and leaves the value. A manual-reset event keeps its
    // signal.
    bool try_take(uint32_t leave = 0) const;
    // End what try_take with that value began: keep consumes the signal, give_back signals again.
    // Neither undoes changes that others made to the event meanwhile.
    void keep(uint32_t left) const;
    void give_back(uint32_t left) const;
    // Waits until the signal is taken: WAIT_OBJECT_0 or WAIT_TIMEOUT.
    DWORD wait(DWORD milliseconds) const;
    // The same until a time on the monotonic clock, in nanoseconds; negative: for ever.
    DWORD wait_until(int64_t deadline, uint32_t leave = 0) const;
};

// The time at which a wait of so many milliseconds ends; -1 for INFINITE.
int64_t deadline_after(DWORD milliseconds);

// Waits on a word of 32 bits while it has the value, until the deadline (-1: none). False when the
// deadline has passed.
bool futex_wait(void* word, uint32_t value, int64_t deadline, bool shared);
void futex_wake(void* word, int count, bool shared);

} // namespace platform
