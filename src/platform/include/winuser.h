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
#define MB_OKCANCEL 0x00000001u
#define MB_ABORTRETRYIGNORE 0x00000002u
#define MB_YESNOCANCEL 0x00000003u
#define MB_YESNO 0x00000004u
#define MB_RETRYCANCEL 0x00000005u
#define MB_ICONERROR 0x00000010u
#define MB_ICONHAND 0x00000010u
#define MB_ICONQUESTION 0x00000020u
#define MB_ICONEXCLAMATION 0x00000030u
#define MB_ICONWARNING 0x00000030u
#define MB_ICONASTERISK 0x00000040u
#define MB_ICONINFORMATION 0x00000040u
#define MB_DEFBUTTON1 0x00000000u
#define MB_DEFBUTTON2 0x00000100u
#define MB_DEFBUTTON3 0x00000200u
#define MB_TASKMODAL 0x00002000u
#define MB_SETFOREGROUND 0x00010000u
#define MB_TOPMOST 0x00040000u
#define MB_TYPEMASK 0x0000000Fu
#define MB_ICONMASK 0x000000F0u
#define MB_DEFMASK 0x00000F00u
#define IDOK 1
#define IDCANCEL 2
#define IDABORT 3
#define IDRETRY 4
#define IDIGNORE 5
#define IDYES 6
#define IDNO 7
#define SW_HIDE 0
#define SW_SHOWNORMAL 1
#define SW_SHOWNOACTIVATE 4
#define SW_SHOW 5
#define SW_SHOWNA 8

#define WM_NULL 0x0000u
#define WM_CREATE 0x0001u
#define WM_DESTROY 0x0002u
#define WM_MOVE 0x0003u // LOWORD, HIWORD of lParam: x, y of the client area
#define WM_SIZE 0x0005u // LOWORD, HIWORD of lParam: width, height of the client area
#define WM_KILLFOCUS 0x0008u
#define WM_SETTEXT 0x000Cu
#define WM_GETTEXT 0x000Du
#define WM_GETTEXTLENGTH 0x000Eu
#define WM_CLOSE 0x0010u
#define WM_QUIT 0x0012u
#define WM_SHOWWINDOW 0x0018u
#define WM_NOTIFY 0x004Eu
#define WM_NCCREATE 0x0081u
#define WM_NCDESTROY 0x0082u
#define WM_KEYDOWN 0x0100u // wParam: VK_...
#define WM_TIMER 0x0113u
#define VK_RETURN 0x0D
#define VK_ESCAPE 0x1B
#define SIZE_RESTORED 0u
#define WM_USER 0x0400u
#define WM_APP 0x8000u
#define PM_NOREMOVE 0x0000u
#define PM_REMOVE 0x0001u
#define USER_TIMER_MINIMUM 0x0000000Au // ms
#define USER_TIMER_MAXIMUM 0x7FFFFFFFu // ms

#define WS_OVERLAPPED 0x00000000u
#define WS_THICKFRAME 0x00040000u
#define WS_SYSMENU 0x00080000u
#define WS_MINIMIZEBOX 0x00020000u
#define WS_MAXIMIZEBOX 0x00010000u
#define WS_CLIPSIBLINGS 0x04000000u
#define WS_CAPTION 0x00C00000u
#define WS_VISIBLE 0x10000000u
#define WS_CHILD 0x40000000u
#define WS_POPUP 0x80000000u
#define WS_OVERLAPPEDWINDOW 0x00CF0000u
#define WS_EX_OVERLAPPEDWINDOW 0x00000300u
#define CW_USEDEFAULT ((int)0x80000000)

#define GWLP_WNDPROC (-4)
#define GWLP_HINSTANCE (-6)
#define GWLP_ID (-12)
#define GWL_STYLE (-16)
#define GWL_EXSTYLE (-20)
#define GWLP_USERDATA (-21)

