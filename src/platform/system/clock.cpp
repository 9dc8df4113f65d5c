// The clocks and their shifts. Each shift is one word, 0 unless a test has set it.
#include "clock.h"

#include <atomic>

#include "calls.h"
#include "clock_shift.h"

namespace platform
{

namespace
{

std::atomic<int64_t> g_wall_shift_ms{0};
std::atomic<uint32_t> g_tick_shift{0};

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

void ask_for_fine_timers()
{
    static thread_local bool asked = false;
    if (!asked)
        asked = sys::set_timer_slack(1) == 0;
}

uint32_t millisecond_tick()
{
    return static_cast<uint32_t>(monotonic_ns() / 1'000'000) +
           g_tick_shift.load(std::memory_order_relaxed);
}

void shift_wall_clock(int64_t milliseconds)
{
    g_wall_shift_ms = milliseconds;
}

void set_millisecond_tick(uint32_t tick)
{
    g_tick_shift = tick - static_cast<uint32_t>(monotonic_ns() / 1'000'000);
}

void reset_clock_shifts()
{
    g_wall_shift_ms = 0;
    g_tick_shift = 0;
}

} // namespace platform
