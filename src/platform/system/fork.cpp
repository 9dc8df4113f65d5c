#include "fork.h"

#include <atomic>
#include <new>
#include <pthread.h>

#include "fork_count.h"

namespace platform
{

namespace
{

constexpr size_t step_count = static_cast<size_t>(ForkStep::count);
constinit ForkActions g_actions[step_count]; // written only by static initialisers
constinit std::atomic<uint32_t> g_forks{0};
constinit std::mutex g_turn; // one fork at a time; taken before all other locks

void prepare()
{
    g_turn.lock();
    for (const ForkActions& each : g_actions)
        if (each.take)
            each.take();
}

void release()
{
    for (size_t i = step_count; i > 0; --i)
        if (g_actions[i - 1].release)
            g_actions[i - 1].release();
}

void go_on_in_parent()
{
    release();
    g_turn.unlock();
}

void go_on_in_child()
{
    g_forks.fetch_add(1, std::memory_order_relaxed);
    release();
    for (const ForkActions& each : g_actions)
        if (each.renew)
            each.renew();
    g_turn.unlock();
}

// Registered before all other fork handlers that use the stand-in, so that those run before
// prepare, and after the locks were released.
constexpr int first_priority = 101;
[[gnu::constructor(first_priority)]] void watch_forks()
{
    pthread_atfork(prepare, go_on_in_parent, go_on_in_child);
}

} // namespace

void leave_to_parent(void* memory)
{
    struct Left
    {
        void* memory;
        Left* next;
    };
    static constinit std::atomic<Left*> first = nullptr;
    if (auto* const left = new (std::nothrow) Left{memory, nullptr})
        left->next = first.exchange(left);
}

AtFork::AtFork(ForkStep step, const ForkActions& actions)
{
    g_actions[static_cast<size_t>(step)] = actions;
}

uint32_t fork_count()
{
    return g_forks.load(std::memory_order_relaxed);
}

} // namespace platform
