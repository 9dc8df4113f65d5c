// The user's locale: its items, and numbers, dates and times in its form.
//
// Only LOCALE_USER_DEFAULT is known, and only the items and flags defined here. docs/platform.md
// lists where the values come from.
#ifndef PLINTH_PLATFORM_WINNLS_H
#define PLINTH_PLATFORM_WINNLS_H

#include "winbase.h"

#ifdef __cplusplus
extern "C"
{
#endif

    typedef DWORD LCID;
    typedef DWORD LCTYPE;

#define LOCALE_USER_DEFAULT 0x0400u

#define LOCALE_SDECIMAL 0x000Eu
#define LOCALE_STHOUSAND 0x000Fu
#define LOCALE_SGROUPING 0x0010u
#define LOCALE_IDIGITS 0x0011u
#define LOCALE_ILZERO 0x0012u
#define LOCALE_SDATE 0x001Du
#define LOCALE_STIME 0x001Eu
#define LOCALE_SSHORTDATE 0x001Fu
#define LOCALE_IDATE 0x0021u
#define LOCALE_ITIME 0x0023u
#define LOCALE_S1159 0x0028u
#define LOCALE_S2359 0x0029u
#define LOCALE_SNEGATIVESIGN 0x0051u
#define LOCALE_STIMEFORMAT 0x1003u
#define LOCALE_ITIMEMARKPOSN 0x1005u
#define LOCALE_INEGNUMBER 0x1010u
#define LOCALE_RETURN_NUMBER 0x20000000u // with an I item: the buffer takes a DWORD

#define DATE_SHORTDATE 0x0001u

    typedef struct NUMBERFMTW
    {
        UINT NumDigits;
        UINT LeadingZero;
        UINT Grouping; // a decimal digit for each group from the right: 3, or 32 for 12,34,567
        LPWSTR lpDecimalSep;
        LPWSTR lpThousandSep;
        UINT NegativeOrder; // 0 to 4: (1.1) -1.1 - 1.1 1.1- 1.1 -
    } NUMBERFMTW;

    // Each returns the characters stored, terminator included, or with a size of 0 those needed.
    PLINTH_PLATFORM_API int WINAPI GetLocaleInfoW(LCID locale, LCTYPE type, LPWSTR out, int size);
    PLINTH_PLATFORM_API int WINAPI GetNumberFormatW(LCID locale, DWORD flags, LPCWSTR value,
                                                    const NUMBERFMTW* format, LPWSTR out, int size);
    PLINTH_PLATFORM_API int WINAPI GetDateFormatW(LCID locale, DWORD flags, const SYSTEMTIME* date,
                                                  LPCWSTR picture, LPWSTR out, int size);
    PLINTH_PLATFORM_API int WINAPI GetTimeFormatW(LCID locale, DWORD flags, const SYSTEMTIME* time,
                                                  LPCWSTR picture, LPWSTR out, int size);

#ifdef __cplusplus
}
static_assert(sizeof(NUMBERFMTW) == 40 && offsetof(NUMBERFMTW, lpDecimalSep) == 16);
#endif

#endif