#define SMTO_NORMAL 0x0000u
#define SMTO_BLOCK 0x0001u

    typedef LRESULT(CALLBACK* WNDPROC)(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    typedef struct WNDCLASSEXW
    {
        UINT cbSize;
        UINT style;
        WNDPROC lpfnWndProc;
        int cbClsExtra;
        int cbWndExtra;
        HINSTANCE hInstance;
        HICON hIcon;
        HCURSOR hCursor;
        HBRUSH hbrBackground;
        LPCWSTR lpszMenuName;
        LPCWSTR lpszClassName;
        HICON hIconSm;
    } WNDCLASSEXW;

    typedef struct CREATESTRUCTW
    {
        LPVOID lpCreateParams;
        HINSTANCE hInstance;
        HMENU hMenu;
        HWND hwndParent;
        int cy;
        int cx;
        int y;
        int x;
        LONG style;
        LPCWSTR lpszName;
        LPCWSTR lpszClass;
        DWORD dwExStyle;
    } CREATESTRUCTW, *LPCREATESTRUCTW;

    typedef struct NMHDR
    {
        HWND hwndFrom;
        UINT_PTR idFrom;
        UINT code;
    } NMHDR, *LPNMHDR;

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
#define RT_STRING MAKEINTRESOURCEW(6)
#define RT_RCDATA MAKEINTRESOURCEW(10)

    // A text of a string table. size: characters, terminator included; with 0, buffer points to a
    // pointer, which is set to the text itself, without a terminator. Returns the length copied, or
    // the length of the text; 0 if there is none.
    PLINTH_PLATFORM_API int WINAPI LoadStringW(HINSTANCE module, UINT id, LPWSTR buffer, int size);

    PLINTH_PLATFORM_API int WINAPI MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption,
                                               UINT type);
    PLINTH_PLATFORM_API HWND WINAPI GetActiveWindow(void);
    PLINTH_PLATFORM_API HWND WINAPI GetLastActivePopup(HWND window);
    PLINTH_PLATFORM_API BOOL WINAPI IsWindow(HWND window);

    // Classes belong to the process, regardless of the module they name, and stay until they are
    // unregistered; their names ignore case. A class name may also be MAKEINTATOM of the result of
    // RegisterClassExW.
