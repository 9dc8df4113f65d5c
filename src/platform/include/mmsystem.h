// Multimedia clock.
#ifndef PLINTH_PLATFORM_MMSYSTEM_H
#define PLINTH_PLATFORM_MMSYSTEM_H

#include "winbase.h"

#ifdef __cplusplus
extern "C"
{
#endif

    typedef UINT MMRESULT;
#define TIMERR_NOERROR 0u
#define TIMERR_NOCANDO 97u
#define MMSYSERR_NOERROR 0u
#define MMSYSERR_INVALPARAM 11u
#define TIME_ONESHOT 0x0000u
#define TIME_PERIODIC 0x0001u
#define TIME_CALLBACK_FUNCTION 0x0000u
#define TIME_KILL_SYNCHRONOUS 0x0100u

    typedef struct TIMECAPS
    {
        UINT wPeriodMin;
        UINT wPeriodMax;
    } TIMECAPS, *LPTIMECAPS;

    typedef void(CALLBACK TIMECALLBACK)(UINT id, UINT message, DWORD_PTR user, DWORD_PTR reserved1,
                                        DWORD_PTR reserved2);
    typedef TIMECALLBACK* LPTIMECALLBACK;

    PLINTH_PLATFORM_API DWORD WINAPI timeGetTime(void);
    PLINTH_PLATFORM_API MMRESULT WINAPI timeGetDevCaps(LPTIMECAPS caps, UINT size);
    PLINTH_PLATFORM_API MMRESULT WINAPI timeBeginPeriod(UINT period);
    PLINTH_PLATFORM_API MMRESULT WINAPI timeEndPeriod(UINT period);

    // Timers on one thread of the system. delay: ms, within the device's range. The resolution is
    // always the machine's finest. Returns an id, or 0.
    PLINTH_PLATFORM_API MMRESULT WINAPI timeSetEvent(UINT delay, UINT resolution,
                                                     LPTIMECALLBACK procedure, DWORD_PTR user,
                                                     UINT flags);
    PLINTH_PLATFORM_API MMRESULT WINAPI timeKillEvent(UINT id);

#ifdef __cplusplus
}
static_assert(sizeof(TIMECAPS) == 8);
#endif

#endif
