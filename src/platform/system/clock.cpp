// The clocks, each plus a test's shift.
#include "clock.h"

#include "clock_shift.h"
#include "plain_calls.h"

namespace platform
{

bool wall_clock(timespec& now)
{
    if (sys::clock_gettime(CLOCK_REALTIME, &now) != 0)
        return false;
    if (const int64_t shift = clock_shift(&ClockShifts::wall_ms)) [[unlikely]]
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

int64_t wall_seconds()
{
    timespec now;
    if (clock_shift(&ClockShifts::wall_ms)) [[unlikely]]
        return wall_clock(now) ? now.tv_sec : -1;
    return ::time(nullptr);
}

int64_t monotonic_ns()
{
    timespec now;
    ::clock_gettime(CLOCK_MONOTONIC, &now); // can't fail for this clock
    return now.tv_sec * int64_t{1'000'000'000} + now.tv_nsec;
}

int64_t patience_clock_ns()
{
    return monotonic_ns() + clock_shift(&ClockShifts::patience_ns);
}

int64_t coarse_ms()
{
    timespec now;
    ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now); // can't fail for this clock
    return now.tv_sec * int64_t{1'000} + now.tv_nsec / 1'000'000 +
           clock_shift(&ClockShifts::patience_ns) / 1'000'000;
}

void ask_for_fine_timers()
{
    static thread_local bool asked = false;
    if (!asked)
        asked = sys::set_timer_slack(1) == 0;
}

uint32_t millisecond_tick()
{
    const int64_t held = clock_shift(&ClockShifts::held_tick);
    return static_cast<uint32_t>(held ? held - 1 : monotonic_ns() / 1'000'000);
}

} // namespace platform
