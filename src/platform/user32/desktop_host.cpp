#include "desktop_host.h"

#include "comctl32/list_desktop.h"
#include "window_table.h"

using namespace platform;

namespace
{

BOOL close_window(HWND window)
{
    return PostMessageW(window, WM_CLOSE, 0, 0);
}

BOOL place_window(HWND window, const RECT* place)
{
    {
        const WindowLock lock;
        Window* const found = find_window(window);
        if (!found)
            return FALSE;
        found->place = *place;
    }
    RECT client = {};
    return GetClientRect(window, &client) &&
           PostMessageW(window, WM_SIZE, SIZE_RESTORED, MAKELPARAM(client.right, client.bottom));
}

} // namespace

namespace platform
{

constexpr PlinthDesktopHost desktop_host = {
    sizeof(PlinthDesktopHost), close_window, place_window, list_take_changes,
    list_column_count,         list_column,  list_cell};

} // namespace platform
