// Whether this build has the test interface (plinth_platform_test.h): faults and shifted clocks.
// What is shipped has none, and pays nothing for it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace platform
{

// Defined by the build, 0 or 1, from its option of the same name.
inline constexpr bool has_test_interface = PLINTH_TEST_INTERFACE;

struct Fault
{
    int error = 0;           // 0: no failure, the operation is only shortened
    size_t limit = SIZE_MAX; // bytes that a transfer may move
};

// All below is there with the test interface only: the folder of that name has it. Code asks
// faults.h, clock_shift.h and kernel_files.h.

extern std::atomic<bool> g_faults_armed;
// The slow path: counts the call and says whether a fault applies. linux_call tells whether the
// operation takes part in PlinthTestFailAny.
bool take_fault(const char* operation, bool linux_call, Fault& fault);

// 0: nothing is changed.
struct ClockShifts
{
    std::atomic<int64_t> wall_ms{0};
    std::atomic<int64_t> patience_ns{0};
    std::atomic<int64_t> channel_patience_ns{0}; // in the place of the usual one
    std::atomic<int64_t> held_tick{0};           // one more than the tick
};
extern ClockShifts g_clock_shifts;

// The folder that a test has put before all paths; null: the real files.
extern std::atomic<const std::string*> g_kernel_root;

} // namespace platform
