// What the control groups of this process leave it of memory.
//
// A group's limit counts for all groups below it, so each level from the process's own group up to
// the top of what is mounted is a bound, and the tightest one holds. Both versions of the kernel's
// interface are read, since a machine may have the memory controller in either.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

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

struct GroupFolder
{
    bool version2;
    std::string path;
};

// The group folders that bound this process's memory, each own group before its parents. The
// arguments are the texts of /proc/self/cgroup and /proc/self/mountinfo.
std::vector<GroupFolder> memory_groups(std::string_view groups, std::string_view mounts);

// All bounds together; no bound where there are no groups or they can't be read.
MemoryBounds control_group_bounds();

} // namespace platform
