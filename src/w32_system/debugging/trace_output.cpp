// Trace output: the exported calls.
//
// A record is built, sent and logged under the trace lock, so records of several threads neither
// interleave nor reach the destinations in different orders.
#include <cstdarg>

#include <windows.h>

#include "plinth_w32_system.h"

#include "frame.h"
#include "last_error_keeper.h"
#include "trace_location.h"
#include "trace_lock.h"
#include "trace_options.h"
#include "trace_record.h"

namespace
{

constexpr size_t plain_limit =
    1024; // characters that wvsprintf writes at most, terminator included

constinit QvTraceRecord s_record; // guarded by the trace lock

class TraceLock
{
public:
    TraceLock() { EnterCriticalSection(&s_traceLock); }
    TraceLock(const TraceLock&) = delete;
    TraceLock& operator=(const TraceLock&) = delete;
    ~TraceLock() { LeaveCriticalSection(&s_traceLock); }
};

} // namespace

extern "C" void DiagOutputExW(const wchar_t* format, ...)
{
    const QvLastErrorKeeper keeper;
    const double now = QV_GetTimeCounter();
    const TraceLock lock;
    // A thread may still run while the process ends; the tables are gone then.
    if (QvIsTornDown())
        return;
    va_list arguments;
    va_start(arguments, format);
    const wchar_t* const record = s_record.Build(now, format, arguments);
    va_end(arguments);
    const unsigned int options = QvTraceOptions();
    if (options & QV_DIAG_DEBUGGER)
        OutputDebugStringW(record);
    if (options & QV_DIAG_LOGFILE)
        CQvLogFile::Log(record, 0);
    s_record.Finish();
}

extern "C" void DiagOutputA(const char* format, ...)
{
    const QvLastErrorKeeper keeper;
    char text[plain_limit];
    va_list arguments;
    va_start(arguments, format);
    wvsprintfA(text, format, arguments);
    va_end(arguments);
    OutputDebugStringA(text);
}

extern "C" void DiagOutputW(const wchar_t* format, ...)
{
    const QvLastErrorKeeper keeper;
    wchar_t text[plain_limit];
    va_list arguments;
    va_start(arguments, format);
    wvsprintfW(text, format, arguments);
    va_end(arguments);
    OutputDebugStringW(text);
}

extern "C" void TraceLastOsErr(void)
{
    constexpr DWORD default_language = 0x400;
    const QvLastErrorKeeper keeper;
    wchar_t* text = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, keeper.error(), default_language, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    DiagOutputExW_hlp(qv_diagassert_source, __LINE__);
    if (length != 0 && text)
        DiagOutputExW(L"%s", text);
    else
        DiagOutputExW(L"Unknown error %u (0x%08X)", keeper.error(), keeper.error());
    LocalFree(text);
}
