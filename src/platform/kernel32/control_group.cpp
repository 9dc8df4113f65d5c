// Finding the memory groups of this process and reading their limits.
//
// Pages of files that a group holds count as available: the kernel takes them back before it
// refuses memory, as MemAvailable says for the whole machine.
#include "control_group.h"

#include <algorithm>

#include "system/kernel_files.h"

namespace platform
{

namespace
{

// Sets of names that are joined by commas.
bool lists(std::string_view names, std::string_view name)
{
    while (!names.empty())
    {
        const size_t comma = std::min(names.find(','), names.size());
        if (names.substr(0, comma) == name)
            return true;
        names.remove_prefix(std::min(comma + 1, names.size()));
    }
    return false;
}

// Blanks in the paths of a mount line are written as a backslash and three octal digits.
std::string without_escapes(std::string_view text)
{
    const auto octal = [](char c) { return c >= '0' && c <= '7'; };
    std::string plain;
    for (size_t i = 0; i < text.size(); ++i)
    {
        if (text[i] == '\\' && text.size() - i > 3 && octal(text[i + 1]) && octal(text[i + 2]) &&
            octal(text[i + 3]))
        {
            plain += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 +
                                       (text[i + 3] - '0'));
            i += 3;
        }
        else
            plain += text[i];
    }
    return plain;
}

struct GroupMount
{
    bool version2;
    std::string root;  // the group that is mounted
    std::string point; // where
};

// "id parent device root point options [optional fields] - type source options"
bool parse_mount(std::string_view line, GroupMount& mount)
{
    constexpr std::string_view end_of_optional = " - ";
    const size_t second = line.find(end_of_optional);
    if (second == std::string_view::npos)
        return false;
    std::string_view type_fields = line.substr(second + end_of_optional.size());
    const std::string_view type = next_field(type_fields);
    next_field(type_fields); // the source
    mount.version2 = type == "cgroup2";
    if (!mount.version2 && (type != "cgroup" || !lists(next_field(type_fields), "memory")))
        return false;
    for (int field = 0; field < 3; ++field)
        next_field(line);
    mount.root = without_escapes(next_field(line));
    mount.point = without_escapes(next_field(line));
    return !mount.root.empty() && !mount.point.empty();
}

// The process's group in the hierarchy of this version: "number:controllers:path" lines.
std::string_view own_group(std::string_view groups, bool version2)
{
    std::string_view line;
    while (next_line(groups, line))
    {
        const size_t first = line.find(':');
        const size_t second = first == std::string_view::npos ? first : line.find(':', first + 1);
        if (second == std::string_view::npos)
            continue;
        const std::string_view controllers = line.substr(first + 1, second - first - 1);
        if (version2 ? controllers.empty() && line.substr(0, first) == "0"
                     : lists(controllers, "memory"))
            return line.substr(second + 1);
    }
    return {};
}

// The part of a group's path below the mounted group. Empty for a group that lies elsewhere: from
// inside a container the process may see another root than its own.
std::string_view below_root(std::string_view group, std::string_view root)
{
    if (root == "/")
        root = "";
    if (!group.starts_with(root) || group.find("/..") != std::string_view::npos)
        return {};
    group.remove_prefix(root.size());
    while (group.ends_with('/'))
        group.remove_suffix(1);
    return group.starts_with('/') ? group : std::string_view();
}

uint64_t figure(const std::string& path)
{
    std::string text;
    if (!read_kernel_file(path, text))
        return UINT64_MAX;
    return leading_number(text).value_or(UINT64_MAX);
}

// The file pages that a group and those below it hold.
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

// What is left of a limit; no bound stays none.
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

// In the first version a parent may leave the groups below it uncounted.
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

std::vector<GroupFolder> memory_groups(std::string_view groups, std::string_view mounts)
{
    std::vector<GroupFolder> folders;
    std::string_view line;
    GroupMount mount;
    while (next_line(mounts, line))
    {
        if (!parse_mount(line, mount))
            continue;
        const std::string_view group = own_group(groups, mount.version2);
        if (group.empty())
            continue;
        std::string_view below = below_root(group, mount.root);
        while (!below.empty())
        {
            folders.push_back({mount.version2, mount.point + std::string(below)});
            below = below.substr(0, below.rfind('/'));
        }
        folders.push_back({mount.version2, mount.point});
    }
    return folders;
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
