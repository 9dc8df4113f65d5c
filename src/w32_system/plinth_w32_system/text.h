// Numbers, formats and dates as text.
#ifndef PLINTH_W32_SYSTEM_TEXT_H
#define PLINTH_W32_SYSTEM_TEXT_H

#include <ctime>

#include "base.h"

extern "C"
{
    // --------------------------------------------------------------------------- text helpers --

    // Direct calls of the runtime library. Lengths are cut to 32 bits.
    QV_API unsigned int wcslen32(const wchar_t* text);
    QV_API unsigned int strlen32(const char* text);

    // Comparison without regard to case, by the runtime's rules and not the user's locale: only A
    // to Z have a case.
    QV_API int QV_stricmp(const char* a, const char* b);
    QV_API int QV_strnicmp(const char* a, const char* b, unsigned int count);
    QV_API int QV_wcsicmp(const wchar_t* a, const wchar_t* b);
    QV_API int QV_wcsnicmp(const wchar_t* a, const wchar_t* b, unsigned int count);

    // Numbers. A radix is 2 to 36; the buffer of QV_itow holds up to 33 characters.
    QV_API wchar_t* QV_itow(int value, wchar_t* buffer, int radix);
    QV_API int QV_wtoi(const wchar_t* text);

    // Formats without a limit: the caller makes the buffer large enough. The number of characters,
    // or negative on failure. Numbers with %e, %f and %g look as described at DiagOutputExW.
    QV_API int QV_swprintf(wchar_t* buffer, const wchar_t* format, ...);

    // Conversion by the active code page (UTF-8 on Linux). length: units, or -1 for all including
    // the terminator. With outSize 0 returns the size that is needed. The units written, or 0 on
    // failure.
    QV_API int QV_WChar2Char(const wchar_t* text, int length, char* out, int outSize);
    QV_API int QV_Char2WChar(const char* text, int length, wchar_t* out, int outSize);

    // Doubles as text for people. At most decimals decimals are shown, rounded to the nearest, and
    // from the middle to the even digit (2.5 at no decimals is "2"); zeros at the end of them are
    // left out. A number that would show as zero gets as many decimals as its first digit needs
    // instead (0.0004 at 2 decimals is "0.0004"); only below 0.00001 it is "0". Not-a-number and
    // infinities are "nan" and "inf".
    //
    // size: of text, in characters, including the terminator. format: true for the user's decimal
    // separator, negative form and leading zero, never grouped; false for a dot and a minus sign.
    // On Windows the user's form has at most 9 decimals: a number with more keeps the dot there.
    // With format, trim false keeps zeros at the end, and with trim true minDecimals is how many of
    // them stay. QV_DoubleToString trims, formats, and has no minDecimals.
    //
    // False: text is null or size is 0; decimals is negative; or the number does not fit, and text
    // holds as many of its unformatted digits as fit. If only the user's form doesn't fit, text
    // holds the number with a dot, and the result is true. The text is terminated whenever size is
    // at least 1 and anything is written.
    QV_API bool QV_DoubleToStringEx(double value, int decimals, wchar_t* text, int size, bool trim,
                                    bool format, int minDecimals);
    QV_API bool QV_DoubleToString(double value, int decimals, wchar_t* text, int size);

    // Reads the number at the beginning of a text, with the user's decimal separator or a dot. For
    // example, "1,5 kg" is 1.5 with a decimal comma, and otherwise 1. False, with *value unchanged,
    // if the text has no number there or an argument is null.
    QV_API bool QV_StringToDouble(const wchar_t* text, double* value);

    // Whether a text is digits with at most one '.' or ',', and signs before the first digit.
    // Ignores locales and exponents. False for null.
    QV_API bool QV_IsStringDouble(const wchar_t* text);

    // The runtime library's wcstod; end may be null.
    QV_API double QV_wstrtod(const wchar_t* text, wchar_t** end);

    // Replaces each "ll" of a format text by "I64", in place; for each, the buffer has room for one
    // more character. The format is not parsed, so "hello" becomes "heI64o". True if the format
    // then contains "I64"; false for null.
    QV_API bool QV_Conv64FmtSpecA(char* format);
    QV_API bool QV_Conv64FmtSpecW(wchar_t* format);

    // ------------------------------------------------------------------ locale date and time --

    // All follow the user's locale at the time of the call: the system's settings; on Linux LC_ALL,
    // LC_TIME or LANG of the environment. Sizes are in characters, terminator included.

    // Converts local time to the automation layer's date: days since 30 December 1899, in UTC, by
    // the zone's rules for that moment. Of a time that occurs twice, because clocks are set back,
    // the earlier one is used. tm_wday, tm_yday and tm_isdst are ignored. QV_ERR_NULLPTR;
    // QV_ERR_SYSTEM: a time that does not exist, or one before 1601 or after 9999.
    QV_API int QV_TmToVariantTime(const struct tm* pTm, double* pVariantTime);

    // The system's pictures of the short date and of the time ("dd.MM.yyyy", "HH:mm:ss"). Either
    // buffer may be null. Always QV_OK: a buffer that is too small receives the empty text.
    QV_API int QV_GetLocaleShortDateTimeFormat(wchar_t* pDate, unsigned nDate, wchar_t* pTime,
                                               unsigned nTime);

    // strftime formats with the user's order and separators ("%m/%d/%Y", "%I:%M:%S %p"). Either
    // buffer may be null. Always QV_OK: a text that is too long is cut and terminated.
    QV_API int QV_GetLocaleDateTimeFormat(wchar_t* pDate, unsigned nDate, wchar_t* pTime,
                                          unsigned nTime);

    // A mask of date and time to show to users, "MM/DD/YYYY hh:MM:SS pm". "HH" means 24 hours, and
    // "hh" 12. The whole is cut to n characters, with a terminator. Null is skipped. Always QV_OK.
    QV_API int QV_GetLocaleUserDateTimeFormat(wchar_t* pText, unsigned n);

    // A time as date and time of day in the user's form. Either buffer may be null. QV_ERR_SYSTEM:
    // pTime is null, the time does not exist, or a buffer is too small; if the date fails,
    // pTimeText is not changed. A size of 0 writes nothing and is no failure.
    QV_API int QV_FormatLocaleDateTime(const SYSTEMTIME* pTime, wchar_t* pDate, int nDate,
                                       wchar_t* pTimeText, int nTimeText);
}

#endif
