// Reads the limits of the memory groups of this process.
//
// File pages that a group holds count as available: the kernel reclaims them before it refuses
// memory, as MemAvailable counts them for the whole machine.
#include "control_group.h"

#include <algorithm>

#include "memory_groups.h"
#include "system/kernel_files.h"
#include "system/kernel_text.h"

namespace platform
{

namespace
{

uint64_t figure(const std::string& path)
{
    std::string text;
    if (!read_kernel_file(path, text))
        return UINT64_MAX;
    return leading_number(text).value_or(UINT64_MAX);
}

// The file pages of a group and of the groups below it.
uint64_t file_pages(const GroupFolder& group)
{
    std::string text;
    if (!read_kernel_file(group.path + "/memory.stat", text))
        return 0;
    const std::string prefix = group.version2 ? "" : "total_";
    uint64_t bytes = 0;
    std::string_view rest = text;
    std::string_view line;
    while (next_line(rest, line))
    {
        const std::string_view name = next_field(line);
        if (name == prefix + "inactive_file" || name == prefix + "active_file")
            bytes += leading_number(next_field(line)).value_or(0);
    }
    return bytes;
}

uint64_t less(uint64_t from, uint64_t amount)
{
    return from > amount ? from - amount : 0;
}

// The rest of a limit; no limit stays none.
uint64_t left_of(uint64_t limit, uint64_t used, uint64_t reclaimable)
{
    if (limit == UINT64_MAX)
        return UINT64_MAX;
    return less(limit, used == UINT64_MAX ? 0 : less(used, reclaimable));
}

MemoryBounds bounds_of(const GroupFolder& group)
{
    const std::string folder = group.path + "/memory.";
    const uint64_t reclaimable = file_pages(group);
    MemoryBounds bounds;
    if (group.version2)
    {
        bounds.physical = figure(folder + "max");
        bounds.physical_available =
            left_of(bounds.physical, figure(folder + "current"), reclaimable);
        bounds.swap = figure(folder + "swap.max");
        bounds.swap_available = left_of(bounds.swap, figure(folder + "swap.current"), 0);
        return bounds;
    }
    bounds.physical = figure(folder + "limit_in_bytes");
    bounds.physical_available =
        left_of(bounds.physical, figure(folder + "usage_in_bytes"), reclaimable);
    bounds.together = figure(folder + "memsw.limit_in_bytes");
    bounds.together_available =
        left_of(bounds.together, figure(folder + "memsw.usage_in_bytes"), reclaimable);
    return bounds;
}

// In version 1 a parent may not count the memory of the groups below it.
bool counts_children(const GroupFolder& group)
{
    return group.version2 || figure(group.path + "/memory.use_hierarchy") != 0;
}

} // namespace

void MemoryBounds::tighten(const MemoryBounds& other)
{
    physical = std::min(physical, other.physical);
    physical_available = std::min(physical_available, other.physical_available);
    swap = std::min(swap, other.swap);
    swap_available = std::min(swap_available, other.swap_available);
    together = std::min(together, other.together);
    together_available = std::min(together_available, other.together_available);
}

MemoryBounds control_group_bounds()
{
    MemoryBounds bounds;
    std::string groups;
    std::string mounts;
    if (!read_kernel_file("/proc/self/cgroup", groups) ||
        !read_kernel_file("/proc/self/mountinfo", mounts))
        return bounds;
    const std::vector<GroupFolder> folders = memory_groups(groups, mounts);
    for (size_t i = 0; i < folders.size(); ++i)
    {
        const bool parent = i != 0 && folders[i - 1].version2 == folders[i].version2 &&
                            folders[i - 1].path.starts_with(folders[i].path + "/");
        if (!parent || counts_children(folders[i]))
            bounds.tighten(bounds_of(folders[i]));
    }
    return bounds;
}

} // namespace platform
