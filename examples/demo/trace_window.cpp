// The library's windows are ordinary windows of the system: they are found by their class and
// arranged with ordinary messages, on both systems.
#include "trace_window.h"

#include <windows.h>

#include <commctrl.h>
#include <plinth_w32_system.h>

#if __has_include(<plinth_platform.h>)
#include <plinth_platform.h>
#endif

namespace demo
{

namespace
{

constexpr double settle_time = 500; // ms; records are shown every 200
constexpr double look_time = 100;   // ms between two looks
constexpr int window_width = 1000;  // pixels
constexpr int window_height = 180;
constexpr int text_width = 880; // of the column with the record
constexpr int most_rows = 5;    // of windows beneath each other

// The next one of this process, null after the last.
HWND next_window(HWND after)
{
    for (;;)
    {
        after = FindWindowExW(nullptr, after, L"PLINTH_DEBUG_WINDOW", nullptr);
        DWORD process = 0;
        if (!after ||
            (GetWindowThreadProcessId(after, &process) && process == GetCurrentProcessId()))
            return after;
    }
}

void arrange()
{
    int number = 0;
    for (HWND window = next_window(nullptr); window; window = next_window(window), ++number)
    {
        MoveWindow(window, number / most_rows * 60, number % most_rows * (window_height + 10),
                   window_width, window_height, TRUE);
        if (const HWND list = FindWindowExW(window, nullptr, L"SysListView32", nullptr))
            SendMessageW(list, LVM_SETCOLUMNWIDTH, 1, text_width);
    }
}

} // namespace

bool has_display()
{
#if __has_include(<plinth_platform.h>)
    return PlinthHasDesktop() != FALSE;
#else
    return true;
#endif
}

void open_trace_windows()
{
    DiagOutputWnd(nullptr, 0);
}

void finish_trace_windows(bool close)
{
    QV_Sleep(settle_time, QV_PRECISION_SLEEP);
    arrange();
    // The search begins anew each time: after a window that has just closed it finds none, and a
    // late record may have opened another window.
    while (HWND window = next_window(nullptr))
    {
        for (; close && window; window = next_window(window))
            PostMessageW(window, WM_CLOSE, 0, 0);
        QV_Sleep(look_time, QV_PRECISION_SLEEP);
    }
}

} // namespace demo
