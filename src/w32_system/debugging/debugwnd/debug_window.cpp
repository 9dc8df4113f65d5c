// The debug window: its thread, its procedure, its rows.
#include <windows.h>

#include <commctrl.h>
#include <tchar.h>

#include "debug_framework.h"
#include "debug_window.h"
#include "frame.h"
#include "plinth_w32_system.h"

namespace
{

constexpr UINT answer_limit = 3000; // ms for each message to a window
constexpr UINT close_message = WM_USER + 1;
constexpr size_t columns_limit = 256; // characters of all headings
constexpr size_t row_limit = 2048;    // characters of a row, and of a cell, terminator included
constexpr const wchar_t* headings = L"#\t1\t2\t3\t4\t5\t6\t7";
constexpr int number_width = 50; // pixels, for the column "#"
constexpr int column_width = 100;
constexpr int added_width = 150; // for a column that a row adds
constexpr DWORD frame_style = WS_POPUP | WS_OVERLAPPEDWINDOW;
constexpr DWORD list_style = WS_CHILD | WS_VISIBLE | LVS_REPORT | LVS_EDITLABELS;
static_assert(frame_style == 0x80CF0000 && list_style == 0x50000201);

constinit std::atomic<bool> s_classRegistered{false}; // set by a window's thread

// False if the window didn't answer within the limit.
bool Send(HWND window, UINT message, WPARAM wParam, const void* structure,
          DWORD_PTR* result = nullptr)
{
    DWORD_PTR ignored = 0;
    return SendMessageTimeoutW(window, message, wParam, reinterpret_cast<LPARAM>(structure),
                               SMTO_NORMAL, answer_limit, result ? result : &ignored) != 0;
}

void MakeTitle(wchar_t (&title)[64], int id)
{
    QV_swprintf(title, L"Tracing Window ID: %i", id);
}

} // namespace

void QvForgetDebugWindowClass()
{
    if (s_classRegistered.exchange(false))
        UnregisterClassW(qv_debug_window_class, GetModuleHandleW(nullptr));
}

