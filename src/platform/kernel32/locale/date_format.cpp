// Dates and times formatted by pictures. Digits are ASCII in every locale, as on the system.
#include <cstdio>

#include "locale_data.h"
#include "locale_item.h"
#include "locale_picture.h"
#include "system/text.h"

using namespace platform;

namespace
{

void add_number(std::string& text, unsigned number, size_t digits)
{
    const std::string shown = std::to_string(number);
    if (shown.size() < digits)
        text.append(digits - shown.size(), '0');
    text += shown;
}

void add_date_field(std::string& text, const PictureReader::Part& part, const SYSTEMTIME& date,
                    const LocaleData& names, bool beside_day)
{
    switch (part.letter)
    {
    case 'd':
        if (part.count <= 2)
            add_number(text, date.wDay, part.count);
        else
            text += (part.count == 3 ? names.short_days : names.days)[date.wDayOfWeek];
        break;
    case 'M':
        if (part.count <= 2)
            add_number(text, date.wMonth, part.count);
        else if (part.count == 3)
            text += names.short_months[date.wMonth - 1u];
        else
            text += (beside_day ? names.months_of_date : names.months)[date.wMonth - 1u];
        break;
    case 'y':
    {
        const auto year = static_cast<unsigned>(date.wYear + names.year_offset);
        if (part.count <= 2)
            add_number(text, year % 100, part.count);
        else
            add_number(text, year, 4);
        break;
    }
    default: // an era's name, which years of the common era don't show
        break;
    }
}

std::string date_text(const std::string& picture, const SYSTEMTIME& date)
{
    const auto names = locale_data();
    bool has_day = false;
    PictureReader looking(picture, PictureKind::date);
    for (PictureReader::Part part; looking.next(part);)
        has_day |= part.letter == 'd' && part.count <= 2;
    std::string text;
    PictureReader reader(picture, PictureKind::date);
    for (PictureReader::Part part; reader.next(part);)
        if (part.letter)
            add_date_field(text, part, date, *names, has_day);
        else
            text += part.literal;
    return text;
}

// The first character, not the first byte.
std::string first_character(const std::string& text)
{
    size_t end = text.empty() ? 0 : 1;
    while (end < text.size() && (text[end] & 0xC0) == 0x80)
        ++end;
    return text.substr(0, end);
}

std::string time_text(const std::string& picture, const SYSTEMTIME& time)
{
    std::string text;
    PictureReader reader(picture, PictureKind::time);
    for (PictureReader::Part part; reader.next(part);)
        switch (part.letter)
        {
        case 'H':
            add_number(text, time.wHour, part.count == 1 ? 1 : 2);
            break;
        case 'h':
            add_number(text, (time.wHour + 11u) % 12 + 1, part.count == 1 ? 1 : 2);
            break;
        case 'm':
            add_number(text, time.wMinute, part.count == 1 ? 1 : 2);
            break;
        case 's':
            add_number(text, time.wSecond, part.count == 1 ? 1 : 2);
            break;
        case 't':
        {
            const std::string mark = locale_item(time.wHour < 12 ? LOCALE_S1159 : LOCALE_S2359);
            text += part.count == 1 ? first_character(mark) : mark;
            break;
        }
        default:
            text += part.literal;
        }
    return text;
}

// Sets the day of the week of a date, ignoring the caller's. False if there is no such date.
bool complete_date(SYSTEMTIME& date)
{
    SYSTEMTIME midnight = {};
    midnight.wYear = date.wYear;
    midnight.wMonth = date.wMonth;
    midnight.wDay = date.wDay;
    FILETIME as_ticks;
    return SystemTimeToFileTime(&midnight, &as_ticks) && FileTimeToSystemTime(&as_ticks, &date);
}

bool is_time_of_day(const SYSTEMTIME& time)
{
    return time.wHour < 24 && time.wMinute < 60 && time.wSecond < 60 && time.wMilliseconds < 1000;
}

SYSTEMTIME given_or_now(const SYSTEMTIME* given)
{
    SYSTEMTIME time = {};
    if (given)
        time = *given;
    else
        GetLocalTime(&time);
    return time;
}

} // namespace

extern "C" int GetDateFormatW(LCID locale, DWORD flags, const SYSTEMTIME* given, LPCWSTR picture,
                              LPWSTR out, int size)
{
    return with_locale(
        "GetDateFormatW", locale, out, size,
        [=]
        {
            if (flags & ~DATE_SHORTDATE || (flags && picture))
                return static_cast<int>(fail_with(ERROR_INVALID_FLAGS));
            SYSTEMTIME date = given_or_now(given);
            if (!complete_date(date))
                return static_cast<int>(fail_with(ERROR_INVALID_PARAMETER));
            return give_text(
                date_text(picture ? to_utf8(picture) : locale_item(LOCALE_SSHORTDATE), date), out,
                size);
        });
}

extern "C" int GetTimeFormatW(LCID locale, DWORD flags, const SYSTEMTIME* given, LPCWSTR picture,
                              LPWSTR out, int size)
{
    return with_locale(
        "GetTimeFormatW", locale, out, size,
        [=]
        {
            if (flags != 0)
                return static_cast<int>(fail_with(ERROR_INVALID_FLAGS));
            const SYSTEMTIME time = given_or_now(given);
            if (!is_time_of_day(time))
                return static_cast<int>(fail_with(ERROR_INVALID_PARAMETER));
            return give_text(
                time_text(picture ? to_utf8(picture) : locale_item(LOCALE_STIMEFORMAT), time), out,
                size);
        });
}
