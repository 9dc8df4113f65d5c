// The library's one clock.
#include <algorithm>

#include <windows.h>

#include <mmsystem.h>

#include "plinth_w32_system.h"
#include "timebase.h"

namespace
{

constexpr const char* source_name = "src\\w32_system\\timer\\timer";

// Written while the library loads, before other threads can enter, and read without a lock.
bool s_bTimeBaseStarted = false;
bool s_bHasPerfCounter = false; // while false, the clock reads the millisecond tick
long long s_i64PerfFrequency = 0;
double s_dSecondsPerTick = 0.0;
unsigned int s_uTimerPeriod = 0; // ms; used only by the millisecond tick

} // namespace

void QvTimeBaseStart()
{
    if (s_bTimeBaseStarted)
        return;
    s_bTimeBaseStarted = true;

    LARGE_INTEGER frequency = {};
    QueryPerformanceFrequency(&frequency);
    if (frequency.QuadPart != 0)
    {
        s_i64PerfFrequency = frequency.QuadPart;
        s_dSecondsPerTick = 1.0 / static_cast<double>(s_i64PerfFrequency);
        s_bHasPerfCounter = true;
        return;
    }

    TIMECAPS caps = {};
    if (timeGetDevCaps(&caps, sizeof caps) != TIMERR_NOERROR)
    {
        DiagAssertW(0, L"TRUE", L"Multimedia function timeGetDevCaps failed.", source_name,
                    __LINE__);
        return;
    }
    const unsigned int period = std::min(std::max(caps.wPeriodMin, 1u), caps.wPeriodMax);
    timeBeginPeriod(period);
    s_uTimerPeriod = period;
}

void QvTimeBaseEnd()
{
    if (!s_bTimeBaseStarted)
        return;
    if (!s_bHasPerfCounter && s_uTimerPeriod != 0)
        timeEndPeriod(s_uTimerPeriod);
    s_bTimeBaseStarted = false;
}

// Without the stack protector: this function has no array on the stack, and the check costs 1 of
// the 12 ns that this call takes beyond the kernel's clock.
extern "C" __attribute__((no_stack_protector)) double QV_GetTimeCounter(void)
{
    if (!s_bHasPerfCounter)
        return timeGetTime();
    LARGE_INTEGER count;
    QueryPerformanceCounter(&count);
    return static_cast<double>(count.QuadPart) / static_cast<double>(s_i64PerfFrequency) * 1000.0;
}

extern "C" double QV_GetTimeCounterPrecision(void)
{
    return s_bHasPerfCounter ? s_dSecondsPerTick * 1000.0 : s_uTimerPeriod;
}
