// The code of a module runs while it is loaded and unloaded: it may take any lock, wait for other
// threads, and fork. So a fork waits for loads, for a limited time, before it takes locks;
// meanwhile no other load begins.
#include "loads.h"

#include <atomic>
#include <ctime>
#include <mutex>
#include <pthread.h>

#include "clock_shift.h"

namespace platform
{

namespace
{

// Looks at whether loads have ended; this many take 100 ms. A load that takes longer is running the
// module's own code; a look-up that takes longer is waiting for a server, without a lock of the C
// library. On a busy machine a look takes longer, as a load does, so looks are counted, not time.
constexpr int64_t most_looks = 640;
constexpr time_t most_seconds = 2;       // on a kernel whose pauses are much longer
constexpr timespec pause = {0, 100'000}; // to which the kernel adds half as much

constinit std::mutex g_begin; // held to begin a load, and during a fork
constinit std::atomic<unsigned> g_loads{0};
thread_local unsigned t_depth = 0; // a module may load another one

time_t now()
{
    timespec time{};
    ::clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
    return time.tv_sec;
}

unsigned own_loads()
{
    return t_depth != 0 ? 1 : 0;
}

void await_loads()
{
    g_begin.lock();
    const int64_t asked = clock_shift(&ClockShifts::fork_looks);
    const int64_t limit = asked != 0 ? asked : most_looks;
    const time_t latest = now() + most_seconds;
    for (int64_t looks = 0; g_loads > own_loads() && looks < limit; ++looks)
    {
        if (asked == 0 && now() > latest)
            return;
        ::nanosleep(&pause, nullptr);
    }
}

void go_on_in_parent()
{
    g_begin.unlock();
}

void go_on_in_child()
{
    g_loads = own_loads();
    g_begin.unlock();
}

// Not registered with the others: handlers registered later are called earlier, so this one runs
// before those of the libraries that use the stand-in and take their locks.
void watch_forks()
{
    static constinit std::atomic<bool> watched{false};
    if (!watched.exchange(true))
        pthread_atfork(await_loads, go_on_in_parent, go_on_in_child);
}

} // namespace

Load::Load()
{
    watch_forks();
    if (t_depth++ != 0)
        return;
    const std::lock_guard guard(g_begin);
    ++g_loads;
}

Load::~Load()
{
    if (--t_depth == 0)
        --g_loads;
}

} // namespace platform
