#include "window_table.h"

#include <algorithm>
#include <map>

#include "system/fork.h"
#include "system/immortal.h"
#include "system/last_error.h"

using namespace platform;

namespace
{

// Handles have 32 significant bits, increase, and are only reused after all others: a stale one
// refers to no other window. The map orders windows by when they were made.
struct Table
{
    std::mutex lock; // the WindowLock
    std::map<ULONG_PTR, std::unique_ptr<Window>> windows;
    ULONG_PTR last = 0x10000;
    DWORD forking = 0; // the forking thread; set while it holds the lock for the fork
};

// Never destroyed: threads have windows until the very end of the process.
Table& table()
{
    static Immortal<Table> only;
    return *only;
}

void take_before_fork()
{
    table().lock.lock();
    table().forking = GetCurrentThreadId();
}

void release()
{
    table().lock.unlock();
}

// The forking thread's windows stay, with its new id. Those of other threads are removed: no thread
// would handle messages sent to them.
void keep_own_windows()
{
    auto& windows = table().windows;
    for (auto each = windows.begin(); each != windows.end();)
    {
        std::unique_ptr<Window>& window = each->second;
        if (window->thread == table().forking)
        {
            window->thread = GetCurrentThreadId();
            ++each;
            continue;
        }
        leave_to_parent(window.release());
        each = windows.erase(each);
    }
}

const AtFork g_at_fork(ForkStep::windows, {take_before_fork, release, keep_own_windows});

ULONG_PTR next_handle()
{
    Table& all = table();
    do
    {
        all.last += 2;
        if (all.last > 0x7FFFFFFF)
            all.last = 0x10002;
    } while (all.windows.contains(all.last));
    return all.last;
}

} // namespace

namespace platform
{

thread_local HWND t_active_window = nullptr;

WindowLock::WindowLock() : m_lock(table().lock) {}

Window* find_window(HWND handle)
{
    const auto found = table().windows.find(reinterpret_cast<ULONG_PTR>(handle));
    if (found != table().windows.end())
        return found->second.get();
    fail_with(ERROR_INVALID_WINDOW_HANDLE);
    return nullptr;
}

HWND add_window(std::unique_ptr<Window> window)
{
    const ULONG_PTR handle = next_handle();
    window->handle = reinterpret_cast<HWND>(handle);
    return table().windows.emplace(handle, std::move(window)).first->second->handle;
}

std::unique_ptr<Window> take_window(HWND handle)
{
    const auto found = table().windows.find(reinterpret_cast<ULONG_PTR>(handle));
    if (found == table().windows.end())
        return nullptr;
    std::unique_ptr<Window> taken = std::move(found->second);
    table().windows.erase(found);
    return taken;
}

std::vector<std::unique_ptr<Window>> take_windows_of(DWORD thread)
{
    std::vector<std::unique_ptr<Window>> taken;
    auto& windows = table().windows;
    for (auto each = windows.begin(); each != windows.end();)
        if (each->second->thread == thread)
        {
            taken.push_back(std::move(each->second));
            each = windows.erase(each);
        }
        else
            ++each;
    return taken;
}

std::vector<HWND> windows_below(HWND parent, Kinship kinship)
{
    const bool children = kinship == Kinship::child && parent;
    std::vector<HWND> found;
    for (const auto& [handle, window] : table().windows)
        if (window->is_child() == children && (!parent || window->parent == parent))
            found.push_back(window->handle);
    return found;
}

bool is_descendant(HWND window, HWND ancestor)
{
    while (const Window* const found = find_window(window))
    {
        if (!found->is_child())
            return false;
        window = found->parent;
        if (window == ancestor)
            return true;
    }
    return false;
}

bool has_windows(const WindowClass& window_class)
{
    return std::ranges::any_of(table().windows, [&window_class](const auto& each)
                               { return each.second->window_class.get() == &window_class; });
}

LRESULT call_procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    WNDPROC procedure = nullptr;
    {
        const WindowLock lock;
        if (const Window* const found = find_window(window))
            procedure = found->procedure;
    }
    return procedure ? procedure(window, message, wParam, lParam) : 0;
}

std::shared_ptr<ControlData> control_of(HWND window)
{
    const WindowLock lock;
    const Window* const found = find_window(window);
    return found ? found->control : nullptr;
}

} // namespace platform

extern "C" BOOL IsWindow(HWND window)
{
    const WindowLock lock;
    return find_window(window) != nullptr;
}
