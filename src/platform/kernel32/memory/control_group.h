// The memory that the control groups of this process leave to it.
//
// A group's limit counts for all groups below it, so each level from the process's own group up to
// the top of the mounted hierarchy is a bound, and the tightest one counts. Both versions of the
// kernel's interface are read, since the memory controller may be in either.
#pragma once

#include <cstdint>

namespace platform
{

// In bytes; UINT64_MAX: no bound.
struct MemoryBounds
{
    uint64_t physical = UINT64_MAX;
    uint64_t physical_available = UINT64_MAX;
    uint64_t swap = UINT64_MAX;
    uint64_t swap_available = UINT64_MAX;
    uint64_t together = UINT64_MAX; // physical memory and swap, where the group limits their sum
    uint64_t together_available = UINT64_MAX;

    void tighten(const MemoryBounds& other);
};

// All bounds together; no bound if there are no groups or they can't be read.
MemoryBounds control_group_bounds();

} // namespace platform
