// Fault points: what PlinthTestFail and its like act on.
//
// An operation asks fault() with its name before it does its work. Unless a test has armed the
// interface this is one relaxed load.
#pragma once

#include <atomic>
#include <cstddef>

namespace platform
{

extern std::atomic<bool> g_faults_armed;

struct Fault
{
    int error = 0;           // 0: no failure, the operation is only shortened
    size_t limit = SIZE_MAX; // bytes that a transfer may move
};

// The slow path: counts the call and says whether a fault applies. linux_call tells whether the
// operation takes part in PlinthTestFailAny.
bool take_fault(const char* operation, bool linux_call, Fault& fault);

// For an operation of the Windows interface: true if it must fail, with error the system error.
inline bool api_fault(const char* operation, int& error)
{
    if (!g_faults_armed.load(std::memory_order_relaxed)) [[likely]]
        return false;
    Fault fault;
    if (!take_fault(operation, false, fault) || fault.error == 0)
        return false;
    error = fault.error;
    return true;
}

} // namespace platform
