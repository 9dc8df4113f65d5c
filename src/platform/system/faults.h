// Fault points: what PlinthTestFail and its like act on.
//
// An operation asks api_fault() or sys::intercepted() with its name before it does its work. Unless
// a test has armed the interface this is one relaxed load. In a build without the test interface
// both are false, and the compiler leaves them out.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "test_interface.h"

namespace platform
{

struct Fault
{
    int error = 0;           // 0: no failure, the operation is only shortened
    size_t limit = SIZE_MAX; // bytes that a transfer may move
};

// These two are there with the test interface only.
extern std::atomic<bool> g_faults_armed;
// The slow path: counts the call and says whether a fault applies. linux_call tells whether the
// operation takes part in PlinthTestFailAny.
bool take_fault(const char* operation, bool linux_call, Fault& fault);

inline bool fault_applies(const char* operation, bool linux_call, Fault& fault)
{
    if constexpr (has_test_interface)
        if (g_faults_armed.load(std::memory_order_relaxed)) [[unlikely]]
            return take_fault(operation, linux_call, fault);
    return false;
}

// For an operation of the Windows interface: true if it must fail, with error the system error.
inline bool api_fault(const char* operation, int& error)
{
    Fault fault;
    if (!fault_applies(operation, false, fault) || fault.error == 0)
        return false;
    error = fault.error;
    return true;
}

} // namespace platform
