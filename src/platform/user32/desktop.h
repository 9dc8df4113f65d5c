// The interface to a display: the functions of a plug-in that mirrors the windows, and those that
// it calls.
//
// The windows, and the rows of a list view, are in memory and work without a plug-in. At most one
// is attached, before the first top-level window or message box, and stays. Its functions are
// called from any thread, with no lock held; they must not wait for the calling thread. A window
// may be destroyed before its plug-in reads it: then the host's functions report that.
//
// Changes of rows are not reported one by one. rows_changed is called once when a list's rows first
// differ from those that the plug-in took; all further changes until its next list_take_changes
// belong to that one notice.
#pragma once

#include <cstddef>
#include <cstdint>

#include "windows.h"

extern "C"
{

    struct PlinthWindowInfo
    {
        HWND window;
        HWND parent; // of a child, or the owner of a top-level window; may be null
        const wchar_t* class_name;
        const wchar_t* title;
        DWORD style;
        DWORD ex_style;
        RECT place; // pixels, outer edges
    };

    struct PlinthListChanges
    {
        int64_t rows;          // now in the list
        int64_t first_changed; // rows from here on may have changed; -1: none
        int64_t visible_row;   // the last one of an LVM_ENSUREVISIBLE; -1: none
        BOOL columns_changed;
    };

    // The functions of a plug-in. Null functions aren't called.
    struct PlinthDesktop
    {
        size_t size; // of this structure
        void (*window_created)(const PlinthWindowInfo* info);
        void (*window_destroyed)(HWND window);
        void (*title_changed)(HWND window, const wchar_t* title);
        void (*place_changed)(HWND window, const RECT* place);
        void (*visibility_changed)(HWND window, BOOL visible);
        void (*rows_changed)(HWND list);
        // Blocks until the user has answered. Returns IDOK, IDABORT ..., or 0 if the box can't be
        // shown or shown any longer.
        int (*message_box)(HWND owner, const wchar_t* text, const wchar_t* caption, UINT type);
        // The thread that loaded the stand-in ends, usually the main thread at the end of the
        // process: called before the functions that are registered for that. The process may also
        // continue without the thread.
        void (*process_ends)();
    };

    // The functions that a plug-in calls, on any thread. FALSE or -1: the window, row or column
    // doesn't exist.
    struct PlinthDesktopHost
    {
        size_t size; // of this structure
        // The user wants the window closed: posts WM_CLOSE.
        BOOL (*close_window)(HWND window);
        // The user has moved or resized the window: WM_SIZE follows on its own thread.
        BOOL (*place_window)(HWND window, const RECT* place);
        BOOL (*list_take_changes)(HWND list, PlinthListChanges* changes);
        // Texts are cut to size characters, terminator included; the result is their whole length.
        int (*list_column_count)(HWND list);
        int (*list_column)(HWND list, int column, int* width, wchar_t* text, int size);
        int (*list_cell)(HWND list, int64_t row, int column, wchar_t* text, int size);
    };

    // The displays that have answered, as passed to a plug-in.
    constexpr unsigned PLINTH_DISPLAY_X11 = 0x1;
    constexpr unsigned PLINTH_DISPLAY_WAYLAND = 0x2;

    // The one function that a plug-in exports, by the name PlinthDesktopStart. Called once, and
    // first. Null if the plug-in can't show anything; the result and the host stay valid until the
    // process ends.
    using PlinthDesktopStartFunction = const PlinthDesktop*(const PlinthDesktopHost* host,
                                                            unsigned displays);
}

namespace platform
{

// False if there is one already.
bool attach_desktop(const PlinthDesktop& desktop);
const PlinthDesktop* desktop(); // null without a display

// The first call loads the plug-in if there are a display and a plug-in, and attaches it. It may
// take a second; other threads wait for it. Later calls cost almost nothing.
void load_desktop();
unsigned reachable_displays(); // PLINTH_DISPLAY_..., those that answer now

// The frame of a top-level window with a caption, in pixels: frame_width below and at each side.
constexpr LONG frame_width = 8;
constexpr LONG caption_height = 31;
constexpr bool has_frame(DWORD style)
{
    return (style & WS_CHILD) == 0 && (style & WS_CAPTION) == WS_CAPTION;
}

// Notifies the display, if there is one.
void tell_desktop_created(HWND window);
void tell_desktop_destroyed(HWND window);
void tell_desktop_title(HWND window);
void tell_desktop_place(HWND window);
void tell_desktop_visibility(HWND window, bool visible);

} // namespace platform
