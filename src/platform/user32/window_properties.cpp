// Properties of windows: texts, words, parents, and windows by their names.
#include <algorithm>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include "system/exception_guard.h"
#include "system/last_error.h"
#include "system/text.h"
#include "window_class.h"
#include "window_table.h"

using namespace platform;

namespace
{

// The address of an index in the class's extra bytes; null with the last error set.
unsigned char* extra_word(Window& window, int index)
{
    if (index < 0 || static_cast<size_t>(index) + sizeof(LONG_PTR) > window.extra.size())
    {
        fail_with(ERROR_INVALID_INDEX);
        return nullptr;
    }
    return window.extra.data() + index;
}

LONG_PTR swap_procedure(Window& window, LONG_PTR value)
{
    const auto former = reinterpret_cast<LONG_PTR>(window.procedure);
    window.procedure = reinterpret_cast<WNDPROC>(value);
    return former;
}

template <class Member> LONG_PTR swap_member(Member& member, LONG_PTR value)
{
    if constexpr (std::is_pointer_v<Member>)
        return reinterpret_cast<LONG_PTR>(std::exchange(member, reinterpret_cast<Member>(value)));
    else
        return static_cast<LONG_PTR>(std::exchange(member, static_cast<Member>(value)));
}

bool matches(const Window& window, LPCWSTR class_name, LPCWSTR title)
{
    if (class_name)
    {
        const auto atom = reinterpret_cast<ULONG_PTR>(class_name);
        if (atom <= 0xFFFF ? atom != window.window_class->atom
                           : compare_folded(window.window_class->name.data(), class_name) != 0)
            return false;
    }
    const wchar_t* const text = window.title.empty() ? L"" : window.title.data();
    return !title || compare_folded(text, title) == 0;
}

} // namespace

extern "C" LONG_PTR GetWindowLongPtrW(HWND handle, int index)
{
    const WindowLock lock;
    Window* const window = find_window(handle);
    if (!window)
        return 0;
    switch (index)
    {
    case GWLP_USERDATA:
        return window->user_data;
    case GWLP_WNDPROC:
        return reinterpret_cast<LONG_PTR>(window->procedure);
    case GWL_STYLE:
        return static_cast<LONG_PTR>(window->style);
    case GWL_EXSTYLE:
        return static_cast<LONG_PTR>(window->ex_style);
    case GWLP_ID:
        return static_cast<LONG_PTR>(window->id);
    case GWLP_HINSTANCE:
        return reinterpret_cast<LONG_PTR>(window->instance);
    default:
        break;
    }
    LONG_PTR value = 0;
    if (const unsigned char* const word = extra_word(*window, index))
        std::memcpy(&value, word, sizeof value);
    return value;
}

extern "C" LONG_PTR SetWindowLongPtrW(HWND handle, int index, LONG_PTR value)
{
    const WindowLock lock;
    Window* const window = find_window(handle);
    if (!window)
        return 0;
    switch (index)
    {
    case GWLP_USERDATA:
        return swap_member(window->user_data, value);
    case GWLP_WNDPROC:
        return swap_procedure(*window, value);
    case GWL_STYLE:
        return swap_member(window->style, value);
    case GWL_EXSTYLE:
        return swap_member(window->ex_style, value);
    case GWLP_ID:
        return swap_member(window->id, value);
    case GWLP_HINSTANCE:
        return swap_member(window->instance, value);
    default:
        break;
    }
    LONG_PTR former = 0;
    if (unsigned char* const word = extra_word(*window, index))
    {
        std::memcpy(&former, word, sizeof former);
        std::memcpy(word, &value, sizeof value);
    }
    return former;
}

extern "C" BOOL SetWindowTextW(HWND window, LPCWSTR text)
{
    return SendMessageW(window, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text)) > 0;
}

extern "C" int GetWindowTextW(HWND window, LPWSTR text, int size)
{
    if (!text || size <= 0)
        return 0;
    text[0] = L'\0';
    return static_cast<int>(SendMessageW(window, WM_GETTEXT, static_cast<WPARAM>(size),
                                         reinterpret_cast<LPARAM>(text)));
}

extern "C" int GetWindowTextLengthW(HWND window)
{
    return static_cast<int>(SendMessageW(window, WM_GETTEXTLENGTH, 0, 0));
}

extern "C" HWND GetParent(HWND window)
{
    const WindowLock lock;
    const Window* const found = find_window(window);
    // Only pop-up windows report their owner.
    return found && (found->style & (WS_CHILD | WS_POPUP)) ? found->parent : nullptr;
}

extern "C" DWORD GetWindowThreadProcessId(HWND window, LPDWORD process)
{
    const WindowLock lock;
    const Window* const found = find_window(window);
    if (!found)
        return 0;
    if (process)
        *process = GetCurrentProcessId();
    return found->thread;
}

extern "C" HWND FindWindowExW(HWND parent, HWND after, LPCWSTR class_name, LPCWSTR title)
try
{
    const WindowLock lock;
    const std::vector<HWND> all = windows_below(parent, Kinship::child);
    auto each = all.begin();
    if (after)
    {
        each = std::find(all.begin(), all.end(), after);
        if (each == all.end())
        {
            fail_with(ERROR_INVALID_WINDOW_HANDLE);
            return nullptr;
        }
        ++each;
    }
    each =
        std::find_if(each, all.end(),
                     [&](HWND window) { return matches(*find_window(window), class_name, title); });
    return each == all.end() ? nullptr : *each;
}
catch (const std::exception& exception)
{
    return failed_by(exception, nullptr);
}

extern "C" HWND FindWindowW(LPCWSTR class_name, LPCWSTR title)
{
    return FindWindowExW(nullptr, nullptr, class_name, title);
}
