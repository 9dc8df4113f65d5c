// The runtime library for 16-bit text.
//
// The C library's wide functions are compiled for a wchar_t of 32 bits. This header declares 16-bit
// functions of our own, under names that neither collide with nor interpose on the C library's, and
// maps the runtime's names to them. It includes the standard headers that declare those names
// first, so that their include guards keep them from undoing the mapping later: include it before
// using any wide function. std::wcslen and the like are mapped too.
#ifndef PLINTH_PLATFORM_TCHAR_H
#define PLINTH_PLATFORM_TCHAR_H

#ifdef __cplusplus
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <cwchar>
#include <cwctype>
#include <string>
#else
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <wchar.h>
#include <wctype.h>
#endif
#include <stdarg.h>

#include "windef.h"

#ifdef __cplusplus
extern "C"
{
#endif

    typedef int64_t __time64_t;

    struct __timeb64
    {
        __time64_t time;
        unsigned short millitm;
        short timezone;
        short dstflag;
    };

// Lengths, copies, comparisons, searches.
#define PLINTH_CRT PLINTH_PLATFORM_API
    PLINTH_CRT size_t plinth_crt_wcslen(const wchar_t* text);
    PLINTH_CRT size_t plinth_crt_wcsnlen(const wchar_t* text, size_t limit);
    PLINTH_CRT wchar_t* plinth_crt_wcscpy(wchar_t* to, const wchar_t* from);
    PLINTH_CRT wchar_t* plinth_crt_wcsncpy(wchar_t* to, const wchar_t* from, size_t count);
    PLINTH_CRT wchar_t* plinth_crt_wcscat(wchar_t* to, const wchar_t* from);
    PLINTH_CRT wchar_t* plinth_crt_wcsncat(wchar_t* to, const wchar_t* from, size_t count);
    PLINTH_CRT int plinth_crt_wcscmp(const wchar_t* a, const wchar_t* b);
    PLINTH_CRT int plinth_crt_wcsncmp(const wchar_t* a, const wchar_t* b, size_t count);
    PLINTH_CRT wchar_t* plinth_crt_wcschr(const wchar_t* text, wchar_t c);
    PLINTH_CRT wchar_t* plinth_crt_wcsrchr(const wchar_t* text, wchar_t c);
    PLINTH_CRT wchar_t* plinth_crt_wcsstr(const wchar_t* text, const wchar_t* part);
    PLINTH_CRT wchar_t* plinth_crt_wcspbrk(const wchar_t* text, const wchar_t* set);
    PLINTH_CRT size_t plinth_crt_wcsspn(const wchar_t* text, const wchar_t* set);
    PLINTH_CRT size_t plinth_crt_wcscspn(const wchar_t* text, const wchar_t* set);
    PLINTH_CRT wchar_t* plinth_crt_wcsnset(wchar_t* text, wchar_t c, size_t count);
    PLINTH_CRT int plinth_crt_wcsicmp(const wchar_t* a, const wchar_t* b);
    PLINTH_CRT int plinth_crt_wcsnicmp(const wchar_t* a, const wchar_t* b, size_t count);
    PLINTH_CRT int plinth_crt_stricmp(const char* a, const char* b);
    PLINTH_CRT int plinth_crt_strnicmp(const char* a, const char* b, size_t count);
    PLINTH_CRT wchar_t* plinth_crt_wmemcpy(wchar_t* to, const wchar_t* from, size_t count);
    PLINTH_CRT wchar_t* plinth_crt_wmemset(wchar_t* to, wchar_t c, size_t count);
    PLINTH_CRT wchar_t* plinth_crt_wmemmove(wchar_t* to, const wchar_t* from, size_t count);

    // Numbers.
    PLINTH_CRT wchar_t* plinth_crt_itow(int value, wchar_t* buffer, int radix);
    PLINTH_CRT int plinth_crt_wtoi(const wchar_t* text);
    PLINTH_CRT long long plinth_crt_wtoi64(const wchar_t* text);
    PLINTH_CRT int plinth_crt_wcstol(const wchar_t* text, wchar_t** end, int radix);
    PLINTH_CRT unsigned plinth_crt_wcstoul(const wchar_t* text, wchar_t** end, int radix);
    PLINTH_CRT double plinth_crt_wcstod(const wchar_t* text, wchar_t** end);

    // Code page conversion (UTF-8; bad bytes and unpaired surrogates become U+FFFD).
    PLINTH_CRT size_t plinth_crt_mbstowcs(wchar_t* to, const char* from, size_t count);
    PLINTH_CRT size_t plinth_crt_wcstombs(char* to, const wchar_t* from, size_t count);

    // Formatting. A result that does not fit is negative; _vsnwprintf then writes no terminator.
    PLINTH_CRT int plinth_crt_vsnwprintf(wchar_t* buffer, size_t count, const wchar_t* format,
                                         va_list arguments);
    PLINTH_CRT int plinth_crt_snwprintf(wchar_t* buffer, size_t count, const wchar_t* format, ...);
    // The result is always terminated; size counts the terminator. A text of more than count
    // characters is cut after count of them. With _TRUNCATE a text is cut at the buffer's end. Both
    // return -1 for a text that was cut. Any other text without enough room leaves the buffer
    // empty, returns -1 and sets errno.
    PLINTH_CRT int plinth_crt_vsnwprintf_s(wchar_t* buffer, size_t size, size_t count,
                                           const wchar_t* format, va_list arguments);
    PLINTH_CRT int plinth_crt_swprintf_s(wchar_t* buffer, size_t size, const wchar_t* format, ...);
    PLINTH_CRT int plinth_crt_vsnprintf(char* buffer, size_t count, const char* format,
                                        va_list arguments);
    PLINTH_CRT int plinth_crt_snprintf(char* buffer, size_t count, const char* format, ...);
    PLINTH_CRT int plinth_crt_swscanf(const wchar_t* text, const wchar_t* format, ...);
    PLINTH_CRT int plinth_crt_vswscanf(const wchar_t* text, const wchar_t* format,
                                       va_list arguments);

    // Paths, files, time, random numbers.
    PLINTH_CRT void plinth_crt_wsplitpath(const wchar_t* path, wchar_t* drive, wchar_t* directory,
                                          wchar_t* name, wchar_t* extension);
    PLINTH_CRT int plinth_crt_waccess(const wchar_t* path, int mode);
    PLINTH_CRT FILE* plinth_crt_wfopen(const wchar_t* path, const wchar_t* mode);
    PLINTH_CRT wchar_t* plinth_crt_wstrtime(wchar_t* buffer);
    PLINTH_CRT __time64_t plinth_crt_time64(__time64_t* result);
    PLINTH_CRT struct tm* plinth_crt_localtime64(const __time64_t* time);
    PLINTH_CRT __time64_t plinth_crt_mktime64(struct tm* time);
    PLINTH_CRT double plinth_crt_difftime64(__time64_t later, __time64_t earlier);
    PLINTH_CRT void plinth_crt_ftime64(struct __timeb64* result);
    PLINTH_CRT void plinth_crt_srand(unsigned seed);
    PLINTH_CRT int plinth_crt_rand(void); // 0 to 32,767, seeded for each thread

#ifdef __cplusplus
}

