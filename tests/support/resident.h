// What this process has in memory.
#pragma once

#include <cstddef>
#include <fstream>

#include <unistd.h>

namespace test
{

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr size_t sanitizers_share = size_t{1} << 30; // what they keep is resident too
#else
inline constexpr size_t sanitizers_share = 0;
#endif

// Bytes.
inline size_t resident()
{
    std::ifstream file("/proc/self/statm");
    size_t pages = 0;
    file >> pages >> pages;
    return pages * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

} // namespace test
