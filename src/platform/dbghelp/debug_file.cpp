#include "debug_file.h"

#include <array>
#include <cstring>
#include <new>
#include <string>

#include "libdw.h"
#include "system/calls.h"

namespace platform
{

namespace
{

// The checksum of .gnu_debuglink: CRC-32 as of gzip.
constexpr std::array<uint32_t, 256> make_table()
{
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < table.size(); ++i)
    {
        uint32_t value = i;
        for (int bit = 0; bit < 8; ++bit)
            value = (value & 1) ? (value >> 1) ^ 0xEDB88320u : value >> 1;
        table[i] = value;
    }
    return table;
}

bool has_checksum(int fd, uint32_t checksum)
{
    static constexpr std::array<uint32_t, 256> table = make_table();
    unsigned char block[32'768];
    uint32_t value = 0xFFFFFFFFu;
    ssize_t size = 0;
    while ((size = sys::read(fd, block, sizeof block)) > 0)
        for (ssize_t i = 0; i < size; ++i)
            value = table[(value ^ block[i]) & 0xFF] ^ (value >> 8);
    return size == 0 && (value ^ 0xFFFFFFFFu) == checksum && sys::lseek(fd, 0, SEEK_SET) == 0;
}

// A checksum of 0 means none.
int open_checked(const std::string& path, uint32_t checksum, char** found)
{
    const int fd = sys::open(path.c_str(), O_RDONLY);
    if (fd < 0)
        return -1;
    if (checksum == 0 || has_checksum(fd, checksum))
    {
        *found = ::strdup(path.c_str());
        return fd;
    }
    sys::close(fd);
    return -1;
}

// In the folders where debuggers look: beside the module, in .debug below it, and in the same
// folder below /usr/lib/debug.
int open_by_link(const std::string& file, const std::string& link, uint32_t checksum, char** found)
{
    if (link[0] == '/')
        return open_checked(link, checksum, found);
    const std::string folder = file.substr(0, file.rfind('/') + 1);
    for (const std::string& place : {folder, folder + ".debug/", "/usr/lib/debug" + folder})
    {
        if (place + link == file)
            continue; // the module itself was tried already
        const int fd = open_checked(place + link, checksum, found);
        if (fd >= 0)
            return fd;
    }
    return -1;
}

} // namespace

int find_debug_file(Dwfl_Module* module, void** user_data, const char* name, Dwarf_Addr base,
                    const char* file, const char* link, GElf_Word checksum, char** found)
{
    const int by_id = libdw()->build_id_find_debuginfo(module, user_data, name, base, file, link,
                                                       checksum, found);
    if (by_id >= 0 || !file || !link || !*link)
        return by_id;
    try
    {
        return open_by_link(file, link, checksum, found);
    }
    catch (const std::bad_alloc&)
    {
        return -1;
    }
}

} // namespace platform
