// Which process this is, for what must not be done in a forked child: giving back what belongs to
// its parent.
#pragma once

#include <atomic>

namespace platform
{

// Changes in the child of each fork. Costs one load, where getpid costs a call of the kernel.
extern std::atomic<unsigned> g_process_number;

inline unsigned process_number()
{
    return g_process_number.load(std::memory_order_relaxed);
}

} // namespace platform
