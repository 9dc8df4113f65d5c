// The clocks of the stand-in, with what a test has shifted.
#pragma once

#include <cstdint>
#include <ctime>

namespace platform
{

// The wall clock (UTC), with the test's shift. False if the system gives none.
bool wall_clock(timespec& now);

// Its seconds alone, at a tenth of the price. They may begin a tick of the kernel (some ms) late.
int64_t wall_seconds();

// Nanoseconds on the monotonic clock.
int64_t monotonic_ns();

// The same, with a test's shift: what waits for other processes are limited by.
int64_t patience_clock_ns();

// Milliseconds on the monotonic clock, a few late, with the test's shift of patience_clock_ns.
int64_t coarse_ms();

// For a thread that waits for a moment: the kernel rounds the end of a wait by 50 us unless the
// thread asks otherwise.
void ask_for_fine_timers();

// The 32-bit millisecond tick of timeGetTime: the monotonic clock, or where a test holds it.
uint32_t millisecond_tick();

} // namespace platform
