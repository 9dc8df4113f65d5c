// Exported names for the runtime library and the system's code page conversion, so that other
// modules call one set of functions with 32-bit lengths.
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <windows.h>

#include <tchar.h>

#include "plinth_w32_system.h"

extern "C" unsigned int wcslen32(const wchar_t* text)
{
    return static_cast<unsigned int>(wcslen(text));
}

extern "C" unsigned int strlen32(const char* text)
{
    return static_cast<unsigned int>(strlen(text));
}

extern "C" int QV_stricmp(const char* a, const char* b)
{
    return _stricmp(a, b);
}

extern "C" int QV_strnicmp(const char* a, const char* b, unsigned int count)
{
    return _strnicmp(a, b, count);
}

extern "C" int QV_wcsicmp(const wchar_t* a, const wchar_t* b)
{
    return _wcsicmp(a, b);
}

extern "C" int QV_wcsnicmp(const wchar_t* a, const wchar_t* b, unsigned int count)
{
    return _wcsnicmp(a, b, count);
}

extern "C" wchar_t* QV_itow(int value, wchar_t* buffer, int radix)
{
    return _itow(value, buffer, radix);
}

extern "C" int QV_wtoi(const wchar_t* text)
{
    return _wtoi(text);
}

extern "C" int QV_swprintf(wchar_t* buffer, const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = _vsnwprintf(buffer, INT_MAX, format, arguments);
    va_end(arguments);
    return length;
}

extern "C" int QV_WChar2Char(const wchar_t* text, int length, char* out, int outSize)
{
    return WideCharToMultiByte(CP_ACP, 0, text, length, out, outSize, nullptr, nullptr);
}

extern "C" int QV_Char2WChar(const char* text, int length, wchar_t* out, int outSize)
{
    return MultiByteToWideChar(CP_ACP, 0, text, length, out, outSize);
}
