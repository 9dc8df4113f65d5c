#include "loader_lock.h"

#include <atomic>
#include <cstdint>

#include "kernel32/object/event_state.h"

namespace platform
{

namespace
{

constinit std::atomic<uint32_t> g_held{0}; // of all threads; a futex word
thread_local uint32_t t_held = 0;          // how often this thread holds it

} // namespace

LoaderLock::LoaderLock()
{
    ++t_held;
    ++g_held;
}

LoaderLock::~LoaderLock()
{
    --t_held;
    if (--g_held == 0)
        futex_wake(&g_held, INT32_MAX, false);
}

void await_loader_lock()
{
    if (t_held != 0) // the thread would wait for itself
        return;
    for (uint32_t held = g_held; held != 0; held = g_held)
        futex_wait(&g_held, held, -1, false);
}

void keep_own_loader_lock()
{
    g_held = t_held;
}

} // namespace platform
