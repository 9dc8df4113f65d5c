// A thread with a message loop, for windows that other threads send messages to.
#pragma once

#include <functional>
#include <future>
#include <thread>
#include <utility>

#include <windows.h>

namespace test
{

class WindowThread
{
public:
    // The thread runs make before its loop.
    explicit WindowThread(const std::function<HWND()>& make)
    {
        std::promise<HWND> promise;
        std::future<HWND> made = promise.get_future();
        m_thread = std::thread(
            [make, result = std::move(promise)]() mutable
            {
                result.set_value(make());
                MSG message;
                while (GetMessageW(&message, nullptr, 0, 0) > 0)
                    DispatchMessageW(&message);
            });
        m_window = made.get();
        m_id = GetWindowThreadProcessId(m_window, nullptr);
    }
    WindowThread(const WindowThread&) = delete;
    WindowThread& operator=(const WindowThread&) = delete;
    ~WindowThread() { end(); }

    HWND window() const { return m_window; }
    void end()
    {
        if (!m_thread.joinable())
            return;
        PostThreadMessageW(m_id, WM_QUIT, 0, 0);
        m_thread.join();
    }

private:
    std::thread m_thread;
    HWND m_window = nullptr;
    DWORD m_id = 0;
};

// Registers the class unless it is already registered.
inline void register_class(const wchar_t* name, WNDPROC procedure, int extra = 0)
{
    WNDCLASSEXW given = {};
    given.cbSize = sizeof given;
    given.lpfnWndProc = procedure;
    given.cbWndExtra = extra;
    given.lpszClassName = name;
    RegisterClassExW(&given);
}

inline HWND create_window(const wchar_t* name, const wchar_t* title = L"", HWND parent = nullptr,
                          DWORD style = WS_OVERLAPPEDWINDOW, void* param = nullptr)
{
    return CreateWindowExW(0, name, title, style, 10, 20, 300, 200, parent, nullptr, nullptr,
                           param);
}

} // namespace test
