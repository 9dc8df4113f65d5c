// A top-level window with one list view, into which trace records are written as rows.
//
// The window lives on a thread of its own. Others call into it only by messages with a limit, so
// that a window that hangs costs them their patience and nothing more.
#pragma once

#include <atomic>
#include <cstdint>

#include "own_thread.h"
#include "plinth_w32_system.h"

inline constexpr const wchar_t* qv_debug_window_class = L"PLINTH_DEBUG_WINDOW";

// Unregisters the window class if this library has registered it: the procedure is code that is
// about to go, and the next library to be loaded would get windows with it. Does nothing while an
// application still has windows of the class.
void QvForgetDebugWindowClass();

class CDebugWindow
{
public:
    // Returns once the window is there, or has failed to come: its rows are dropped then.
    CDebugWindow(HWND hParent, int nId);
    CDebugWindow(const CDebugWindow&) = delete;
    CDebugWindow& operator=(const CDebugWindow&) = delete;
    // Asks the window to go and its thread to end, and terminates a thread that doesn't.
    virtual ~CDebugWindow();

    void SetId(int nId);
    // One row; tabs divide it into cells. From one thread at a time.
    void AddRow(const wchar_t* text);
    // The headings, divided by tabs. On the window's own thread.
    void SetColumns(const wchar_t* text);

private:
    static LRESULT CALLBACK debug_wnd_proc(HWND hWnd, UINT uMsg, WPARAM wParam, LPARAM lParam);
    static unsigned __stdcall ui_thread_proc(void* pThis);

    void AwaitWindow();
    unsigned Run(); // the window's thread, until the window has gone
    void CreateWindows();
    void SetColumn(int column, const wchar_t* text, int width);
    void AppendColumn();
    int SetCell(int row, int column, const wchar_t* text);

    int32_t m_nId;
    int32_t m_nColumns; // the window's thread until m_hReady is set, then the caller of AddRow
    int32_t m_nRows;
    HANDLE m_hReady;
    CDbgWndClassEx m_WndClass;
    ATOM m_Atom; // 0 after the first window: the class stays registered until the library goes
    HWND m_hParent;
    std::atomic<HWND> m_hWnd; // null when it is closed; the window's thread sets it
    HWND m_hList;
    HANDLE m_UIThread;
    uint32_t m_uUIThreadId;
    QvThreadStage m_UIThreadStage;
};
