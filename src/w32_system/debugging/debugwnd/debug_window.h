// A top-level window with one list view, into which trace records are written as rows.
//
// The window has a thread of its own. Other threads call it only by messages with a time limit, so
// a window that hangs costs them that limit and nothing more.
#pragma once

#include <atomic>
#include <cstdint>

#include "own_thread.h"
#include "plinth_w32_system.h"

inline constexpr const wchar_t* qv_debug_window_class = L"PLINTH_DEBUG_WINDOW";

// Unregisters the window class if this library has registered it: its procedure is about to be
// unloaded, and the next library that is loaded would get windows with that procedure. Does nothing
// while an application still has windows of the class.
void QvForgetDebugWindowClass();

class CDebugWindow
{
public:
    // Returns when the window exists, or could not be created: then its rows are dropped.
    CDebugWindow(HWND hParent, int nId);
    CDebugWindow(const CDebugWindow&) = delete;
    CDebugWindow& operator=(const CDebugWindow&) = delete;
    // Asks the window to close and its thread to end, and terminates a thread that doesn't end.
    virtual ~CDebugWindow();

    void SetId(int nId);
    // Adds one row; tabs divide it into cells. Called by one thread at a time.
    void AddRow(const wchar_t* text);
    // The headings, divided by tabs. Called on the window's own thread.
    void SetColumns(const wchar_t* text);

private:
    static LRESULT CALLBACK debug_wnd_proc(HWND hWnd, UINT uMsg, WPARAM wParam, LPARAM lParam);
    static unsigned __stdcall ui_thread_proc(void* pThis);

    void AwaitWindow();
    unsigned Run(); // the window's thread, until the window is destroyed
    void CreateWindows();
    void SetColumn(int column, const wchar_t* text, int width);
    void AppendColumn();
    int SetCell(int row, int column, const wchar_t* text);

    int32_t m_nId;
    int32_t m_nColumns; // used by the window's thread until m_hReady is set, then by the caller of
                        // AddRow
    int32_t m_nRows;
    HANDLE m_hReady;
    CDbgWndClassEx m_WndClass;
    ATOM m_Atom; // 0 after the first window: the class stays registered until the library is
                 // unloaded
    HWND m_hParent;
    std::atomic<HWND> m_hWnd; // null when closed; set by the window's thread
    HWND m_hList;
    HANDLE m_UIThread;
    uint32_t m_uUIThreadId;
    QvThreadStage m_uiThreadStage;
};
