// The shifts of the clocks, and the functions by which tests set them.
#include <plinth_platform_test.h>

#include "reset.h"
#include "system/test_interface.h"

namespace platform
{

constinit ClockShifts g_clock_shifts;

void reset_clock_shifts()
{
    g_clock_shifts.wall_ms = 0;
    g_clock_shifts.patience_ns = 0;
    g_clock_shifts.held_tick = 0;
}

} // namespace platform

using namespace platform;

extern "C" void PlinthTestShiftWallClock(int64_t milliseconds)
{
    g_clock_shifts.wall_ms = milliseconds;
}

extern "C" void PlinthTestSetTick(uint32_t tick)
{
    g_clock_shifts.held_tick = int64_t{tick} + 1;
}

extern "C" void PlinthTestShiftPatience(int64_t milliseconds)
{
    g_clock_shifts.patience_ns = milliseconds * 1'000'000;
}

extern "C" void PlinthTestSetChannelPatience(uint32_t milliseconds)
{
    g_clock_shifts.channel_patience_ns = milliseconds * int64_t{1'000'000};
}

extern "C" void PlinthTestSetForkLooks(uint32_t looks)
{
    g_clock_shifts.fork_looks = looks;
}
