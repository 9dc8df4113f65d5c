// The machine's memory, as far as this process can get it.
#pragma once

#include <cstdint>

namespace platform
{

// Bytes.
struct MemoryFigures
{
    uint64_t physical_total = 0;
    uint64_t physical_available = 0;
    uint64_t commit_limit = 0; // physical memory and swap
    uint64_t commit_available = 0;
    uint64_t address_space = 0;
    uint64_t address_space_available = 0;
    uint64_t system_cache = 0;
    uint64_t kernel_paged = 0; // kernel memory that can be reclaimed
    uint64_t kernel_nonpaged = 0;
    uint64_t page_size = 0;
};

// False with the last error set if the kernel doesn't report them.
bool read_memory_figures(MemoryFigures& figures);

} // namespace platform
