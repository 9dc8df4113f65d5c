// The seam to a display: what a plug-in that mirrors the windows implements, and what it calls.
//
// The windows, and the rows of a list view, live in memory and are complete without a plug-in. One
// is attached at most, before the first top-level window or message box, and stays. Its functions
// are called from any thread, with no lock held; they must not wait for the thread that calls. A
// window can be gone by the time its plug-in looks: then the host's functions say so.
//
// Rows aren't told one by one. rows_changed comes once, when a list's rows change that had been as
// the plug-in took them; whatever changes until its next list_take_changes adds to that one notice.
#pragma once

#include <cstddef>
#include <cstdint>

#include "windows.h"

extern "C"
{

    struct PlinthWindowInfo
    {
        HWND window;
        HWND parent; // of a child, or the owner of a top-level window; null without
        const wchar_t* class_name;
        const wchar_t* title;
        DWORD style;
        DWORD ex_style;
        RECT place; // pixels, outer edges
    };

    struct PlinthListChanges
    {
        int64_t rows;          // in the list now
        int64_t first_changed; // all rows from here on may be other ones; -1: none
        int64_t visible_row;   // the last one that LVM_ENSUREVISIBLE asked for; -1: none
        BOOL columns_changed;
    };

    // What a plug-in gives. Null functions aren't called.
    struct PlinthDesktop
    {
        size_t size; // of this structure
        void (*window_created)(const PlinthWindowInfo* info);
        void (*window_destroyed)(HWND window);
        void (*title_changed)(HWND window, const wchar_t* title);
        void (*place_changed)(HWND window, const RECT* place);
        void (*visibility_changed)(HWND window, BOOL visible);
        void (*rows_changed)(HWND list);
        // Blocks until the user has answered. An IDOK, IDABORT ... or 0 if it can't be shown, also
        // no longer.
        int (*message_box)(HWND owner, const wchar_t* text, const wchar_t* caption, UINT type);
        // The thread that loaded the stand-in ends, as a rule the main thread at the end of the
        // process: called ahead of the functions that are registered for that. It may also have
        // ended alone.
        void (*process_ends)();
    };

    // What a plug-in calls, on any thread. FALSE or -1: the window, row or column is not there.
    struct PlinthDesktopHost
    {
        size_t size; // of this structure
        // The user wants the window closed: posts WM_CLOSE.
        BOOL (*close_window)(HWND window);
        // The user has given the window another place: WM_SIZE follows on its own thread.
        BOOL (*place_window)(HWND window, const RECT* place);
        BOOL (*list_take_changes)(HWND list, PlinthListChanges* changes);
        // Texts are cut to size characters, terminator included, and give their whole length.
        int (*list_column_count)(HWND list);
        int (*list_column)(HWND list, int column, int* width, wchar_t* text, int size);
        int (*list_cell)(HWND list, int64_t row, int column, wchar_t* text, int size);
    };

    // What a plug-in is told of the displays that have answered.
    constexpr unsigned PLINTH_DISPLAY_X11 = 0x1;
    constexpr unsigned PLINTH_DISPLAY_WAYLAND = 0x2;

    // The one function that a plug-in exports, by the name PlinthDesktopStart. Called once, and
    // before anything else. Null if the plug-in can show nothing; what it gives, and the host, stay
    // for the life of the process.
    using PlinthDesktopStartFunction = const PlinthDesktop*(const PlinthDesktopHost* host,
                                                            unsigned displays);
}

namespace platform
{

// False if there is one already.
bool attach_desktop(const PlinthDesktop& desktop);
const PlinthDesktop* desktop(); // null without a display

// The first call loads the plug-in if there are a display and a plug-in, and attaches it. It can
// take a second; others wait for it. Then it costs next to nothing.
void load_desktop();
unsigned reachable_displays(); // PLINTH_DISPLAY_..., those that answer now

// What a frame takes of a top-level window with a caption, in pixels: as much below and at each
// side.
constexpr LONG frame_width = 8;
constexpr LONG caption_height = 31;
constexpr bool has_frame(DWORD style)
{
    return (style & WS_CHILD) == 0 && (style & WS_CAPTION) == WS_CAPTION;
}

// Tells it, if it is there.
void tell_desktop_created(HWND window);
void tell_desktop_destroyed(HWND window);
void tell_desktop_title(HWND window);
void tell_desktop_place(HWND window);
void tell_desktop_visibility(HWND window, bool visible);

} // namespace platform
