#include "turn.h"

#include <algorithm>
#include <cerrno>
#include <csignal>

#include "kernel32/object/event_state.h"
#include "system/clock.h"
#include "windows.h"

namespace platform
{

namespace
{

// A holder that died wakes no waiter, so a waiter checks after this time whether the holder still
// lives.
constexpr int64_t longest_sleep = 10'000'000; // ns

constexpr uint32_t has_waiters = 1;
constexpr uint32_t thread_mask = 0x3FFFFF;
constexpr unsigned thread_shift = 1;
constexpr unsigned count_shift = 23;

uint32_t next_turn()
{
    static thread_local uint32_t count = 0;
    return ++count << count_shift | (GetCurrentThreadId() & thread_mask) << thread_shift;
}

bool holder_is_gone(uint32_t holder)
{
    const auto thread = static_cast<pid_t>((holder >> thread_shift) & thread_mask);
    return thread == 0 || (::kill(thread, 0) != 0 && errno == ESRCH);
}

} // namespace

Turn::Turn(const TurnWords& words, int64_t deadline, int64_t patience, bool wanted)
    : m_words(words), m_mine(next_turn())
{
    uint32_t expected = 0;
    const bool taken = wanted && (m_words.turn.compare_exchange_strong(expected, m_mine) ||
                                  wait(deadline, patience));
    if (taken && m_words.jammed.load(std::memory_order_relaxed) != 0)
        m_words.jammed = 0;
}

bool Turn::wait(int64_t deadline, int64_t patience) const
{
    std::atomic<uint32_t>& turn = m_words.turn;
    const bool may_judge = deadline - monotonic_ns() >= patience / 10 * 9;
    uint32_t first = turn.load() & ~has_waiters; // the turn found at the start
    uint32_t slept_on = 0;                       // the turn during which this thread slept last
    for (;;)
    {
        uint32_t now = turn.load();
        const uint32_t holder = now & ~has_waiters;
        const bool is_stuck = holder == m_words.jammed;
        const bool is_free =
            holder == 0 || (is_stuck && m_words.shared) ||
            (holder == slept_on && holder_is_gone(holder)); // a system call, so not at each round
        // Others may wait too: a thread that has waited wakes one of them at its end.
        if (is_free && turn.compare_exchange_strong(now, m_mine | has_waiters))
            return true;
        if (is_free)
            continue;
        const int64_t moment = monotonic_ns();
        if (moment >= deadline || (is_stuck && holder == slept_on))
        {
            if (holder == first && may_judge) // else the turn may still move, slowly
                m_words.jammed = holder;
            return false;
        }
        if (holder != first)
            first = 0;
        if ((now & has_waiters) == 0 && !turn.compare_exchange_strong(now, now | has_waiters))
            continue;
        slept_on = holder;
        futex_wait(&turn, now | has_waiters,
                   is_stuck ? moment : std::min(deadline, moment + longest_sleep), m_words.shared);
    }
}

bool Turn::taken() const
{
    return (m_words.turn.load(std::memory_order_relaxed) & ~has_waiters) == m_mine;
}

Turn::~Turn()
{
    uint32_t now = m_words.turn.load(std::memory_order_relaxed);
    while ((now & ~has_waiters) == m_mine)
        if (m_words.turn.compare_exchange_weak(now, 0))
        {
            if ((now & has_waiters) != 0)
                futex_wake(&m_words.turn, 1, m_words.shared);
            return;
        }
}

} // namespace platform