CDebugWindow::CDebugWindow(HWND hParent, int nId)
    : m_nId(nId), m_nColumns(0), m_nRows(0), m_hReady(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      m_WndClass(debug_wnd_proc), m_Atom(0), m_hParent(hParent), m_hWnd(nullptr), m_hList(nullptr),
      m_UIThread(nullptr), m_uUIThreadId(0), m_uiThreadStage(0)
{
    // Without the event it would be unknown when the window exists.
    if (m_hReady)
        m_UIThread = QvStartThread(ui_thread_proc, this, m_uUIThreadId, m_uiThreadStage);
    if (!m_UIThread)
    {
        DiagAssertW(0, L"m_UIThread == NULL", L"UIThread service failure", qv_debugwnd_source,
                    __LINE__);
        return;
    }
    AwaitWindow();
}

// A thread that can no longer begin never creates the window.
void CDebugWindow::AwaitWindow()
{
    constexpr DWORD interval = 50; // ms between two checks whether the library is being unloaded
    while (WaitForSingleObject(m_hReady, interval) == WAIT_TIMEOUT)
        if (QvIsDetaching() && QvRefuseThread(m_uiThreadStage))
            return;
}

CDebugWindow::~CDebugWindow()
{
    if (m_UIThread)
    {
        const HWND window = m_hWnd;
        // The user may close the window at this moment; then the message fails, but nothing hangs.
        const bool hangs = window && !Send(window, close_message, 0, nullptr) && IsWindow(window);
        // The thread runs the library's code and uses this object until it has ended.
        QvEndThread(m_UIThread, m_uiThreadStage, hangs ? 0 : answer_limit, 1);
    }
    if (m_hReady)
        CloseHandle(m_hReady);
}

unsigned __stdcall CDebugWindow::ui_thread_proc(void* pThis)
{
    auto& self = *static_cast<CDebugWindow*>(pThis);
    const unsigned result = QvBeginThread(self.m_uiThreadStage) ? self.Run() : 0;
    QvLeaveThread(self.m_uiThreadStage);
    return result;
}

unsigned CDebugWindow::Run()
{
    CreateWindows();
    SetEvent(m_hReady);
    MSG message = {};
    if (!m_hWnd)
        return 0; // the message loop would never end
    for (BOOL more = GetMessageW(&message, nullptr, 0, 0); more != 0 && more != -1;
         more = GetMessageW(&message, nullptr, 0, 0))
    {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    return static_cast<unsigned>(message.wParam);
}

void CDebugWindow::CreateWindows()
{
    wchar_t title[64];
    MakeTitle(title, m_nId);
    m_Atom = RegisterClassExW(&m_WndClass);
    if (m_Atom)
        s_classRegistered = true;
    const HWND parent = m_hParent && IsWindow(m_hParent) ? m_hParent : nullptr;
    const HINSTANCE module = GetModuleHandleW(nullptr);
    const HWND window = CreateWindowExW(WS_EX_OVERLAPPEDWINDOW, qv_debug_window_class, title,
                                        frame_style, 0, 0, 800, 100, parent, nullptr, module, this);
    if (!window)
        return;
    InitCommonControls();
    RECT client = {};
    GetClientRect(window, &client);
    m_hList = CreateWindowExW(0, L"SysListView32", nullptr, list_style, 0, 0, client.right,
                              client.bottom, window, nullptr, module, nullptr);
    m_hWnd = window;
    SetColumns(headings);
    ShowWindowAsync(window, SW_SHOW);
}

LRESULT CALLBACK CDebugWindow::debug_wnd_proc(HWND hWnd, UINT uMsg, WPARAM wParam, LPARAM lParam)
{
    auto* const self = reinterpret_cast<CDebugWindow*>(GetWindowLongPtrW(hWnd, GWLP_USERDATA));
    switch (uMsg)
    {
    case WM_CREATE:
        SetWindowLongPtrW(
            hWnd, GWLP_USERDATA,
            reinterpret_cast<LONG_PTR>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams));
        return 0;
    case WM_DESTROY:
        if (self) // destroyed with its parent, without a request to close
            self->m_hWnd = nullptr;
        PostQuitMessage(0);
        return 1;
    case WM_SIZE:
        if (self)
        {
            RECT client = {};
            GetClientRect(hWnd, &client);
            MoveWindow(self->m_hList, 0, 0, client.right, client.bottom, TRUE);
        }
        return 1;
    case WM_CLOSE:
    case close_message:
        DestroyWindow(hWnd);
        break;
    default:
        break;
    }
    return DefWindowProcW(hWnd, uMsg, wParam, lParam);
}

void CDebugWindow::SetId(int nId)
{
    m_nId = nId;
    wchar_t title[64];
    MakeTitle(title, nId);
    // The same as SetWindowTextW, with a limit.
    if (const HWND window = m_hWnd)
        Send(window, WM_SETTEXT, 0, title);
}

void CDebugWindow::SetColumn(int column, const wchar_t* text, int width)
{
    LVCOLUMNW given = {};
    given.mask = LVCF_TEXT | LVCF_WIDTH;
    given.pszText = const_cast<wchar_t*>(text);
    given.cx = width;
    SendMessageW(m_hList, column < m_nColumns ? LVM_SETCOLUMNW : LVM_INSERTCOLUMNW,
                 static_cast<WPARAM>(column), reinterpret_cast<LPARAM>(&given));
}

void CDebugWindow::SetColumns(const wchar_t* text)
{
    if (!m_hWnd)
        return;
    wchar_t copy[columns_limit + 1];
    wcsncpy(copy, text, columns_limit);
    copy[columns_limit] = L'\0';
    int count = 0;
    for (wchar_t* piece = copy; piece; ++count)
    {
        wchar_t* const tab = wcschr(piece, L'\t');
        if (tab)
            *tab = L'\0';
        SetColumn(count, piece, wcscmp(piece, L"#") == 0 ? number_width : column_width);
        piece = tab ? tab + 1 : nullptr;
    }
    m_nColumns = count;
    UpdateWindow(m_hWnd);
}

void CDebugWindow::AppendColumn()
{
    LVCOLUMNW column = {};
    column.mask = LVCF_WIDTH;
    column.cx = added_width;
    Send(m_hList, LVM_INSERTCOLUMNW, static_cast<WPARAM>(m_nColumns), &column);
    ++m_nColumns;
}

// Returns the row for the other cells: column 0 creates it.
int CDebugWindow::SetCell(int row, int column, const wchar_t* text)
{
    LVITEMW item = {};
    item.mask = LVIF_TEXT;
    item.iItem = row;
    item.iSubItem = column;
    item.pszText = const_cast<wchar_t*>(text);
    DWORD_PTR result = static_cast<DWORD_PTR>(row);
    Send(m_hList, column == 0 ? LVM_INSERTITEMW : LVM_SETITEMW, 0, &item, &result);
    return column == 0 ? static_cast<int>(result) : row;
}

void CDebugWindow::AddRow(const wchar_t* text)
{
    const HWND window = m_hWnd;
    if (!window)
        return;
    wchar_t line[row_limit];
    line[row_limit - 1] = L'\0';
    _snwprintf(line, row_limit - 1, L"%i\t%s", m_nRows, text);
    wchar_t cell[row_limit];
    size_t length = 0;
    int column = 0;
    int row = m_nRows;
    for (const wchar_t* from = line;; ++from)
    {
        if (*from != L'\t' && *from != L'\0')
        {
            cell[length++] = *from == L'\r' || *from == L'\n' ? L' ' : *from;
            continue;
        }
        cell[length] = L'\0';
        length = 0;
        if (column == m_nColumns)
            AppendColumn();
        row = SetCell(row, column++, cell);
        if (*from == L'\0')
            break;
    }
    // UpdateWindow has no limit, so call it only for a window that has just answered.
    if (Send(m_hList, LVM_ENSUREVISIBLE, static_cast<WPARAM>(m_nRows), nullptr))
        UpdateWindow(window);
    ++m_nRows;
}
