// The clocks and what tests do to them, each one word.
#include "clock.h"

#include <atomic>

#include "calls.h"
#include "clock_shift.h"

namespace platform
{

namespace
{

std::atomic<int64_t> g_wall_shift_ms{0};
std::atomic<int64_t> g_held_tick{-1}; // -1: the tick runs
std::atomic<int64_t> g_patience_shift_ns{0};

} // namespace

bool wall_clock(timespec& now)
{
    if (sys::clock_gettime(CLOCK_REALTIME, &now) != 0)
        return false;
    if (const int64_t shift = g_wall_shift_ms.load(std::memory_order_relaxed)) [[unlikely]]
    {
        int64_t nanoseconds = now.tv_nsec + shift % 1000 * 1'000'000;
        now.tv_sec += shift / 1000;
        if (nanoseconds < 0)
        {
            nanoseconds += 1'000'000'000;
            --now.tv_sec;
        }
        else if (nanoseconds >= 1'000'000'000)
        {
            nanoseconds -= 1'000'000'000;
            ++now.tv_sec;
        }
        now.tv_nsec = nanoseconds;
    }
    return true;
}

int64_t monotonic_ns()
{
    timespec now;
    ::clock_gettime(CLOCK_MONOTONIC, &now); // can't fail for this clock
    return now.tv_sec * int64_t{1'000'000'000} + now.tv_nsec;
}

int64_t patience_clock_ns()
{
    return monotonic_ns() + g_patience_shift_ns.load(std::memory_order_relaxed);
}

void ask_for_fine_timers()
{
    static thread_local bool asked = false;
    if (!asked)
        asked = sys::set_timer_slack(1) == 0;
}

uint32_t millisecond_tick()
{
    const int64_t held = g_held_tick.load(std::memory_order_relaxed);
    return static_cast<uint32_t>(held < 0 ? monotonic_ns() / 1'000'000 : held);
}

void shift_wall_clock(int64_t milliseconds)
{
    g_wall_shift_ms = milliseconds;
}

void hold_millisecond_tick(uint32_t tick)
{
    g_held_tick = tick;
}

void shift_patience_clock(int64_t milliseconds)
{
    g_patience_shift_ns = milliseconds * 1'000'000;
}

void reset_clock_shifts()
{
    g_patience_shift_ns = 0;
    g_wall_shift_ms = 0;
    g_held_tick = -1;
}

} // namespace platform
