// Trace output: the exported calls.
//
// A record is built, sent and logged under the trace lock, so records of several threads don't mix
// and reach all destinations in the same order. Only its arguments are formatted before.
#include <cstdarg>
#include <optional>

#include <windows.h>

#include "plinth_w32_system.h"

#include "debugging/logfile/logfile_internal.h"
#include "frame.h"
#include "last_error_keeper.h"
#include "section_guard.h"
#include "trace_location.h"
#include "trace_lock.h"
#include "trace_options.h"
#include "trace_record.h"

namespace
{

constexpr size_t plain_limit =
    1024; // the most characters that wvsprintf writes, terminator included

constinit QvTraceRecord s_record; // guarded by the trace lock

// Empty until the record's arguments are formatted.
using MaybeLocked = std::optional<QvSectionGuard>;

// Formats, takes the lock and builds the record, whose text is null if there is none. Not inlined,
// so that the text's 4 KB of stack are free again when the log is written, or opened.
[[gnu::noinline]] QvBuiltRecord LockedRecord(MaybeLocked& lock, double now, const wchar_t* format,
                                             va_list arguments)
{
    QvShortText text;
    va_list again;
    va_copy(again, arguments);
    const QvFormatted formatted = QvFormatShort(text, format, arguments);
    lock.emplace(s_traceLock);
    // A thread may still run while the process ends, after the tables are destroyed.
    const QvBuiltRecord record =
        QvIsTornDown() ? QvBuiltRecord{} : s_record.Build(now, formatted, format, again);
    va_end(again);
    return record;
}

} // namespace

extern "C" void DiagOutputExW(const wchar_t* format, ...)
{
    const QvLastErrorKeeper keeper;
    const double now = QV_GetTimeCounter();
    MaybeLocked lock;
    va_list arguments;
    va_start(arguments, format);
    const QvBuiltRecord record = LockedRecord(lock, now, format, arguments);
    va_end(arguments);
    if (!record.text)
        return;
    const unsigned int options = QvTraceOptions();
    if (options & QV_DIAG_DEBUGGER)
        OutputDebugStringW(record.text);
    if (options & QV_DIAG_LOGFILE)
        QvLog(record.text, 0, record.length, record.second);
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
        nullptr, keeper.Error(), default_language, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    DiagOutputExW_hlp(qv_diagassert_source, __LINE__);
    if (length != 0 && text)
        DiagOutputExW(L"%s", text);
    else
        DiagOutputExW(L"Unknown error %u (0x%08X)", keeper.Error(), keeper.Error());
    LocalFree(text);
}
