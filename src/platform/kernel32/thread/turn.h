// A turn: a lock with a limited wait, which a dead or stuck holder doesn't keep.
#pragma once

#include <atomic>
#include <cstdint>

namespace platform
{

// The words of a turn: in the memory of a process, or shared between processes. Two words of
// zeroes.
struct TurnWords
{
    std::atomic<uint32_t>& turn;   // the current turn, 0: none
    std::atomic<uint32_t>& jammed; // the turn that a thread has waited for in vain
    bool shared;
};

// The first word holds the thread's number (22 bits: the kernel has no greater ones), a count that
// differs from one turn of the thread to its next (9 bits), and whether a thread waits (1 bit). A
// lock of the C library would end the process if another program damaged its words in shared
// memory; here any value in them is given up or replaced after one wait.
//
// A turn is taken over from a thread that no longer exists. Between processes it is also taken over
// from a thread that has had it for the longest time that a waiter waits: that thread was stopped,
// or never existed. It must check that it still has the turn before it writes. Within a process a
// stuck turn is left alone, but no thread waits for it any more.
class Turn
{
public:
    // Waits for the turn until the deadline (ns, monotonic clock). wanted: false doesn't take the
    // turn. A thread that waits for less than 90 % of the patience (ns) doesn't mark a turn as
    // stuck.
    Turn(const TurnWords& words, int64_t deadline, int64_t patience, bool wanted = true);
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn();
    bool taken() const;
    uint32_t number() const { return m_mine; } // above 1, different for each turn

private:
    bool wait(int64_t deadline, int64_t patience) const;

    const TurnWords m_words;
    const uint32_t m_mine;
};

} // namespace platform
