// The assertion of the library's own argument checks. It reports nothing: the caller learns of a
// failed check by the status.
#include <cstdio>

#include <windows.h>

#include <tchar.h>

#include "plinth_w32_system.h"

extern "C" int DiagAssertW(unsigned int, const wchar_t* expression, const wchar_t* message,
                           const char* sourceFile, int line)
{
    constexpr size_t limit = 512;
    const DWORD error = GetLastError();
    wchar_t text[limit];
    if (message)
        _snwprintf(text, limit, L"File : %hs\r\nLine : %d\r\nExpression : %s\r\n%s", sourceFile,
                   line, expression, message);
    else
        _snwprintf(text, limit, L"File : %hs\r\nLine : %d\r\nExpression : %s", sourceFile, line,
                   expression);
    text[limit - 1] = L'\0';
    SetLastError(error);
    return 1;
}
