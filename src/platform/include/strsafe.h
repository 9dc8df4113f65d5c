// Formatting that always terminates and reports whether the text was cut.
#ifndef PLINTH_PLATFORM_STRSAFE_H
#define PLINTH_PLATFORM_STRSAFE_H

#include <stdarg.h>

#include "tchar.h"
#include "winerror.h"

#define STRSAFE_MAX_CCH 2147483647
#define STRSAFE_E_INVALID_PARAMETER ((HRESULT)0x80070057)
#define STRSAFE_E_INSUFFICIENT_BUFFER ((HRESULT)0x8007007A)

// size: characters, terminator included.
static inline HRESULT StringCchPrintfW(wchar_t* buffer, size_t size, const wchar_t* format, ...)
{
    va_list arguments;
    int length;
    if (!buffer || size == 0 || size > STRSAFE_MAX_CCH)
        return STRSAFE_E_INVALID_PARAMETER;
    va_start(arguments, format);
    length = plinth_crt_vsnwprintf(buffer, size, format, arguments);
    va_end(arguments);
    if (length >= 0 && (size_t)length < size)
        return S_OK;
    if (!format)
    {
        *buffer = 0;
        return STRSAFE_E_INVALID_PARAMETER;
    }
    buffer[size - 1] = 0;
    return STRSAFE_E_INSUFFICIENT_BUFFER;
}

#endif
