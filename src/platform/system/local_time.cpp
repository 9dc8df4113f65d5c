#include "local_time.h"

#include "fork.h"

namespace platform
{

namespace
{

constinit std::mutex g_lock; // no other lock of ours is taken while it is held

std::mutex& zone_lock()
{
    return g_lock;
}

const AtFork g_at_fork(ForkStep::local_time, taken_at_fork<zone_lock>());

} // namespace

bool local_time(time_t moment, struct tm& local)
{
    const std::lock_guard guard(g_lock);
    return ::localtime_r(&moment, &local) != nullptr;
}

time_t moment_of(struct tm& local)
{
    const std::lock_guard guard(g_lock);
    return ::mktime(&local);
}

} // namespace platform