#define MAKEINTATOM(atom) ((LPWSTR)((ULONG_PTR)((WORD)(atom))))
    PLINTH_PLATFORM_API ATOM WINAPI RegisterClassExW(const WNDCLASSEXW* windowClass);
    // Refused with ERROR_CLASS_HAS_WINDOWS while it has windows. The system's own classes can't be
    // unregistered (ERROR_CLASS_DOES_NOT_EXIST). The atom may be reused for another class.
    PLINTH_PLATFORM_API BOOL WINAPI UnregisterClassW(LPCWSTR className, HINSTANCE instance);

    // Windows. A window belongs to the thread that made it, and is destroyed with that thread, then
    // without a message. Its procedure runs only on that thread. The menu argument of a child is
    // its id.
    PLINTH_PLATFORM_API HWND WINAPI CreateWindowExW(DWORD exStyle, LPCWSTR className, LPCWSTR title,
                                                    DWORD style, int x, int y, int width,
                                                    int height, HWND parent, HMENU menu,
                                                    HINSTANCE instance, LPVOID param);
    PLINTH_PLATFORM_API BOOL WINAPI DestroyWindow(HWND window);
    PLINTH_PLATFORM_API BOOL WINAPI IsWindowVisible(HWND window);
    PLINTH_PLATFORM_API BOOL WINAPI ShowWindow(HWND window, int command);
    PLINTH_PLATFORM_API BOOL WINAPI ShowWindowAsync(HWND window, int command);
    PLINTH_PLATFORM_API BOOL WINAPI MoveWindow(HWND window, int x, int y, int width, int height,
                                               BOOL repaint);
    PLINTH_PLATFORM_API BOOL WINAPI UpdateWindow(HWND window);
    PLINTH_PLATFORM_API BOOL WINAPI GetClientRect(HWND window, LPRECT rect);
    PLINTH_PLATFORM_API BOOL WINAPI GetWindowRect(HWND window, LPRECT rect);
    PLINTH_PLATFORM_API BOOL WINAPI SetWindowTextW(HWND window, LPCWSTR text);
    PLINTH_PLATFORM_API int WINAPI GetWindowTextW(HWND window, LPWSTR text, int size);
    PLINTH_PLATFORM_API int WINAPI GetWindowTextLengthW(HWND window);
    PLINTH_PLATFORM_API LONG_PTR WINAPI GetWindowLongPtrW(HWND window, int index);
    PLINTH_PLATFORM_API LONG_PTR WINAPI SetWindowLongPtrW(HWND window, int index, LONG_PTR value);
    PLINTH_PLATFORM_API HWND WINAPI GetParent(HWND window);
    PLINTH_PLATFORM_API DWORD WINAPI GetWindowThreadProcessId(HWND window, LPDWORD process);
    // Null texts match any. FindWindowW searches top-level windows, FindWindowExW the children of a
    // window, or top-level windows with a null parent, after the one passed.
    PLINTH_PLATFORM_API HWND WINAPI FindWindowW(LPCWSTR className, LPCWSTR title);
    PLINTH_PLATFORM_API HWND WINAPI FindWindowExW(HWND parent, HWND after, LPCWSTR className,
                                                  LPCWSTR title);
    PLINTH_PLATFORM_API LRESULT WINAPI DefWindowProcW(HWND window, UINT message, WPARAM wParam,
                                                      LPARAM lParam);
    PLINTH_PLATFORM_API LRESULT WINAPI CallWindowProcW(WNDPROC procedure, HWND window, UINT message,
                                                       WPARAM wParam, LPARAM lParam);

    // Sending to a window of another thread waits until that thread has handled the message, which
    // it does while it asks for messages or itself waits in a send. A limit (ms) ends the wait with
    // ERROR_TIMEOUT; the thread still handles the message later. With a limit, data to which
    // messages of text and of the list view point is copied; data of other messages isn't.
    PLINTH_PLATFORM_API LRESULT WINAPI SendMessageW(HWND window, UINT message, WPARAM wParam,
                                                    LPARAM lParam);
    PLINTH_PLATFORM_API LRESULT WINAPI SendMessageTimeoutW(HWND window, UINT message, WPARAM wParam,
                                                           LPARAM lParam, UINT flags, UINT limit,
                                                           PDWORD_PTR result);
    // Without a window: to the calling thread.
    PLINTH_PLATFORM_API BOOL WINAPI PostMessageW(HWND window, UINT message, WPARAM wParam,
                                                 LPARAM lParam);

    // Messages of the calling thread. A thread has a queue from its first call of one of these, or
    // of SetTimer, on. The filter takes messages from first to last; 0 and 0 take all. With a
    // window it takes only those of the window and its children, with a window of -1 only those
    // without a window.
    PLINTH_PLATFORM_API BOOL WINAPI GetMessageW(LPMSG message, HWND window, UINT first, UINT last);
    PLINTH_PLATFORM_API BOOL WINAPI PeekMessageW(LPMSG message, HWND window, UINT first, UINT last,
                                                 UINT remove);
    PLINTH_PLATFORM_API BOOL WINAPI TranslateMessage(const MSG* message);
    PLINTH_PLATFORM_API LRESULT WINAPI DispatchMessageW(const MSG* message);
    PLINTH_PLATFORM_API BOOL WINAPI PostThreadMessageW(DWORD thread, UINT message, WPARAM wParam,
                                                       LPARAM lParam);
    PLINTH_PLATFORM_API void WINAPI PostQuitMessage(int exitCode);

    // Message timers of the calling thread; milliseconds are raised to USER_TIMER_MINIMUM. A window
    // chooses its timers' ids. Without a window the system chooses the id, unless the id passed is
    // that of such a timer, which is then restarted. Returns the id, or 0.
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
    // the session; changes are not announced.
    PLINTH_PLATFORM_API BOOL WINAPI SystemParametersInfoW(UINT action, UINT parameter, PVOID value,
                                                          UINT change);

#define MAX_STR_BLOCKREASON 256 // characters that are used, terminator included
    // A "shutdown" lock of the login manager for as long as a window has a reason. The window is
    // not checked. The reason is shown for all the locks of the process.
    PLINTH_PLATFORM_API BOOL WINAPI ShutdownBlockReasonCreate(HWND window, LPCWSTR reason);
    PLINTH_PLATFORM_API BOOL WINAPI ShutdownBlockReasonDestroy(HWND window);

    // At most 1,024 characters of output, terminator included.
    PLINTH_PLATFORM_API int __cdecl wsprintfW(LPWSTR buffer, LPCWSTR format, ...);
    PLINTH_PLATFORM_API int WINAPI wvsprintfW(LPWSTR buffer, LPCWSTR format, va_list arguments);
    PLINTH_PLATFORM_API int WINAPI wvsprintfA(LPSTR buffer, LPCSTR format, va_list arguments);

#ifdef __cplusplus
}
static_assert(sizeof(WNDCLASSEXW) == 80 && offsetof(WNDCLASSEXW, lpszClassName) == 64);
static_assert(sizeof(CREATESTRUCTW) == 80 && offsetof(CREATESTRUCTW, lpszName) == 56);
static_assert(sizeof(NMHDR) == 24);
static_assert(sizeof(MSG) == 48 && offsetof(MSG, wParam) == 16 && offsetof(MSG, time) == 32);
#endif

#endif
