// The clocks of the stand-in, each plus a test's shift.
#pragma once

#include <cstdint>
#include <ctime>

namespace platform
{

// The wall clock (UTC), with the test's shift. False if the system returns no time.
bool wall_clock(timespec& now);

// Its seconds alone, at a tenth of the cost. A new second may be seen one tick of the kernel (some
// ms) late.
int64_t wall_seconds();

// Nanoseconds on the monotonic clock.
int64_t monotonic_ns();

// The same, with a test's shift: the clock that limits waits for other processes.
int64_t patience_clock_ns();

// Milliseconds on the monotonic clock, a few late, with the test's shift of patience_clock_ns.
int64_t coarse_ms();

// For a thread that waits for a point in time: the kernel rounds the end of a wait by 50 us unless
// the thread asks for less.
void ask_for_fine_timers();

// The 32-bit millisecond tick of timeGetTime: the monotonic clock, or the value at which a test
// holds it.
uint32_t millisecond_tick();

} // namespace platform
