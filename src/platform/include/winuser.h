// User interface calls.
#ifndef PLINTH_PLATFORM_WINUSER_H
#define PLINTH_PLATFORM_WINUSER_H

#include <stdarg.h>

#include "winbase.h"

#ifdef __cplusplus
extern "C"
{
#endif

#define MB_OK 0x00000000u
#define MB_ABORTRETRYIGNORE 0x00000002u
#define MB_ICONEXCLAMATION 0x00000030u
#define MB_ICONERROR 0x00000010u
#define IDOK 1
#define IDABORT 3
#define IDRETRY 4
#define IDIGNORE 5
#define SW_SHOWNORMAL 1

    PLINTH_PLATFORM_API int WINAPI MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption,
                                               UINT type);
    PLINTH_PLATFORM_API HWND WINAPI GetActiveWindow(void);
    PLINTH_PLATFORM_API BOOL WINAPI IsWindow(HWND window);

    // At most 1,024 characters of output, terminator included.
    PLINTH_PLATFORM_API int __cdecl wsprintfW(LPWSTR buffer, LPCWSTR format, ...);
    PLINTH_PLATFORM_API int WINAPI wvsprintfW(LPWSTR buffer, LPCWSTR format, va_list arguments);
    PLINTH_PLATFORM_API int WINAPI wvsprintfA(LPSTR buffer, LPCSTR format, va_list arguments);

#ifdef __cplusplus
}
#endif

#endif
