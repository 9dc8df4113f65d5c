// Faults of the stand-in that last for one action. Linux only.
#pragma once

#include <plinth_platform_test.h>

namespace test
{

// Removes all faults at the end of its scope.
struct FaultScope
{
    FaultScope() = default;
    FaultScope(const FaultScope&) = delete;
    FaultScope& operator=(const FaultScope&) = delete;
    ~FaultScope() { PlinthTestReset(); }
};

// Returns what the act returns while call nth of the operation and the count - 1 after it fail with
// the error; a count of 0 means all from nth on.
template <class Act>
auto with_fault(const char* operation, unsigned nth, unsigned count, int error, Act act)
{
    const FaultScope scope;
    PlinthTestFail(operation, nth, count, error);
    return act();
}

} // namespace test
