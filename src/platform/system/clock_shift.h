// What a test does to the clocks and to waits. Each is 0, and costs nothing, in a build without the
// test interface.
#pragma once

#include <atomic>
#include <cstdint>

#include "test_interface.h"

namespace platform
{

// 0: nothing is changed.
struct ClockShifts
{
    std::atomic<int64_t> wall_ms{0};
    std::atomic<int64_t> patience_ns{0};
    std::atomic<int64_t> channel_patience_ns{0}; // in the place of the usual one
    std::atomic<int64_t> fork_looks{0};          // in the place of the usual number
    std::atomic<int64_t> held_tick{0};           // one more than the tick
};
extern ClockShifts g_clock_shifts; // there with the test interface only

inline int64_t clock_shift(std::atomic<int64_t> ClockShifts::*which)
{
    if constexpr (has_test_interface)
        return (g_clock_shifts.*which).load(std::memory_order_relaxed);
    return 0;
}

} // namespace platform
