// File times as broken-down local time.
#include <windows.h>

#include "argument_check.h"
#include "file_internal.h"

namespace
{

constexpr const char* source_name = "src\\w32_system\\file\\file";

// Converts a field of a struct tm to a 16-bit field of the calendar form. False if it doesn't fit:
// cut off, it could pass for a time that exists.
bool TmField(int value, int base, WORD& result)
{
    const int64_t sum = int64_t{value} + base;
    result = static_cast<WORD>(sum);
    return sum == result;
}

// False for a time that does not exist.
bool TmToFileTime(const struct tm& from, FILETIME& result)
{
    SYSTEMTIME time = {};
    if (!TmField(from.tm_year, 1900, time.wYear) || !TmField(from.tm_mon, 1, time.wMonth) ||
        !TmField(from.tm_mday, 0, time.wDay) || !TmField(from.tm_hour, 0, time.wHour) ||
        !TmField(from.tm_min, 0, time.wMinute) || !TmField(from.tm_sec, 0, time.wSecond))
        return false;
    FILETIME local;
    return SystemTimeToFileTime(&time, &local) && LocalFileTimeToFileTime(&local, &result);
}

bool IsLeapYear(unsigned year)
{
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

} // namespace

void QvSystemTimeToTm(const SYSTEMTIME& time, struct tm* result)
{
    static constexpr int month_days[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    int yearDay = time.wDay - 1;
    for (int month = 0; month < time.wMonth - 1 && month < 12; ++month)
        yearDay += month_days[month];
    if (time.wMonth > 2 && IsLeapYear(time.wYear))
        ++yearDay;

    result->tm_year = time.wYear - 1900;
    result->tm_mon = time.wMonth - 1;
    result->tm_mday = time.wDay;
    result->tm_hour = time.wHour;
    result->tm_min = time.wMinute;
    result->tm_sec = time.wSecond;
    result->tm_wday = time.wDayOfWeek;
    result->tm_yday = yearDay;
    result->tm_isdst = -1;
}

bool QvFileTimeToTm(const FILETIME& time, struct tm* result)
{
    FILETIME local;
    SYSTEMTIME calendar;
    if (!FileTimeToLocalFileTime(&time, &local) || !FileTimeToSystemTime(&local, &calendar))
        return false;
    QvSystemTimeToTm(calendar, result);
    return true;
}

extern "C" int QV_TouchFile(QvFile file, const struct tm* creation, const struct tm* access,
                            const struct tm* write)
{
    // All three are converted before any is set, so that a bad one changes nothing.
    const struct tm* const given[3] = {creation, access, write};
    FILETIME times[3];
    const FILETIME* set[3] = {};
    for (int i = 0; i < 3; ++i)
    {
        if (!given[i])
            continue;
        if (!TmToFileTime(*given[i], times[i]))
            return QvRefuse(QV_ERR_NULLPTR, L"!TmToFileTime(time)",
                            L"QV_TouchFile: A time that does not exist.", source_name, __LINE__);
        set[i] = &times[i];
    }
    return SetFileTime(file, set[0], set[1], set[2]) ? QV_OK : QV_ERR_TOUCHFILE;
}

extern "C" int QV_GetFileTimes(QvFile file, struct tm* creation, struct tm* access,
                               struct tm* write)
{
    FILETIME times[3];
    if (!GetFileTime(file, &times[0], &times[1], &times[2]))
        return QV_ERR_FILETIMES;
    struct tm* const wanted[3] = {creation, access, write};
    for (int i = 0; i < 3; ++i)
        if (wanted[i] && !QvFileTimeToTm(times[i], wanted[i]))
            return QV_ERR_SYSTEM;
    return QV_OK;
}
