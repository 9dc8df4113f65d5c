// The windows of the process.
//
// One lock guards the table and all windows' data, so that any thread may read a title or a place.
// It is held only for work on the table: never while a procedure runs, a message is sent or the
// desktop is notified. It may be taken while the lock of a message queue is held, but not the other
// way round.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "kernel32/thread/no_termination.h"
#include "windows.h"

namespace platform
{

class MessageQueue;
struct WindowClass;

// The data of one of the system's own controls. Destroyed with the window, in whatever way that
// ends.
class ControlData
{
public:
    ControlData() = default;
    ControlData(const ControlData&) = delete;
    ControlData& operator=(const ControlData&) = delete;
    virtual ~ControlData() = default;
};

struct Window
{
    HWND handle = nullptr;
    std::shared_ptr<const WindowClass> window_class;
    std::shared_ptr<MessageQueue> queue; // the queue of its thread
    DWORD thread = 0;
    HWND parent = nullptr; // of a child; the owner of a top-level window
    DWORD style = 0;
    DWORD ex_style = 0;
    UINT_PTR id = 0;
    HINSTANCE instance = nullptr;
    RECT place = {};            // outer edges, within the parent's client area or on the screen
    std::vector<wchar_t> title; // terminated, or empty
    WNDPROC procedure = nullptr;
    LONG_PTR user_data = 0;
    std::vector<unsigned char> extra;
    bool size_told = false;  // WM_SIZE has been sent
    bool destroying = false; // DestroyWindow is in progress
    std::shared_ptr<ControlData> control;

    bool is_child() const { return (style & WS_CHILD) != 0; }
};

class WindowLock
{
public:
    WindowLock();

private:
    const Uninterrupted<std::mutex> m_lock;
};

// All of these need the WindowLock, and their results are valid while it is held.

// Null with ERROR_INVALID_WINDOW_HANDLE.
Window* find_window(HWND handle);
// Adds the window under a new handle. May throw std::bad_alloc.
HWND add_window(std::unique_ptr<Window> window);
// Removes the window, which must be freed outside the lock.
std::unique_ptr<Window> take_window(HWND handle);
// Removes all windows of a thread, which must also be freed outside the lock.
std::vector<std::unique_ptr<Window>> take_windows_of(DWORD thread);
enum class Kinship
{
    child, // for a null parent: the top-level windows
    owned
};
// In the order in which they were made.
std::vector<HWND> windows_below(HWND parent, Kinship kinship);
bool is_descendant(HWND window, HWND ancestor);
bool has_windows(const WindowClass& window_class);

// These take the lock themselves.

// Runs the procedure of a window of the calling thread. 0 if the window no longer exists.
LRESULT call_procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
// The control of a window, null if the window no longer exists or is none of the system's controls.
std::shared_ptr<ControlData> control_of(HWND window);

// The calling thread's active window, null without one.
extern thread_local HWND t_active_window;

} // namespace platform
