// Making and destroying windows.
//
// A new window is sent WM_NCCREATE, which sets the title, and WM_CREATE; either can refuse it. A
// child is then sent its size and place, a top-level window when it is first shown. A window being
// destroyed is sent WM_DESTROY before its children are, which all still exist then, and
// WM_NCDESTROY after they are destroyed. WM_GETMINMAXINFO, WM_NCCALCSIZE and WM_WINDOWPOSCHANGING
// are not sent: the window isn't asked where it wants to be.
#include "window_life.h"

#include <new>

#include "desktop.h"
#include "message_queue.h"
#include "system/exception_guard.h"
#include "system/faults.h"
#include "system/last_error.h"
#include "window_class.h"
#include "window_place.h"
#include "window_table.h"

using namespace platform;

namespace
{

constexpr RECT default_place = {0, 0, 800, 600};

// 0 or a system error.
DWORD check_parent(DWORD style, HWND parent)
{
    if (!parent)
        return (style & WS_CHILD) ? ERROR_TLW_WITH_WSCHILD : 0;
    return IsWindow(parent) ? 0 : ERROR_INVALID_WINDOW_HANDLE;
}

// The style of a new window, from the requested one.
DWORD style_of(DWORD wanted)
{
    if (wanted & WS_CHILD)
        return wanted;
    return wanted | WS_CLIPSIBLINGS | ((wanted & WS_POPUP) ? 0 : WS_CAPTION);
}

// Null with the last error set.
HWND enter_window(const CREATESTRUCTW& create, ClassPointer window_class)
{
    MessageQueue* const queue = MessageQueue::own();
    if (!queue)
        return nullptr;
    auto window = std::make_unique<Window>();
    window->queue = queue->shared_from_this();
    window->thread = GetCurrentThreadId();
    window->parent = create.hwndParent;
    window->style = style_of(static_cast<DWORD>(create.style)) & ~WS_VISIBLE;
    window->ex_style = create.dwExStyle;
    window->instance = create.hInstance;
    if (window->is_child())
        window->id = reinterpret_cast<UINT_PTR>(create.hMenu);
    window->place = {create.x, create.y, create.x + create.cx, create.y + create.cy};
    window->procedure = window_class->procedure;
    window->extra.resize(window_class->extra_bytes);
    window->window_class = std::move(window_class);
    const WindowLock lock;
    if (window->window_class->gone) // it may have been unregistered meanwhile
    {
        fail_with(ERROR_CANNOT_FIND_WND_CLASS);
        return nullptr;
    }
    return add_window(std::move(window));
}

// Removes the window, after its last message.
void remove_window(HWND handle)
{
    std::unique_ptr<Window> gone;
    {
        const WindowLock lock;
        gone = take_window(handle);
    }
    if (!gone)
        return;
    if (t_active_window == handle)
        t_active_window = nullptr;
    gone->queue->forget_window(handle);
    tell_desktop_destroyed(handle);
}

// Null for a window of the calling thread, or one that no longer exists.
std::shared_ptr<MessageQueue> queue_elsewhere(HWND window)
{
    const WindowLock lock;
    const Window* const found = find_window(window);
    return found && found->thread != GetCurrentThreadId() ? found->queue : nullptr;
}

std::vector<HWND> below(HWND window, Kinship kinship)
{
    const WindowLock lock;
    return windows_below(window, kinship);
}

// Windows of other threads are destroyed when their thread handles the message. Without memory the
// rest stays, until its thread ends.
void destroy_below(HWND window, Kinship kinship)
try
{
    for (const HWND each : below(window, kinship))
        if (const std::shared_ptr<MessageQueue> other = queue_elsewhere(each))
        {
            const auto sent = std::make_shared<SentMessage>();
            sent->kind = SentMessage::Kind::destroy;
            sent->window = each;
            other->send(sent);
        }
        else
            destroy_window(each);
}
catch (const std::exception& exception)
{
    failed_by(exception, FALSE);
}

HWND create_window(CREATESTRUCTW& create)
{
    ClassPointer window_class = find_class(create.lpszClass);
    if (!window_class)
        return nullptr;
    if ((static_cast<DWORD>(create.style) & WS_CHILD) == 0)
        load_desktop();
    const HWND window = enter_window(create, std::move(window_class));
    if (!window)
        return nullptr;
    const auto parameters = reinterpret_cast<LPARAM>(&create);
    if (!call_procedure(window, WM_NCCREATE, 0, parameters))
    {
        remove_window(window);
        return nullptr;
    }
    tell_desktop_created(window);
    if (call_procedure(window, WM_CREATE, 0, parameters) == -1)
    {
        destroy_window(window);
        return nullptr;
    }
    if (static_cast<DWORD>(create.style) & WS_CHILD)
    {
        RECT client = {};
        GetClientRect(window, &client);
        call_procedure(window, WM_SIZE, SIZE_RESTORED, MAKELPARAM(client.right, client.bottom));
        call_procedure(window, WM_MOVE, 0, MAKELPARAM(create.x, create.y));
    }
    if (static_cast<DWORD>(create.style) & WS_VISIBLE)
        show_window(window, SW_SHOW);
    return IsWindow(window) ? window : nullptr;
}

} // namespace

namespace platform
{

bool destroy_window(HWND handle)
{
    bool top_level = false;
    {
        const WindowLock lock;
        Window* const window = find_window(handle);
        if (!window)
            return false;
        if (window->thread != GetCurrentThreadId())
            return fail_with(ERROR_ACCESS_DENIED);
        if (window->destroying) // called from within its own WM_DESTROY
            return true;
        window->destroying = true;
        top_level = !window->is_child();
    }
    destroy_below(handle, Kinship::owned);
    if (top_level)
        show_window(handle, SW_HIDE);
    call_procedure(handle, WM_DESTROY, 0, 0);
    destroy_below(handle, Kinship::child);
    call_procedure(handle, WM_NCDESTROY, 0, 0);
    remove_window(handle);
    return true;
}

} // namespace platform

extern "C" HWND CreateWindowExW(DWORD ex_style, LPCWSTR class_name, LPCWSTR title, DWORD style,
                                int x, int y, int width, int height, HWND parent, HMENU menu,
                                HINSTANCE instance, LPVOID param)
{
    int error = 0;
    if (api_fault("CreateWindowExW", error))
    {
        fail_with(static_cast<DWORD>(error));
        return nullptr;
    }
    if (const DWORD refused = check_parent(style, parent))
    {
        fail_with(refused);
        return nullptr;
    }
    if (x == CW_USEDEFAULT)
        x = y = default_place.left;
    if (width == CW_USEDEFAULT)
    {
        width = default_place.right;
        height = default_place.bottom;
    }
    CREATESTRUCTW create = {};
    create.lpCreateParams = param;
    create.hInstance = instance;
    create.hMenu = menu;
    create.hwndParent = parent;
    create.cx = width > 0 ? width : 0;
    create.cy = height > 0 ? height : 0;
    create.x = x;
    create.y = y;
    create.style = static_cast<LONG>(style);
    create.lpszName = title;
    create.lpszClass = class_name;
    create.dwExStyle = ex_style;
    try
    {
        return create_window(create);
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, nullptr);
    }
}

extern "C" BOOL DestroyWindow(HWND window)
{
    return destroy_window(window);
}
