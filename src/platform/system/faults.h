// Fault points, on which PlinthTestFail and its like act.
//
// An operation calls api_fault() or sys::intercepted() with its name before it does its work.
// Unless a test has armed the interface this is one relaxed load. In a build without the test
// interface both are false, and the compiler leaves them out.
#pragma once

#include "test_interface.h"

namespace platform
{

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
