// The places and visibility of windows.
//
// There is no real frame to measure: a top-level window with a caption keeps a constant one free
// around its client area. A call for a window of another thread changes it at once and sends the
// messages about it to that thread.
#include "window_place.h"

#include "desktop.h"
#include "message_queue.h"
#include "system/exception_guard.h"
#include "system/last_error.h"
#include "window_table.h"

using namespace platform;

namespace
{

POINT client_origin(const Window& window)
{
    return has_frame(window.style) ? POINT{frame_width, caption_height} : POINT{0, 0};
}

RECT client_rect(const Window& window)
{
    LONG width = window.place.right - window.place.left;
    LONG height = window.place.bottom - window.place.top;
    if (has_frame(window.style))
    {
        width -= 2 * frame_width;
        height -= caption_height + frame_width;
    }
    return {0, 0, width > 0 ? width : 0, height > 0 ? height : 0};
}

bool shows(int command)
{
    return command != SW_HIDE;
}

} // namespace

namespace platform
{

bool show_window(HWND handle, int command)
{
    bool was_visible = false;
    bool first = false;
    bool top_level = false;
    bool own_thread = false;
    RECT client = {};
    RECT place = {};
    {
        const WindowLock lock;
        Window* const window = find_window(handle);
        if (!window)
            return false;
        was_visible = (window->style & WS_VISIBLE) != 0;
        window->style = shows(command) ? window->style | WS_VISIBLE : window->style & ~WS_VISIBLE;
        top_level = !window->is_child();
        own_thread = window->thread == GetCurrentThreadId();
        first = shows(command) && top_level && !window->size_told;
        window->size_told |= first;
        client = client_rect(*window);
        place = window->place;
        const POINT origin = client_origin(*window);
        place.left += origin.x;
        place.top += origin.y;
    }
    // Each thread has an active window of its own.
    if (own_thread && top_level && shows(command) && command != SW_SHOWNOACTIVATE &&
        command != SW_SHOWNA)
        t_active_window = handle;
    else if (!shows(command) && t_active_window == handle)
        t_active_window = nullptr;
    if (was_visible != shows(command))
    {
        SendMessageW(handle, WM_SHOWWINDOW, shows(command), 0);
        tell_desktop_visibility(handle, shows(command));
    }
    if (first)
    {
        SendMessageW(handle, WM_SIZE, SIZE_RESTORED, MAKELPARAM(client.right, client.bottom));
        SendMessageW(handle, WM_MOVE, 0, MAKELPARAM(place.left, place.top));
    }
    return was_visible;
}

} // namespace platform

extern "C" BOOL ShowWindow(HWND window, int command)
{
    return show_window(window, command);
}

extern "C" BOOL ShowWindowAsync(HWND window, int command)
{
    std::shared_ptr<MessageQueue> queue;
    {
        const WindowLock lock;
        if (const Window* const found = find_window(window))
            queue = found->queue;
    }
    if (!queue)
        return FALSE;
    try
    {
        const auto sent = std::make_shared<SentMessage>();
        sent->kind = SentMessage::Kind::show;
        sent->window = window;
        sent->wParam = static_cast<WPARAM>(command);
        return queue->send(sent);
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, FALSE);
    }
}

extern "C" BOOL MoveWindow(HWND handle, int x, int y, int width, int height, BOOL)
{
    bool moved = false;
    bool sized = false;
    POINT origin = {};
    RECT client = {};
    {
        const WindowLock lock;
        Window* const window = find_window(handle);
        if (!window)
            return FALSE;
        const RECT place = {x, y, x + (width > 0 ? width : 0), y + (height > 0 ? height : 0)};
        const RECT before = window->place;
        moved = place.left != before.left || place.top != before.top;
        sized = place.right - place.left != before.right - before.left ||
                place.bottom - place.top != before.bottom - before.top;
        window->place = place;
        origin = client_origin(*window);
        client = client_rect(*window);
    }
    if (moved)
        SendMessageW(handle, WM_MOVE, 0, MAKELPARAM(x + origin.x, y + origin.y));
    if (sized)
        SendMessageW(handle, WM_SIZE, SIZE_RESTORED, MAKELPARAM(client.right, client.bottom));
    if (moved || sized)
        tell_desktop_place(handle);
    return TRUE;
}

extern "C" BOOL GetClientRect(HWND window, LPRECT rect)
{
    const WindowLock lock;
    const Window* const found = find_window(window);
    if (!found)
        return FALSE;
    *rect = client_rect(*found);
    return TRUE;
}

// In screen coordinates.
extern "C" BOOL GetWindowRect(HWND window, LPRECT rect)
{
    const WindowLock lock;
    const Window* found = find_window(window);
    if (!found)
        return FALSE;
    *rect = found->place;
    while (found && found->is_child())
    {
        found = find_window(found->parent);
        if (!found)
            break;
        const POINT origin = client_origin(*found);
        const LONG across = found->place.left + origin.x;
        const LONG down = found->place.top + origin.y;
        *rect = {rect->left + across, rect->top + down, rect->right + across, rect->bottom + down};
    }
    return TRUE;
}

// A child is visible when all windows that contain it are.
extern "C" BOOL IsWindowVisible(HWND window)
{
    const WindowLock lock;
    const Window* found = find_window(window);
    while (found && (found->style & WS_VISIBLE) && found->is_child())
        found = find_window(found->parent);
    return found && (found->style & WS_VISIBLE);
}

// Nothing waits to be painted: the desktop is notified of each change at once.
extern "C" BOOL UpdateWindow(HWND window)
{
    return IsWindow(window);
}

extern "C" HWND GetActiveWindow(void)
{
    return t_active_window;
}

extern "C" HWND GetLastActivePopup(HWND window)
{
    return IsWindow(window) ? window : nullptr;
}
