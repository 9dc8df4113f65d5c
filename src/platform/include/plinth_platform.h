// What a program may ask of the stand-in itself, beyond the Windows interface. Linux only.
#ifndef PLINTH_PLATFORM_PLINTH_PLATFORM_H
#define PLINTH_PLATFORM_PLINTH_PLATFORM_H

#include "windef.h"

#ifdef __cplusplus
extern "C"
{
#endif

    // The native form of a path, for people and for other programs: "C:\var\x" gives "/var/x".
    // buffer: room for size bytes, UTF-8, terminated. Gives the length without terminator; 0 and
    // the last error for a path that has no native form, or (ERROR_INSUFFICIENT_BUFFER) no room.
    PLINTH_PLATFORM_API DWORD WINAPI PlinthNativePath(LPCWSTR path, LPSTR buffer, DWORD size);

    // Nonzero if windows and message boxes are shown on a display. The first call looks for one and
    // loads what shows them, as the first window does.
    PLINTH_PLATFORM_API BOOL WINAPI PlinthHasDesktop(void);

    // The texts of the user's debug string channel that no listener took although there was one,
    // counted by all writers since the channel was first used; wraps around. A writer that a
    // listener lets wait for too long goes on without it.
    PLINTH_PLATFORM_API DWORD WINAPI PlinthLostDebugTexts(void);

#ifdef __cplusplus
}
#endif

#endif
