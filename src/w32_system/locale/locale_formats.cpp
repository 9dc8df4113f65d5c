// The user's date and time conventions in three forms: the system's pictures, strftime formats, and
// a mask to show to users; and a time in that form.
//
// Formats and mask have the parts of the user's short date, in its order and with its separator,
// but always two digits for a day and four for a year, because people type them and programs read
// them.
#include <climits>
#include <cstdio>
#include <cwchar>

#include <windows.h>

#include <tchar.h>

#include "plinth_w32_system.h"

namespace
{

// Texts for _snwprintf, which inserts the separator twice, between the parts.
struct Forms
{
    const wchar_t* date[3]; // by LOCALE_IDATE
    const wchar_t* hours24;
    const wchar_t* markFirst;
    const wchar_t* markLast;
};

constexpr Forms strftime_forms = {
    {L"%%m%s%%d%s%%Y", L"%%d%s%%m%s%%Y", L"%%Y%s%%m%s%%d"},
    L"%%H%s%%M%s%%S",
    L"%%p %%I%s%%M%s%%S",
    L"%%I%s%%M%s%%S %%p",
};

constexpr Forms mask_forms = {
    {L"MM%sDD%sYYYY", L"DD%sMM%sYYYY", L"YYYY%sMM%sDD"},
    L" HH%sMM%sSS",
    L" pm hh%sMM%sSS",
    L" hh%sMM%sSS pm",
};

// An item that can't be read counts as 0.
int QvLocaleDigit(LCTYPE item)
{
    wchar_t text[10] = {};
    GetLocaleInfoW(LOCALE_USER_DEFAULT, item, text, 10);
    return QV_wtoi(text);
}

// An item that can't be read leaves the separator empty.
struct Separator
{
    explicit Separator(LCTYPE item) { GetLocaleInfoW(LOCALE_USER_DEFAULT, item, m_text, 4); }
    wchar_t m_text[4] = {};
};

// The form for the user's date order, null for an unknown order.
const wchar_t* QvDateForm(const Forms& forms)
{
    const int order = QvLocaleDigit(LOCALE_IDATE);
    return order >= 0 && order <= 2 ? forms.date[order] : nullptr;
}

const wchar_t* QvTimeForm(const Forms& forms)
{
    switch (QvLocaleDigit(LOCALE_ITIME))
    {
    case 1:
        return forms.hours24;
    case 0:
        return QvLocaleDigit(LOCALE_ITIMEMARKPOSN) == 0 ? forms.markLast : forms.markFirst;
    default:
        return nullptr;
    }
}

// Always terminated, cut to the size if necessary. Without a form the text stays as it was.
void QvWriteForm(wchar_t* text, unsigned size, const wchar_t* form, LCTYPE separatorItem)
{
    if (!form || size == 0)
        return;
    const Separator separator(separatorItem);
    const int length = _snwprintf(text, size, form, separator.m_text, separator.m_text);
    if (length < 0 || static_cast<unsigned>(length) >= size)
        text[size - 1] = L'\0';
}

// A picture that can't be read, or doesn't fit, results in an empty text.
void QvReadPicture(LCTYPE item, wchar_t* text, unsigned size)
{
    if (size == 0)
        return;
    const int room = size < INT_MAX ? static_cast<int>(size) : INT_MAX; // the system counts in int
    if (!GetLocaleInfoW(LOCALE_USER_DEFAULT, item, text, room))
        *text = L'\0';
}

} // namespace

extern "C" int QV_GetLocaleShortDateTimeFormat(wchar_t* pDate, unsigned nDate, wchar_t* pTime,
                                               unsigned nTime)
{
    if (pDate)
        QvReadPicture(LOCALE_SSHORTDATE, pDate, nDate);
    if (pTime)
        QvReadPicture(LOCALE_STIMEFORMAT, pTime, nTime);
    return QV_OK;
}

extern "C" int QV_GetLocaleDateTimeFormat(wchar_t* pDate, unsigned nDate, wchar_t* pTime,
                                          unsigned nTime)
{
    if (pDate)
        QvWriteForm(pDate, nDate, QvDateForm(strftime_forms), LOCALE_SDATE);
    if (pTime)
        QvWriteForm(pTime, nTime, QvTimeForm(strftime_forms), LOCALE_STIME);
    return QV_OK;
}

extern "C" int QV_GetLocaleUserDateTimeFormat(wchar_t* pText, unsigned n)
{
    if (!pText || n == 0)
        return QV_OK;
    *pText = L'\0'; // the time follows the date, or is alone
    QvWriteForm(pText, n, QvDateForm(mask_forms), LOCALE_SDATE);
    wchar_t time[80] = {};
    QvWriteForm(time, 80, QvTimeForm(mask_forms), LOCALE_STIME);
    const unsigned used = wcslen32(pText);
    wcsncat(pText, time, n - used - 1);
    return QV_OK;
}

extern "C" int QV_FormatLocaleDateTime(const SYSTEMTIME* pTime, wchar_t* pDate, int nDate,
                                       wchar_t* pTimeText, int nTimeText)
{
    if (!pTime)
        return QV_ERR_SYSTEM;
    if (pDate && !GetDateFormatW(LOCALE_USER_DEFAULT, DATE_SHORTDATE, pTime, nullptr, pDate, nDate))
        return QV_ERR_SYSTEM;
    if (pTimeText && !GetTimeFormatW(LOCALE_USER_DEFAULT, 0, pTime, nullptr, pTimeText, nTimeText))
        return QV_ERR_SYSTEM;
    return QV_OK;
}
