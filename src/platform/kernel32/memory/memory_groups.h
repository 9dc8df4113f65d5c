// Finds the control groups that bound the memory of a process, from the kernel's texts about its
// groups and mounts. Only parses the texts: nothing here opens a file.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace platform
{

struct GroupFolder
{
    bool version2;
    std::string path;
};

// The group folders that bound this process's memory, each own group before its parents. The
// arguments are the texts of /proc/self/cgroup and /proc/self/mountinfo.
std::vector<GroupFolder> memory_groups(std::string_view groups, std::string_view mounts);

} // namespace platform
