// What a test does to the clocks.
#pragma once

#include <cstdint>

namespace platform
{

void shift_wall_clock(int64_t milliseconds);
void hold_millisecond_tick(uint32_t tick);
void shift_patience_clock(int64_t milliseconds);
void reset_clock_shifts();

} // namespace platform
