// Sleeping, and the clock used to measure intervals.
#include "kernel32/object/event_state.h"
#include "system/calls.h"
#include "system/clock.h"
#include "system/faults.h"
#include "system/last_error.h"
#include "windows.h"

using namespace platform;

extern "C" void Sleep(DWORD milliseconds)
{
    if (milliseconds == 0)
    {
        sys::sched_yield();
        return;
    }
    ask_for_fine_timers();
    const int64_t deadline = deadline_after(milliseconds);
    const timespec until{deadline / 1'000'000'000, deadline % 1'000'000'000};
    const timespec long_time{3600, 0};
    if (milliseconds == INFINITE)
        for (;;)
            sys::clock_nanosleep(CLOCK_MONOTONIC, 0, &long_time);
    while (sys::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until) == EINTR)
    {
    }
}

extern "C" ULONGLONG GetTickCount64(void)
{
    return static_cast<ULONGLONG>(coarse_ms());
}

// Without the stack protector, as QV_GetTimeCounter.
extern "C" __attribute__((no_stack_protector)) BOOL QueryPerformanceCounter(LARGE_INTEGER* count)
{
    timespec now;
    ::clock_gettime(CLOCK_MONOTONIC, &now); // can't fail for this clock
    count->QuadPart = now.tv_sec * 1'000'000'000LL + now.tv_nsec;
    return TRUE;
}

extern "C" BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency)
{
    int error = 0;
    if (api_fault("QueryPerformanceFrequency", error))
    {
        frequency->QuadPart = 0;
        return fail_with(static_cast<DWORD>(error));
    }
    frequency->QuadPart = 1'000'000'000; // the counter counts nanoseconds
    return TRUE;
}
