// A test's changes to the clocks and to waits. Each is 0, and costs nothing, in a build without the
// test interface.
#pragma once

#include "test_interface.h"

namespace platform
{

inline int64_t clock_shift(std::atomic<int64_t> ClockShifts::*which)
{
    if constexpr (has_test_interface)
        return (g_clock_shifts.*which).load(std::memory_order_relaxed);
    return 0;
}

} // namespace platform
