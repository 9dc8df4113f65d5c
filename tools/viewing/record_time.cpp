#include "record_time.h"

#include <chrono>
#include <cstdio>
#include <ctime>

#include <windows.h>

#include <tchar.h>

namespace trace
{

namespace
{

constexpr std::string_view stamp_marker = " *vtq* ";
constexpr size_t least_stamp = 23;
constexpr size_t most_stamp = 25; // a year of more than four digits

// Rounds down, also before 1970.
__time64_t seconds_of(Time time)
{
    return (time - (time % second + second) % second) / second;
}

unsigned milliseconds_of(Time time)
{
    return static_cast<unsigned>((time % second + second) % second / 1000);
}

std::string date_text(const std::tm& date, const char* format, unsigned milliseconds)
{
    char text[48];
    const int length =
        std::snprintf(text, sizeof text, format, date.tm_year + 1900, date.tm_mon + 1, date.tm_mday,
                      date.tm_hour, date.tm_min, date.tm_sec, milliseconds);
    return {text, static_cast<size_t>(length)};
}

// Takes a number with at least this many digits, and the character after it, off the text.
bool take_number(std::string_view& text, size_t least, char end, int& number)
{
    size_t digits = 0;
    number = 0;
    for (; digits < text.size() && digits < 6 && text[digits] >= '0' && text[digits] <= '9';
         ++digits)
        number = number * 10 + (text[digits] - '0');
    if (digits < least ||
        (end ? digits >= text.size() || text[digits] != end : digits != text.size()))
        return false;
    text.remove_prefix(digits + (end ? 1 : 0));
    return true;
}

// Months count from 1 here.
bool is_date(const std::tm& date)
{
    return date.tm_mon >= 1 && date.tm_mon <= 12 && date.tm_mday >= 1 && date.tm_mday <= 31 &&
           date.tm_hour < 24 && date.tm_min < 60 && date.tm_sec <= 60;
}

} // namespace

Time current_time()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::optional<Stamp> stamp_of(std::string_view text)
{
    const std::string_view head = text.substr(0, most_stamp + stamp_marker.size());
    const size_t marker = head.find(stamp_marker);
    if (marker == std::string_view::npos || marker < least_stamp)
        return std::nullopt;
    return Stamp{marker + stamp_marker.size(), text.substr(0, marker)};
}

std::optional<StampFields> fields_of(const Stamp& stamp)
{
    std::string_view text = stamp.local;
    StampFields fields;
    std::tm& date = fields.date;
    if (!take_number(text, 4, '-', date.tm_year) || !take_number(text, 2, '-', date.tm_mon) ||
        !take_number(text, 2, ' ', date.tm_mday) || !take_number(text, 2, ':', date.tm_hour) ||
        !take_number(text, 2, ':', date.tm_min) || !take_number(text, 2, '.', date.tm_sec) ||
        !take_number(text, 3, '\0', fields.milliseconds) || !is_date(date))
        return std::nullopt;
    date.tm_year -= 1900;
    date.tm_mon -= 1;
    date.tm_isdst = -1;
    return fields;
}

Time time_of(const Stamp& stamp)
{
    std::optional<StampFields> fields = fields_of(stamp);
    if (!fields)
        return unknown_time;
    const __time64_t seconds = _mktime64(&fields->date);
    return seconds == -1 ? unknown_time
                         : seconds * second + Time{fields->milliseconds} * millisecond;
}

std::string local_text(Time time)
{
    const __time64_t seconds = time == unknown_time ? 0 : seconds_of(time);
    const std::tm* const date = time == unknown_time ? nullptr : _localtime64(&seconds);
    return date ? date_text(*date, "%04d-%02d-%02d %02d:%02d:%02d.%03u", milliseconds_of(time))
                : std::string();
}

std::string utc_text(Time time)
{
    if (time == unknown_time)
        return {};
    const std::chrono::sys_seconds point{std::chrono::seconds(seconds_of(time))};
    const std::chrono::sys_days day = std::chrono::floor<std::chrono::days>(point);
    const std::chrono::year_month_day calendar(day);
    const std::chrono::hh_mm_ss clock(point - day);
    std::tm date{};
    date.tm_year = static_cast<int>(calendar.year()) - 1900;
    date.tm_mon = static_cast<int>(static_cast<unsigned>(calendar.month())) - 1;
    date.tm_mday = static_cast<int>(static_cast<unsigned>(calendar.day()));
    date.tm_hour = static_cast<int>(clock.hours().count());
    date.tm_min = static_cast<int>(clock.minutes().count());
    date.tm_sec = static_cast<int>(clock.seconds().count());
    return date_text(date, "%04d-%02d-%02dT%02d:%02d:%02d.%03uZ", milliseconds_of(time));
}

std::string interval_text(Time from, Time to)
{
    if (from == unknown_time || to == unknown_time)
        return {};
    const Time difference = to - from;
    const Time size = difference < 0 ? -difference : difference;
    char text[48];
    const int length =
        std::snprintf(text, sizeof text, "%s%lld.%06lld", difference < 0 ? "-" : "",
                      static_cast<long long>(size / second), static_cast<long long>(size % second));
    return {text, static_cast<size_t>(length)};
}

} // namespace trace
