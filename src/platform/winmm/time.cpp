// The multimedia clock. Its tick has a resolution of 1 ms whatever period is requested: requests
// are only counted, so that each end matches a begin.
#include <map>
#include <mutex>
#include <new>

#include <windows.h>

#include <mmsystem.h>

#include "system/clock.h"
#include "system/faults.h"
#include "system/fork.h"
#include "system/immortal.h"

namespace
{

constexpr UINT least_period = 1; // ms
constexpr UINT greatest_period = 1'000'000;

struct Periods
{
    std::mutex lock; // guards begun
    std::map<UINT, unsigned> begun;
};

Periods& periods()
{
    static platform::Immortal<Periods> only;
    return *only;
}

std::mutex& periods_lock()
{
    return periods().lock;
}

const platform::AtFork g_at_fork(platform::ForkStep::timer_periods,
                                 platform::taken_at_fork<periods_lock>());

} // namespace

extern "C" DWORD timeGetTime(void)
{
    return platform::millisecond_tick();
}

extern "C" MMRESULT timeGetDevCaps(LPTIMECAPS caps, UINT size)
{
    int error = 0;
    if (!caps || size < sizeof *caps || platform::api_fault("timeGetDevCaps", error))
        return TIMERR_NOCANDO;
    caps->wPeriodMin = least_period;
    caps->wPeriodMax = greatest_period;
    return TIMERR_NOERROR;
}

extern "C" MMRESULT timeBeginPeriod(UINT period)
{
    if (period < least_period || period > greatest_period)
        return TIMERR_NOCANDO;
    const std::lock_guard guard(periods().lock);
    try
    {
        ++periods().begun[period];
    }
    catch (const std::bad_alloc&)
    {
        return TIMERR_NOCANDO;
    }
    return TIMERR_NOERROR;
}

extern "C" MMRESULT timeEndPeriod(UINT period)
{
    const std::lock_guard guard(periods().lock);
    const auto found = periods().begun.find(period);
    if (found == periods().begun.end())
        return TIMERR_NOCANDO;
    if (--found->second == 0)
        periods().begun.erase(found);
    return TIMERR_NOERROR;
}
