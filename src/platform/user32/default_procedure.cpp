// The default handling of messages that a window's procedure doesn't handle.
#include <algorithm>
#include <new>

#include "desktop.h"
#include "system/exception_guard.h"
#include "system/last_error.h"
#include "system/text.h"
#include "window_table.h"

using namespace platform;

namespace
{

bool keep_title(HWND window, const wchar_t* text)
{
    try
    {
        std::vector<wchar_t> title;
        if (text)
            title.assign(text, text + wide_length(text) + 1);
        const WindowLock lock;
        Window* const found = find_window(window);
        if (!found)
            return false;
        found->title.swap(title);
        return true;
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, FALSE);
    }
}

LRESULT title_length(HWND window)
{
    const WindowLock lock;
    const Window* const found = find_window(window);
    return found && !found->title.empty() ? static_cast<LRESULT>(found->title.size() - 1) : 0;
}

// Copies up to size characters, terminator included. Returns the length without it.
LRESULT give_title(HWND window, size_t size, wchar_t* text)
{
    if (size == 0 || !text)
        return 0;
    const WindowLock lock;
    const Window* const found = find_window(window);
    const size_t whole = found && !found->title.empty() ? found->title.size() - 1 : 0;
    const size_t length = std::min(whole, size - 1);
    if (length > 0)
        std::copy_n(found->title.data(), length, text);
    text[length] = L'\0';
    return static_cast<LRESULT>(length);
}

} // namespace

extern "C" LRESULT DefWindowProcW(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
try
{
    switch (message)
    {
    case WM_NCCREATE:
        return keep_title(window, reinterpret_cast<const CREATESTRUCTW*>(lParam)->lpszName);
    case WM_SETTEXT:
        if (!keep_title(window, reinterpret_cast<const wchar_t*>(lParam)))
            return FALSE;
        tell_desktop_title(window);
        return TRUE;
    case WM_GETTEXT:
        return give_title(window, wParam, reinterpret_cast<wchar_t*>(lParam));
    case WM_GETTEXTLENGTH:
        return title_length(window);
    case WM_CLOSE:
        DestroyWindow(window);
        return 0;
    default:
        return 0;
    }
}
catch (const std::exception& exception)
{
    return failed_by(exception, LRESULT{0});
}

extern "C" LRESULT CallWindowProcW(WNDPROC procedure, HWND window, UINT message, WPARAM wParam,
                                   LPARAM lParam)
{
    return procedure(window, message, wParam, lParam);
}
