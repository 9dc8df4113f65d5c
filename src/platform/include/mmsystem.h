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

    typedef struct TIMECAPS
    {
        UINT wPeriodMin;
        UINT wPeriodMax;
    } TIMECAPS, *LPTIMECAPS;

    PLINTH_PLATFORM_API DWORD WINAPI timeGetTime(void);
    PLINTH_PLATFORM_API MMRESULT WINAPI timeGetDevCaps(LPTIMECAPS caps, UINT size);
    PLINTH_PLATFORM_API MMRESULT WINAPI timeBeginPeriod(UINT period);
    PLINTH_PLATFORM_API MMRESULT WINAPI timeEndPeriod(UINT period);

#ifdef __cplusplus
}
static_assert(sizeof(TIMECAPS) == 8);
#endif

#endif
