// The automation layer's date: a double with the days since 30 December 1899.
#ifndef PLINTH_PLATFORM_OLEAUTO_H
#define PLINTH_PLATFORM_OLEAUTO_H

#include "winbase.h"

#ifdef __cplusplus
extern "C"
{
#endif

    // The fraction is the time of day and counts forward also before the origin: -1.25 is six
    // o'clock in the morning of 29 December 1899. Years 100 to 9999, to the second. FALSE for an
    // invalid time.
    PLINTH_PLATFORM_API INT WINAPI SystemTimeToVariantTime(LPSYSTEMTIME time, double* result);
    PLINTH_PLATFORM_API INT WINAPI VariantTimeToSystemTime(double time, LPSYSTEMTIME result);

#ifdef __cplusplus
}
#endif

#endif
