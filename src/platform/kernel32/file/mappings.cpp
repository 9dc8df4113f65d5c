#include "mappings.h"

#include <cstring>

#include "system/calls.h"

namespace platform
{

namespace
{

constexpr size_t numbers_room = 128; // the fields before the path of a line

} // namespace

Mappings::Mappings() : m_list(sys::fopen("/proc/self/maps", "re")) {}

bool Mappings::next(Mapping& mapping)
{
    char line[native_path_limit + numbers_room];
    while (std::fgets(line, sizeof line, m_list.get()))
    {
        unsigned long inode = 0;
        int path = 0;
        constexpr int fields = 4;
        if (std::sscanf(line, "%lx-%lx %4s %*x %*s %lu %n", &mapping.start, &mapping.end,
                        mapping.access, &inode, &path) != fields)
            continue;
        mapping.inode = inode;
        const size_t length = std::strcspn(line + path, "\n");
        std::memcpy(mapping.path, line + path, length < native_path_limit ? length : 0);
        mapping.path[length < native_path_limit ? length : 0] = '\0';
        return true;
    }
    return false;
}

bool mapped_file_at(uintptr_t address, Mapping& found)
{
    Mappings list;
    while (list.ok() && list.next(found) && address >= found.start)
        if (address < found.end)
            return found.inode != 0;
    return false;
}

} // namespace platform
