// Doubles as text for people, and back.
//
// The C++ library prints the digits, with a dot in every locale, and the runtime library reads
// them; the user's locale is applied afterwards. The runtime libraries don't print, because they
// round a number in the middle, such as 0.5, differently. A text that fills its buffer to the last
// character has no room for its terminator, so it does not fit.
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>
#include <system_error>

#include <windows.h>

#include <tchar.h>

#include "argument_check.h"

namespace
{

constexpr const char* source_name = "src\\w32_system\\text\\text";
constexpr double shown_as_zero_below = 0.00001;
constexpr int locale_text_size = 254;
constexpr int usual_text_size = 512; // longer ones use memory from the heap

// Prints a number into text, which has size characters. False if it does not fit with its
// terminator.
bool QvPrint(double value, std::chars_format format, int decimals, wchar_t* text, int size)
{
    auto* const bytes = reinterpret_cast<char*>(text); // at the front of the text's memory
    const auto [end, error] = std::to_chars(bytes, bytes + size - 1, value, format, decimals);
    if (error != std::errc())
        return false;
    const ptrdiff_t length = end - bytes;
    for (ptrdiff_t i = length; i-- > 0;) // from the end: a character needs the space of two bytes
        text[i] = static_cast<wchar_t>(bytes[i]);
    text[length] = L'\0';
    return true;
}

// Prints with a number of decimals. If the text does not fit, it is cut and terminated: false.
bool QvPrintDecimals(double value, int decimals, wchar_t* text, int size)
{
    if (QvPrint(value, std::chars_format::fixed, decimals, text, size))
        return true;
    _snwprintf(text, static_cast<size_t>(size), L"%.*lf", decimals, value);
    text[size - 1] = L'\0';
    return false;
}

// Removes the zeros at the end of the decimals, and a decimal mark that ends the text. Returns the
// number of zeros.
int QvStripDecimals(wchar_t* text)
{
    wchar_t* end = text + wcslen(text);
    int trimmed = 0;
    for (; end > text && end[-1] == L'0'; ++trimmed)
        *--end = L'\0';
    if (end > text && end[-1] == L'.')
        *--end = L'\0';
    return trimmed;
}

// The number of decimals that shows the first digit of a small number, rounded: 4 for 0.00036.
int QvDecimalsNeeded(double value)
{
    constexpr int room = 16;
    wchar_t text[room] = L""; // "-4e-04" at the longest: smaller numbers show as zero
    QvPrint(value, std::chars_format::scientific, 0, text, room);
    const wchar_t* const mark = wcschr(text, L'e');
    return mark ? -_wtoi(mark + 1) : 0;
}

UINT QvLocaleNumber(LCTYPE item, UINT otherwise)
{
    DWORD number = otherwise;
    GetLocaleInfoW(LOCALE_USER_DEFAULT, item | LOCALE_RETURN_NUMBER,
                   reinterpret_cast<wchar_t*>(&number), sizeof number / sizeof(wchar_t));
    return number;
}

// Changes a printed number to the user's form. The number stays as it is if the locale has no form
// for it (it is infinite, or the form does not fit).
void QvFormatNumber(wchar_t* text, int size, int decimals)
{
    if (decimals >= size)
        return; // the system must not print more digits than fit
    wchar_t thousand[locale_text_size + 1] = L"";
    wchar_t decimal[locale_text_size + 1] = L".";
    NUMBERFMTW format = {};
    format.NumDigits = static_cast<UINT>(decimals);
    format.LeadingZero = QvLocaleNumber(LOCALE_ILZERO, 1);
    format.Grouping = 0;
    GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_STHOUSAND, thousand, locale_text_size);
    GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, decimal, locale_text_size);
    format.lpThousandSep = thousand;
    format.lpDecimalSep = decimal;
    format.NegativeOrder = QvLocaleNumber(LOCALE_INEGNUMBER, 1);

    wchar_t usual[usual_text_size];
    std::unique_ptr<wchar_t[]> large;
    wchar_t* result = usual;
    const int room = size < usual_text_size ? size : usual_text_size;
    int length = GetNumberFormatW(LOCALE_USER_DEFAULT, 0, text, &format, usual, room);
    if (length == 0 && size > room && GetLastError() == ERROR_INSUFFICIENT_BUFFER)
    {
        large.reset(new (std::nothrow) wchar_t[static_cast<size_t>(size)]);
        result = large.get();
        if (result)
            length = GetNumberFormatW(LOCALE_USER_DEFAULT, 0, text, &format, result, size);
    }
    if (length != 0)
        memcpy(text, result, static_cast<size_t>(length) * sizeof *text);
}

} // namespace

