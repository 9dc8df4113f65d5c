// File times, calendar times and local time.
#include "file_time.h"

#include "system/clock.h"
#include "system/faults.h"
#include "system/last_error.h"
#include "system/local_time.h"
#include "windows.h"

using namespace platform;

namespace
{

constexpr int64_t ticks_per_second = 10'000'000;     // of 100 ns
constexpr int64_t epoch_difference = 11'644'473'600; // seconds from 1601 to 1970
constexpr int64_t seconds_per_day = 86'400;
constexpr unsigned first_year = 1601;
constexpr unsigned last_year = 30'827; // what a file time can hold

int64_t ticks_of(const FILETIME& time)
{
    return static_cast<int64_t>((static_cast<uint64_t>(time.dwHighDateTime) << 32) |
                                time.dwLowDateTime);
}

FILETIME from_ticks(int64_t ticks)
{
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

bool is_leap(unsigned year)
{
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

unsigned days_in(unsigned month, unsigned year)
{
    static constexpr unsigned days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && is_leap(year) ? 29 : days[month - 1];
}

// Days from 1 January 1601, a Monday and the first day of a 400-year cycle.
int64_t days_before_year(unsigned year)
{
    const int64_t past = static_cast<int64_t>(year) - first_year;
    return past * 365 + past / 4 - past / 100 + past / 400;
}

bool is_date(const SYSTEMTIME& time)
{
    return time.wYear >= first_year && time.wYear <= last_year && time.wMonth >= 1 &&
           time.wMonth <= 12 && time.wDay >= 1 && time.wDay <= days_in(time.wMonth, time.wYear) &&
           time.wHour < 24 && time.wMinute < 60 && time.wSecond < 60 && time.wMilliseconds < 1000;
}

// Seconds by which local time is ahead of UTC at a moment.
bool zone_offset(time_t moment, int64_t& offset)
{
    struct tm local;
    if (!local_time(moment, local))
        return false;
    offset = local.tm_gmtoff;
    return true;
}

// A file time moved by some seconds. False if it would leave what a file time can hold.
bool move_time(const FILETIME& time, int64_t seconds, FILETIME& result)
{
    int64_t ticks = 0;
    if (__builtin_add_overflow(ticks_of(time), seconds * ticks_per_second, &ticks) || ticks < 0)
        return false;
    result = from_ticks(ticks);
    return true;
}

void to_system_time(const timespec& now, SYSTEMTIME* result)
{
    const FILETIME time = to_file_time(now.tv_sec, now.tv_nsec);
    FileTimeToSystemTime(&time, result);
}

} // namespace

namespace platform
{

FILETIME to_file_time(int64_t seconds, long nanoseconds)
{
    return from_ticks((seconds + epoch_difference) * ticks_per_second + nanoseconds / 100);
}

timespec to_timespec(const FILETIME& time)
{
    const int64_t ticks = ticks_of(time);
    timespec result;
    result.tv_sec = ticks / ticks_per_second - epoch_difference;
    result.tv_nsec = ticks % ticks_per_second * 100;
    return result;
}

} // namespace platform

extern "C" BOOL SystemTimeToFileTime(const SYSTEMTIME* time, LPFILETIME result)
{
    if (!time || !result || !is_date(*time))
        return fail_with(ERROR_INVALID_PARAMETER);
    int64_t days = days_before_year(time->wYear) + time->wDay - 1;
    for (unsigned month = 1; month < time->wMonth; ++month)
        days += days_in(month, time->wYear);
    const int64_t seconds = ((days * 24 + time->wHour) * 60 + time->wMinute) * 60 + time->wSecond;
    *result = from_ticks(seconds * ticks_per_second + time->wMilliseconds * int64_t{10'000});
    return TRUE;
}

extern "C" BOOL FileTimeToSystemTime(const FILETIME* time, LPSYSTEMTIME result)
{
    int error = 0;
    if (api_fault("FileTimeToSystemTime", error))
        return fail_with(static_cast<DWORD>(error));
    if (!time || !result || ticks_of(*time) < 0)
        return fail_with(ERROR_INVALID_PARAMETER);
    const int64_t ticks = ticks_of(*time);
    const int64_t seconds = ticks / ticks_per_second;
    int64_t days = seconds / seconds_per_day;
    const int64_t in_day = seconds % seconds_per_day;

    unsigned year = first_year + static_cast<unsigned>(days / 366); // at most a few years too early
    while (days_before_year(year + 1) <= days)
        ++year;
    result->wDayOfWeek = static_cast<WORD>((days + 1) % 7);
    days -= days_before_year(year);
    unsigned month = 1;
    while (days >= days_in(month, year))
        days -= days_in(month++, year);
    result->wYear = static_cast<WORD>(year);
    result->wMonth = static_cast<WORD>(month);
    result->wDay = static_cast<WORD>(days + 1);
    result->wHour = static_cast<WORD>(in_day / 3600);
    result->wMinute = static_cast<WORD>(in_day / 60 % 60);
    result->wSecond = static_cast<WORD>(in_day % 60);
    result->wMilliseconds = static_cast<WORD>(ticks / 10'000 % 1000);
    return TRUE;
}

// Both use the zone rules of the moment being converted, so that converting there and back returns
// the same time across any change of daylight saving time.
extern "C" BOOL FileTimeToLocalFileTime(const FILETIME* time, LPFILETIME local)
{
    int error = 0;
    if (api_fault("FileTimeToLocalFileTime", error))
        return fail_with(static_cast<DWORD>(error));
    if (!time || !local || ticks_of(*time) < 0)
        return fail_with(ERROR_INVALID_PARAMETER);
    int64_t offset = 0;
    if (!zone_offset(to_timespec(*time).tv_sec, offset) || !move_time(*time, offset, *local))
        return fail_with(ERROR_INVALID_PARAMETER);
    return TRUE;
}

// When the clock is set back, a reading occurs twice and counts as the earlier moment; a reading
// that the clock skips is counted on from before the change. mktime isn't used: its answer depends
// on earlier calls.
extern "C" BOOL LocalFileTimeToFileTime(const FILETIME* local, LPFILETIME result)
{
    if (!local || !result || ticks_of(*local) < 0)
        return fail_with(ERROR_INVALID_PARAMETER);
    const time_t reading = to_timespec(*local).tv_sec;
    int64_t before = 0;
    int64_t after = 0;
    int64_t there = 0;
    if (!zone_offset(reading - seconds_per_day, before) ||
        !zone_offset(reading + seconds_per_day, after))
        return fail_with(ERROR_INVALID_PARAMETER);
    const bool early_holds = zone_offset(reading - before, there) && there == before;
    const bool late_holds = zone_offset(reading - after, there) && there == after;
    const int64_t offset = early_holds || !late_holds ? before : after;
    if (!move_time(*local, -offset, *result))
        return fail_with(ERROR_INVALID_PARAMETER);
    return TRUE;
}

extern "C" void GetSystemTimeAsFileTime(LPFILETIME time)
{
    timespec now = {};
    wall_clock(now);
    *time = to_file_time(now.tv_sec, now.tv_nsec);
}

extern "C" void GetSystemTime(LPSYSTEMTIME time)
{
    timespec now = {};
    wall_clock(now);
    to_system_time(now, time);
}

extern "C" void GetLocalTime(LPSYSTEMTIME time)
{
    FILETIME utc;
    FILETIME local;
    GetSystemTimeAsFileTime(&utc);
    if (FileTimeToLocalFileTime(&utc, &local))
        FileTimeToSystemTime(&local, time);
}
