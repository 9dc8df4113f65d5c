// What the control groups of this process leave it of memory.
//
// A group's limit counts for all groups below it, so each level from the process's own group up to
// the top of what is mounted is a bound, and the tightest one holds. Both versions of the kernel's
// interface are read, since a machine may have the memory controller in either.
#pragma once

#include <cstdint>

namespace platform
{

// Bytes; UINT64_MAX for no bound.
struct MemoryBounds
{
    uint64_t physical = UINT64_MAX;
    uint64_t physical_available = UINT64_MAX;
    uint64_t swap = UINT64_MAX;
    uint64_t swap_available = UINT64_MAX;
    uint64_t together = UINT64_MAX; // physical memory and swap, where the group counts them as one
    uint64_t together_available = UINT64_MAX;

    void tighten(const MemoryBounds& other);
};

// All bounds together; no bound where there are no groups or they can't be read.
MemoryBounds control_group_bounds();

} // namespace platform
