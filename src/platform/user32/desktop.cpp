#include "desktop.h"

#include <atomic>

#include "kernel32/thread/no_termination.h"
#include "system/fork.h"
#include "window_class.h"
#include "window_table.h"

using namespace platform;

namespace
{

std::atomic<const PlinthDesktop*> g_desktop{nullptr};

// A child doesn't have the display's thread, so its windows exist in memory alone.
const AtFork g_at_fork(ForkStep::desktop, {nullptr, nullptr, [] { g_desktop = nullptr; }});

} // namespace

// A thread that informs the display posts a message under the display's own locks. Each call below
// delays the thread's termination until it has released them.
namespace platform
{

bool attach_desktop(const PlinthDesktop& desktop)
{
    const PlinthDesktop* none = nullptr;
    return g_desktop.compare_exchange_strong(none, &desktop);
}

const PlinthDesktop* desktop()
{
    return g_desktop.load(std::memory_order_acquire);
}

void tell_desktop_created(HWND window)
{
    const NoTermination guard;
    const PlinthDesktop* const to = desktop();
    if (!to || !to->window_created)
        return;
    std::vector<wchar_t> title;
    ClassPointer window_class;
    PlinthWindowInfo info = {};
    {
        const WindowLock lock;
        const Window* const found = find_window(window);
        if (!found)
            return;
        title = found->title;
        window_class = found->window_class;
        info = {window,          found->parent, window_class->name.data(), nullptr, found->style,
                found->ex_style, found->place};
    }
    info.title = title.empty() ? L"" : title.data();
    to->window_created(&info);
}

void tell_desktop_destroyed(HWND window)
{
    const NoTermination guard;
    if (const PlinthDesktop* const to = desktop(); to && to->window_destroyed)
        to->window_destroyed(window);
}

void tell_desktop_title(HWND window)
{
    const NoTermination guard;
    const PlinthDesktop* const to = desktop();
    if (!to || !to->title_changed)
        return;
    std::vector<wchar_t> title;
    {
        const WindowLock lock;
        if (const Window* const found = find_window(window))
            title = found->title;
    }
    to->title_changed(window, title.empty() ? L"" : title.data());
}

void tell_desktop_place(HWND window)
{
    const NoTermination guard;
    const PlinthDesktop* const to = desktop();
    if (!to || !to->place_changed)
        return;
    RECT place = {};
    {
        const WindowLock lock;
        if (const Window* const found = find_window(window))
            place = found->place;
    }
    to->place_changed(window, &place);
}

void tell_desktop_visibility(HWND window, bool visible)
{
    const NoTermination guard;
    if (const PlinthDesktop* const to = desktop(); to && to->visibility_changed)
        to->visibility_changed(window, visible);
}

} // namespace platform
