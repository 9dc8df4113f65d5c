// Shell: opening documents.
#ifndef PLINTH_PLATFORM_SHELLAPI_H
#define PLINTH_PLATFORM_SHELLAPI_H

#include "winbase.h"

#ifdef __cplusplus
extern "C"
{
#endif

    // A result above 32 is success.
    PLINTH_PLATFORM_API HINSTANCE WINAPI ShellExecuteW(HWND window, LPCWSTR verb, LPCWSTR file,
                                                       LPCWSTR parameters, LPCWSTR directory,
                                                       INT show);

#ifdef __cplusplus
}
#endif

#endif
