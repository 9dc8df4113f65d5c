// Sleeping at the module's grain of 1 ms.
#include <cerrno>
#include <sched.h>

#include "plinth_w32_pthreadVC.h"

namespace
{

constexpr long nanoseconds_per_millisecond = 1'000'000;
constexpr long nanoseconds_per_second = 1'000'000'000;

} // namespace

extern "C" int pthread_delay_np(const struct timespec* interval)
{
    if (!interval || interval->tv_sec < 0 || interval->tv_nsec < 0 ||
        interval->tv_nsec >= nanoseconds_per_second)
        return EINVAL;
    if (interval->tv_sec == 0 && interval->tv_nsec == 0)
    {
        sched_yield();
        return 0;
    }
    struct timespec rest = *interval;
    const long partial = rest.tv_nsec % nanoseconds_per_millisecond;
    if (partial)
        rest.tv_nsec += nanoseconds_per_millisecond - partial;
    if (rest.tv_nsec >= nanoseconds_per_second)
    {
        rest.tv_nsec -= nanoseconds_per_second;
        ++rest.tv_sec;
    }
    while (nanosleep(&rest, &rest) != 0 && errno == EINTR)
    {
    }
    return 0;
}
