// A turn: a lock that is waited for within limits, and that a dead or a stuck holder doesn't keep.
#pragma once

#include <atomic>
#include <cstdint>

namespace platform
{

// Where a turn lies: in the memory of a process, or shared between processes. Two words of zeroes.
struct TurnWords
{
    std::atomic<uint32_t>& turn;   // whose turn it is, 0: nobody's
    std::atomic<uint32_t>& jammed; // the turn that somebody has waited for in vain
    bool shared;
};

// The first word holds the thread's number (22 bits: the kernel has no greater ones), a count that
// differs from one turn of the thread to its next (9 bits), and whether somebody waits (1 bit). A
// lock of the C library would end the process if somebody damaged its words in shared memory; here
// any value in them is given up or replaced after one wait.
//
// A turn is taken over from a thread that is no more. Between processes it is also taken over from
// one that has had it for as long as somebody could wait: that one was stopped, or never was. It
// must look again whether the turn is still its own before it writes. Within a process a stuck turn
// is left alone, but nobody waits for it any more.
class Turn
{
public:
    // Waits for the turn, not beyond the deadline (ns, monotonic clock). wanted: false takes none.
    // Who waits for less than nearly the whole patience (ns) doesn't say that a turn is stuck.
    Turn(const TurnWords& words, int64_t deadline, int64_t patience, bool wanted = true);
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn();
    bool taken() const;
    uint32_t number() const { return m_mine; } // above 1, and another one for each turn

private:
    bool wait(int64_t deadline, int64_t patience) const;

    const TurnWords m_words;
    const uint32_t m_mine;
};

} // namespace platform
