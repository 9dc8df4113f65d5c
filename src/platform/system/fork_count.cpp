#include "fork_count.h"

#include <atomic>
#include <pthread.h>

namespace platform
{

namespace
{

std::atomic<uint32_t> g_forks{0};

// The handlers of a child run in the order of their registration. This one is first, so that the
// others see the new number.
constexpr int first_handler_priority = 101;

[[gnu::constructor(first_handler_priority)]] void count_forks()
{
    pthread_atfork(nullptr, nullptr, [] { g_forks.fetch_add(1, std::memory_order_relaxed); });
}

} // namespace

uint32_t fork_count()
{
    return g_forks.load(std::memory_order_relaxed);
}

} // namespace platform
