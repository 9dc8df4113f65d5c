// A debug window whose thread never answers again.
#pragma once

#include <gtest/gtest.h>

#include <windows.h>

#include "debug_windows.h"

namespace test
{

// Outlives the window that it has made hang: the thread waits for what belongs to this, until it is
// terminated. One at a time.
class HangingWindow
{
public:
    HangingWindow() { s_release = CreateEventW(nullptr, TRUE, FALSE, nullptr); }
    ~HangingWindow() { CloseHandle(s_release); }
    HangingWindow(const HangingWindow&) = delete;
    HangingWindow& operator=(const HangingWindow&) = delete;

    // The window of the id, which hangs from now on.
    HWND hang(int id)
    {
        const HWND window = debug_window(id);
        s_before = reinterpret_cast<WNDPROC>(
            SetWindowLongPtrW(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(procedure)));
        EXPECT_FALSE(SendMessageTimeoutW(window, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(L"x"), 0,
                                         10, nullptr));
        return window;
    }

private:
    static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
    {
        if (message == WM_SETTEXT)
            WaitForSingleObject(s_release, INFINITE);
        return CallWindowProcW(s_before, window, message, wParam, lParam);
    }

    static inline HANDLE s_release = nullptr;
    static inline WNDPROC s_before = nullptr;
};

} // namespace test
