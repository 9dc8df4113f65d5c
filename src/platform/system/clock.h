// The clocks of the stand-in, with what a test has shifted.
#pragma once

#include <cstdint>
#include <ctime>

namespace platform
{

// The wall clock (UTC), with the test's shift. False if the system gives none.
bool wall_clock(timespec& now);

// Nanoseconds on the monotonic clock.
int64_t monotonic_ns();

// The 32-bit millisecond tick of timeGetTime: the monotonic clock, or what a test has set.
uint32_t millisecond_tick();

} // namespace platform
