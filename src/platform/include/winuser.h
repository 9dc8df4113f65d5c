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
#define MB_ICONHAND 0x00000010u
#define MB_TASKMODAL 0x00002000u
#define MB_SETFOREGROUND 0x00010000u
#define IDOK 1
#define IDABORT 3
#define IDRETRY 4
#define IDIGNORE 5
#define SW_SHOWNORMAL 1

#define WM_NULL 0x0000u
#define WM_QUIT 0x0012u
#define WM_TIMER 0x0113u
#define WM_USER 0x0400u
#define WM_APP 0x8000u
#define PM_NOREMOVE 0x0000u
#define PM_REMOVE 0x0001u
#define USER_TIMER_MINIMUM 0x0000000Au // ms
#define USER_TIMER_MAXIMUM 0x7FFFFFFFu // ms

    typedef struct MSG
    {
        HWND hwnd; // null: for the thread
        UINT message;
        WPARAM wParam;
        LPARAM lParam;
        DWORD time; // the millisecond tick
        POINT pt;
    } MSG, *LPMSG;

    typedef void(CALLBACK* TIMERPROC)(HWND window, UINT message, UINT_PTR id, DWORD tick);
#define IS_INTRESOURCE(name) (((ULONG_PTR)(name) >> 16) == 0)
#define MAKEINTRESOURCEW(number) ((LPWSTR)(ULONG_PTR)(WORD)(number))

    PLINTH_PLATFORM_API int WINAPI MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption,
                                               UINT type);
    PLINTH_PLATFORM_API HWND WINAPI GetActiveWindow(void);
    PLINTH_PLATFORM_API HWND WINAPI GetLastActivePopup(HWND window);
    PLINTH_PLATFORM_API BOOL WINAPI IsWindow(HWND window);

    // Messages of the calling thread. A thread has a queue from its first call of one of these, or
    // of SetTimer, on. The filter takes messages from first to last; 0 and 0 take all.
    PLINTH_PLATFORM_API BOOL WINAPI GetMessageW(LPMSG message, HWND window, UINT first, UINT last);
    PLINTH_PLATFORM_API BOOL WINAPI PeekMessageW(LPMSG message, HWND window, UINT first, UINT last,
                                                 UINT remove);
    PLINTH_PLATFORM_API BOOL WINAPI TranslateMessage(const MSG* message);
    PLINTH_PLATFORM_API LRESULT WINAPI DispatchMessageW(const MSG* message);
    PLINTH_PLATFORM_API BOOL WINAPI PostThreadMessageW(DWORD thread, UINT message, WPARAM wParam,
                                                       LPARAM lParam);
    PLINTH_PLATFORM_API void WINAPI PostQuitMessage(int exitCode);

    // Message timers of the calling thread; milliseconds are raised to USER_TIMER_MINIMUM. Without
    // a window the system picks the id, unless the id given is that of such a timer, which then
    // starts anew. An id, or 0.
    PLINTH_PLATFORM_API UINT_PTR WINAPI SetTimer(HWND window, UINT_PTR id, UINT milliseconds,
                                                 TIMERPROC procedure);
    PLINTH_PLATFORM_API BOOL WINAPI KillTimer(HWND window, UINT_PTR id);

#define SPI_GETSCREENSAVEACTIVE 16u
#define SPI_SETSCREENSAVEACTIVE 17u
#define SPI_GETLOWPOWERACTIVE 83u
#define SPI_GETPOWEROFFACTIVE 84u
#define SPI_SETLOWPOWERACTIVE 85u
#define SPI_SETPOWEROFFACTIVE 86u
#define SPIF_UPDATEINIFILE 1u
#define SPIF_SENDCHANGE 2u
    // A setting: read into a BOOL, or set from the parameter. SPIF_UPDATEINIFILE keeps it beyond
    // the session; nobody is told of a change.
    PLINTH_PLATFORM_API BOOL WINAPI SystemParametersInfoW(UINT action, UINT parameter, PVOID value,
                                                          UINT change);

#define MAX_STR_BLOCKREASON 256 // characters that count, terminator included
    // A "shutdown" lock of the login manager for as long as a window has a reason. The window is
    // not looked at. The reason is shown for all the locks of the process.
    PLINTH_PLATFORM_API BOOL WINAPI ShutdownBlockReasonCreate(HWND window, LPCWSTR reason);
    PLINTH_PLATFORM_API BOOL WINAPI ShutdownBlockReasonDestroy(HWND window);

    // At most 1,024 characters of output, terminator included.
    PLINTH_PLATFORM_API int __cdecl wsprintfW(LPWSTR buffer, LPCWSTR format, ...);
    PLINTH_PLATFORM_API int WINAPI wvsprintfW(LPWSTR buffer, LPCWSTR format, va_list arguments);
    PLINTH_PLATFORM_API int WINAPI wvsprintfA(LPSTR buffer, LPCSTR format, va_list arguments);

#ifdef __cplusplus
}
static_assert(sizeof(MSG) == 48 && offsetof(MSG, wParam) == 16 && offsetof(MSG, time) == 32);
#endif

#endif
