// Calls to the stand-in itself, beyond the Windows interface. Linux only.
#ifndef PLINTH_PLATFORM_PLINTH_PLATFORM_H
#define PLINTH_PLATFORM_PLINTH_PLATFORM_H

#include "windef.h"

#ifdef __cplusplus
extern "C"
{
#endif

    // The native form of a path, for people and for other programs: "/var/x" for "C:\var\x".
    // buffer: room for size bytes, UTF-8, terminated. Returns the length without terminator; 0,
    // with the last error set, for a path that has no native form, or (ERROR_INSUFFICIENT_BUFFER)
    // no room.
    PLINTH_PLATFORM_API DWORD WINAPI PlinthNativePath(LPCWSTR path, LPSTR buffer, DWORD size);

    // Nonzero if windows and message boxes are shown on a display. The first call looks for a
    // display and loads the plug-in, as the first window does.
    PLINTH_PLATFORM_API BOOL WINAPI PlinthHasDesktop(void);

    // The texts of the user's debug string channel that no listener took although there was one,
    // counted for all writers since the channel was first used; wraps around. A writer that a
    // listener keeps waiting for too long continues and loses its text.
    PLINTH_PLATFORM_API DWORD WINAPI PlinthLostDebugTexts(void);

#ifdef __cplusplus
}
#endif

#endif