extern "C" bool QV_DoubleToStringEx(double value, int decimals, wchar_t* text, int size, bool trim,
                                    bool format, int minDecimals)
{
    if (!text || size < 1)
        return QvRefuse(0, L"text==NULL || size<1", L"QV_DoubleToStringEx: No room for the text.",
                        source_name, __LINE__) != 0;
    if (decimals < 0)
        return false;
    if (std::fabs(value) < shown_as_zero_below)
    {
        if (size < 2)
            return false;
        wcscpy(text, L"0");
        return true;
    }
    if (!QvPrintDecimals(value, decimals, text, size))
        return false;
    int trimmed = decimals > 0 ? QvStripDecimals(text) : 0;
    if (wcscmp(text, L"0") == 0 || wcscmp(text, L"-0") == 0)
    {
        decimals = QvDecimalsNeeded(value);
        trimmed = 0;
        if (!QvPrintDecimals(value, decimals, text, size))
            return false;
    }
    if (format)
    {
        int shown = decimals;
        if (trim)
        {
            shown -= trimmed;
            if (minDecimals > shown)
                shown = minDecimals;
        }
        QvFormatNumber(text, size, shown);
    }
    return true;
}

extern "C" bool QV_DoubleToString(double value, int decimals, wchar_t* text, int size)
{
    return QV_DoubleToStringEx(value, decimals, text, size, true, true, 0);
}

extern "C" bool QV_StringToDouble(const wchar_t* text, double* value)
{
    if (!text || !value)
        return QvRefuse(0, L"text==NULL || value==NULL",
                        L"QV_StringToDouble: No text, or no place for the number.", source_name,
                        __LINE__) != 0;
    wchar_t decimal[locale_text_size + 1] = L"";
    GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, decimal, locale_text_size);
    const wchar_t* const mark = *decimal ? wcsstr(text, decimal) : nullptr;
    if (!mark || *mark == L'.')
        return swscanf(text, L"%lf", value) == 1;

    const size_t length = wcslen(text) + 1;
    wchar_t usual[usual_text_size];
    std::unique_ptr<wchar_t[]> large;
    wchar_t* copy = usual;
    if (length > usual_text_size)
    {
        large.reset(new (std::nothrow) wchar_t[length]);
        if (!large)
            return false;
        copy = large.get();
    }
    memcpy(copy, text, length * sizeof *copy);
    copy[mark - text] = L'.';
    return swscanf(copy, L"%lf", value) == 1;
}

extern "C" bool QV_IsStringDouble(const wchar_t* text)
{
    if (!text)
        return QvRefuse(0, L"text==NULL", L"QV_IsStringDouble: No text.", source_name, __LINE__) !=
               0;
    bool digits = false;
    bool mark = false;
    for (; *text; ++text)
        switch (*text)
        {
        case L'.':
        case L',':
            if (mark)
                return false;
            mark = true;
            break;
        case L'+':
        case L'-':
            if (digits)
                return false;
            break;
        default:
            if (*text < L'0' || *text > L'9')
                return false;
            digits = true;
        }
    return digits;
}

extern "C" double QV_wstrtod(const wchar_t* text, wchar_t** end)
{
    return wcstod(text, end);
}