// For an array, whose size is deduced.
template <size_t Size, class... Arguments>
int plinth_crt_swprintf_s(wchar_t (&buffer)[Size], const wchar_t* format, Arguments... arguments)
{
    return plinth_crt_swprintf_s(buffer, Size, format, arguments...);
}
#endif

#define _TRUNCATE ((size_t)-1)
#define _MAX_DRIVE 3
#define _MAX_DIR 256
#define _MAX_FNAME 256
#define _MAX_EXT 256

#ifndef PLINTH_PLATFORM_NO_RUNTIME_NAMES
#undef wcslen
#undef rand
#undef srand
#define wcslen plinth_crt_wcslen
#define wcsnlen plinth_crt_wcsnlen
#define wcscpy plinth_crt_wcscpy
#define wcsncpy plinth_crt_wcsncpy
#define wcscat plinth_crt_wcscat
#define wcsncat plinth_crt_wcsncat
#define wcscmp plinth_crt_wcscmp
#define wcsncmp plinth_crt_wcsncmp
#define wcschr plinth_crt_wcschr
#define wcsrchr plinth_crt_wcsrchr
#define wcsstr plinth_crt_wcsstr
#define wcspbrk plinth_crt_wcspbrk
#define wcsspn plinth_crt_wcsspn
#define wcscspn plinth_crt_wcscspn
#define _wcsnset plinth_crt_wcsnset
#define _wcsicmp plinth_crt_wcsicmp
#define _wcsnicmp plinth_crt_wcsnicmp
#define _stricmp plinth_crt_stricmp
#define _strnicmp plinth_crt_strnicmp
#define wmemcpy plinth_crt_wmemcpy
#define wmemset plinth_crt_wmemset
#define wmemmove plinth_crt_wmemmove
#define _itow plinth_crt_itow
#define _wtoi plinth_crt_wtoi
#define _wtoi64 plinth_crt_wtoi64
#define wcstol plinth_crt_wcstol
#define wcstoul plinth_crt_wcstoul
#define wcstod plinth_crt_wcstod
#define mbstowcs plinth_crt_mbstowcs
#define wcstombs plinth_crt_wcstombs
#define _vsnwprintf plinth_crt_vsnwprintf
#define _snwprintf plinth_crt_snwprintf
#define _vsnwprintf_s plinth_crt_vsnwprintf_s
#define swprintf_s plinth_crt_swprintf_s
#define _vsnprintf plinth_crt_vsnprintf
#define _snprintf plinth_crt_snprintf
#define swscanf plinth_crt_swscanf
#define vswscanf plinth_crt_vswscanf
#define _wsplitpath plinth_crt_wsplitpath
#define _waccess plinth_crt_waccess
#define _wfopen plinth_crt_wfopen
#define _wstrtime plinth_crt_wstrtime
#define _time64 plinth_crt_time64
#define _localtime64 plinth_crt_localtime64
#define _mktime64 plinth_crt_mktime64
#define _difftime64 plinth_crt_difftime64
#define _ftime64 plinth_crt_ftime64
#define srand plinth_crt_srand
#define rand plinth_crt_rand

#ifdef __cplusplus
// std::wcslen and its like mean these too.
namespace std
{
using ::plinth_crt_mbstowcs;
using ::plinth_crt_rand;
using ::plinth_crt_srand;
using ::plinth_crt_swscanf;
using ::plinth_crt_wcscat;
using ::plinth_crt_wcschr;
using ::plinth_crt_wcscmp;
using ::plinth_crt_wcscpy;
using ::plinth_crt_wcscspn;
using ::plinth_crt_wcslen;
using ::plinth_crt_wcsncat;
using ::plinth_crt_wcsncmp;
using ::plinth_crt_wcsncpy;
using ::plinth_crt_wcspbrk;
using ::plinth_crt_wcsrchr;
using ::plinth_crt_wcsspn;
using ::plinth_crt_wcsstr;
using ::plinth_crt_wcstod;
using ::plinth_crt_wcstol;
using ::plinth_crt_wcstombs;
using ::plinth_crt_wcstoul;
using ::plinth_crt_wmemcpy;
using ::plinth_crt_wmemmove;
using ::plinth_crt_wmemset;
} // namespace std
#endif
#endif

#endif
