// Lists a folder, such as the process's own threads and descriptors in /proc. Linux only.
#pragma once

#include <cstddef>
#include <filesystem>
#include <iterator>

namespace test
{

inline size_t entries(const char* folder)
{
    const std::filesystem::directory_iterator all(folder);
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

inline size_t threads_here()
{
    return entries("/proc/self/task");
}

} // namespace test
