#include "memory_groups.h"

#include <algorithm>

#include "system/kernel_text.h"

namespace platform
{

namespace
{

// Whether a comma-separated list contains a name.
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
    std::string point; // where it is mounted
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

// The part of a group's path below the mounted group. Empty if the group is not below it: inside a
// container the process may see another root than its own.
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

} // namespace

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

} // namespace platform
