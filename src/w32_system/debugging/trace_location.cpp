// One process-wide slot. Storing happens for every record, so it copies the narrow text as it is;
// widening waits until a record asks for it. The slot has a small lock of its own, held for the
// copy alone, so that the texts of two threads never mix; it is taken inside the trace lock and
// outside it.
#include "trace_location.h"

#include <cstdio>
#include <cstring>

#include <windows.h>

#include <tchar.h>

#include "frame.h"

namespace
{

// Bytes of a file name: the characters of the limit in the longest encoding, and a terminator.
constexpr size_t narrow_limit = (qv_location_limit - 1) * 3 + 1;

CRITICAL_SECTION s_locationLock; // guards the two below
char s_sourceFile[narrow_limit];
int32_t s_sourceLine = -1;

} // namespace

void QvInitializeLocationLock()
{
    InitializeCriticalSection(&s_locationLock);
}

void QvDeleteLocationLock()
{
    DeleteCriticalSection(&s_locationLock);
}

extern "C" void DiagOutputExW_hlp(const char* sourceFile, int line)
{
    const DWORD error = GetLastError();
    if (!sourceFile)
        sourceFile = "(null)";
    const size_t length = strnlen(sourceFile, narrow_limit - 1);
    EnterCriticalSection(&s_locationLock);
    std::memcpy(s_sourceFile, sourceFile, length);
    s_sourceFile[length] = '\0';
    s_sourceLine = line;
    LeaveCriticalSection(&s_locationLock);
    SetLastError(error);
}

void QvTraceLocation(wchar_t* file, int32_t& line)
{
    char narrow[narrow_limit];
    EnterCriticalSection(&s_locationLock);
    strcpy(narrow, s_sourceFile);
    line = s_sourceLine;
    LeaveCriticalSection(&s_locationLock);
    _snwprintf(file, qv_location_limit, L"%hs", narrow);
    file[qv_location_limit - 1] = L'\0';
}
