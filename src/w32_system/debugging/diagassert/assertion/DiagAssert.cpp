// The assertion report. This file's name matters: stack_lines.cpp finds the frames of the report's
// own functions by it, and begins the stack lines after them. So this file contains nothing else.
//
// A report with stack lines is built under s_reportLock, in s_reportBuffer, and sent from a copy
// without any lock, so that a message box blocks only its own thread. The symbol engine may load
// modules. That waits for a thread that is loading one; if that thread's module asserts meanwhile,
// both would wait for each other. And a thread that is terminated during its stack lines never
// releases the lock. So waiting for the lock has a limit, and after it the report is sent without
// stack lines. A report without them is built in its thread's own buffer.
#include <atomic>
#include <cstdio>

#include <windows.h>

#include <tchar.h>

#include "plinth_w32_system.h"

#include "at_fork.h"
#include "debugging/diagassert/trace/last_error_keeper.h"
#include "debugging/diagassert/trace/trace_options.h"
#include "event_log.h"
#include "frame.h"
#include "stack_lines.h"

namespace
{

constexpr size_t text_limit = 512; // characters, terminator included, as all limits here
constexpr size_t report_limit = 4'096;
constexpr size_t channel_limit = 1'024;
constexpr DWORD patience = 10'000; // ms; the symbols of a large program take seconds
constexpr UINT box_style = MB_ABORTRETRYIGNORE | MB_ICONHAND | MB_TASKMODAL | MB_SETFOREGROUND;
static_assert(box_style == 0x12012);

// Guards s_reportBuffer and the symbol engine. Taken before the trace lock (a failed start of the
// engine is traced), so before the log's m_classLock too; never held while a report is sent.
constinit std::atomic_flag s_reportLock;
wchar_t s_reportBuffer[report_limit];
constinit std::atomic<bool> s_patienceLost{false}; // true after a wait for the lock in vain

// A fork doesn't wait for this lock, which may be held for long. In the child no other thread makes
// a report, so the lock is cleared.
const QvAtFork s_atFork(QvForkStep::assertion_report, {nullptr, nullptr,
                                                       []
                                                       {
                                                           s_reportLock.clear();
                                                           s_patienceLost = false;
                                                       }});

constinit std::atomic<int32_t> s_eventLogOpen{1}; // 0 after the first failure

// Formats into a buffer of size characters; what doesn't fit is cut.
template <class... Arguments>
void Print(wchar_t* buffer, size_t size, const wchar_t* format, Arguments... arguments)
{
    _snwprintf(buffer, size, format, arguments...);
    buffer[size - 1] = L'\0';
}

void Format(wchar_t* report, DWORD error, const wchar_t* text)
{
    constexpr size_t path_limit = 260;
    char path[path_limit];
    char* system = nullptr;
    FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                       FORMAT_MESSAGE_IGNORE_INSERTS,
                   nullptr, error, 0, reinterpret_cast<char*>(&system), 0, nullptr);
    if (GetModuleFileNameA(nullptr, path, path_limit) == 0)
        strcpy(path, "<unknown application>");
    path[path_limit - 1] = '\0';
    Print(report, report_limit,
          L"Debug Assertion Failed!\r\nProgram : %hs\r\n%s\r\nLast Error (0x%08X) : %hs\r\n", path,
          text, error, system);
    LocalFree(system);
}

// Tries to take the lock every millisecond: threads seldom assert at the same time, and then wait
// for symbols. After one thread has waited in vain, the next ones try only once, until the lock is
// free.
class ReportLock
{
public:
    ReportLock()
    {
        const DWORD limit = s_patienceLost ? 0 : patience;
        m_taken = Try();
        for (DWORD waited = 0; !m_taken && waited < limit; ++waited)
        {
            Sleep(1);
            m_taken = Try();
        }
        s_patienceLost = !m_taken;
    }
    ReportLock(const ReportLock&) = delete;
    ReportLock& operator=(const ReportLock&) = delete;
    ~ReportLock()
    {
        if (m_taken)
            s_reportLock.clear(std::memory_order_release);
    }
    bool Taken() const { return m_taken; }

private:
    static bool Try() { return !s_reportLock.test_and_set(std::memory_order_acquire); }
    bool m_taken;
};

void MakeReport(wchar_t* report, unsigned int options, DWORD error, const wchar_t* text)
{
    if ((options & QV_DIAG_STACKTRACE) && !QvIsTornDown())
    {
        const ReportLock lock;
        if (lock.Taken())
        {
            Format(s_reportBuffer, error, text);
            if (!QvIsTornDown()) // it may have begun during the wait
                AppendStackLines(s_reportBuffer, report_limit - 1 - wcslen(s_reportBuffer));
            wcscpy(report, s_reportBuffer);
            return;
        }
    }
    Format(report, error, text);
}

// The answer, or 0 if the box could not be shown.
int Ask(const wchar_t* report)
{
    HWND owner = GetActiveWindow();
    if (owner)
        owner = GetLastActivePopup(owner);
    return MessageBoxW(owner, report, L"ASSERTION FAILURE...", box_style);
}

int Report(unsigned int options, const wchar_t* text)
{
    const QvLastErrorKeeper keeper;
    if (options == 0)
        options = QvFailifOptions();
    wchar_t report[report_limit];
    MakeReport(report, options, keeper.Error(), text);
    if (options & QV_DIAG_DEBUGGER)
    {
        wchar_t line[channel_limit];
        Print(line, channel_limit, L"*** %s", report);
        OutputDebugStringW(line);
    }
    if ((options & QV_DIAG_EVENTLOG) && s_eventLogOpen.load() && !ReportToEventLog(report))
        s_eventLogOpen = 0;
    if (options & QV_DIAG_LOGFILE)
        CQvLogFile::Log(report, 0);
    if (!(options & QV_DIAG_MSGBOX))
        return 0;
    switch (Ask(report))
    {
    case IDIGNORE:
        return 0;
    case IDRETRY:
        return 1;
    default:
        ExitProcess(static_cast<UINT>(-1));
    }
}

} // namespace

extern "C" int DiagAssertA(unsigned int options, const char* expression, const char* message,
                           const char* sourceFile, int line)
{
    wchar_t text[text_limit];
    {
        const QvLastErrorKeeper keeper;
        if (message)
            Print(text, text_limit, L"File : %hs\r\nLine : %d\r\nExpression : %hs\r\n%hs",
                  sourceFile, line, expression, message);
        else
            Print(text, text_limit, L"File : %hs\r\nLine : %d\r\nExpression : %hs", sourceFile,
                  line, expression);
    }
    return Report(options, text);
}
