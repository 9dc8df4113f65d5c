// The state of a semaphore, in the memory of the process or shared between processes.
#pragma once

#include <atomic>
#include <cstdint>

namespace platform
{

struct SemaphoreState
{
    std::atomic<uint32_t> count;   // the futex word
    std::atomic<uint32_t> waiters; // an upper bound: a waiter that was killed stays counted
    std::atomic<uint32_t> maximum;
};

} // namespace platform
