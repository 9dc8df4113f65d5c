// Whether this build has the test interface (plinth_platform_test.h): faults and shifted clocks.
// Shipped builds don't have it, and it costs them nothing.
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
    int error = 0;           // 0: no failure, the transfer is only shortened
    size_t limit = SIZE_MAX; // bytes that a transfer may move
};

// All below exists only with the test interface: it is defined in the folder of that name. Other
// code uses faults.h, clock_shift.h and kernel_files.h.

extern std::atomic<bool> g_faults_armed;
// The slow path: counts the call and returns whether a fault applies. linux_call: whether the
// operation takes part in PlinthTestFailAny.
bool take_fault(const char* operation, bool linux_call, Fault& fault);

// In each, 0 changes nothing.
struct ClockShifts
{
    std::atomic<int64_t> wall_ms{0};
    std::atomic<int64_t> patience_ns{0};
    std::atomic<int64_t> channel_patience_ns{0}; // replaces the usual one
    std::atomic<int64_t> fork_looks{0};          // replaces the usual number
    std::atomic<int64_t> held_tick{0};           // the tick plus one
};
extern ClockShifts g_clock_shifts;

// The folder that a test has put before the kernel's paths; null: the real files.
extern std::atomic<const std::string*> g_kernel_root;

} // namespace platform
