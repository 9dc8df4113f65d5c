// Converts between the automation layer's date and the calendar. These dates begin before the first
// file time, so the conversions of file times can't be used.
#include <chrono>
#include <cmath>

#include "oleauto.h"
#include "system/faults.h"

namespace
{

using std::chrono::day;
using std::chrono::month;
using std::chrono::sys_days;
using std::chrono::year;
using std::chrono::year_month_day;

constexpr sys_days origin = year(1899) / 12 / 30;
constexpr sys_days first_day = year(100) / 1 / 1;
constexpr sys_days last_day = year(9999) / 12 / 31;
constexpr WORD longest_month = 31;
constexpr int seconds_per_day = 86'400;

} // namespace

extern "C" INT SystemTimeToVariantTime(LPSYSTEMTIME time, double* result)
{
    int error = 0;
    if (platform::api_fault("SystemTimeToVariantTime", error))
        return FALSE;
    if (!time || !result || time->wHour > 23 || time->wMinute > 59 || time->wSecond > 59)
        return FALSE;
    // A day after its month's end counts into the next month, and day 0 is the last one of the
    // month before.
    const auto month_start = year(time->wYear) / month(time->wMonth) / day(1);
    if (time->wYear > 9999 || !month_start.ok() || time->wDay > longest_month)
        return FALSE;
    const sys_days date = sys_days(month_start) + std::chrono::days(time->wDay - 1);
    if (date < first_day || date > last_day)
        return FALSE;
    const auto days = static_cast<double>((date - origin).count());
    const double seconds = (time->wHour * 60 + time->wMinute) * 60 + time->wSecond;
    const double part = seconds / seconds_per_day;
    *result = days < 0 ? days - part : days + part;
    return TRUE;
}

extern "C" INT VariantTimeToSystemTime(double time, LPSYSTEMTIME result)
{
    // Written so that NaN fails, too.
    const double whole = std::trunc(time);
    if (!result || !(whole >= (first_day - origin).count() && whole <= (last_day - origin).count()))
        return FALSE;
    sys_days at = origin + std::chrono::days(static_cast<int>(whole));
    long seconds = std::lround(std::fabs(time - whole) * seconds_per_day);
    if (seconds == seconds_per_day)
    {
        seconds = 0;
        at += std::chrono::days(1);
        if (at > last_day)
            return FALSE;
    }
    const year_month_day date(at);
    result->wYear = static_cast<WORD>(static_cast<int>(date.year()));
    result->wMonth = static_cast<WORD>(static_cast<unsigned>(date.month()));
    result->wDayOfWeek = static_cast<WORD>(std::chrono::weekday(at).c_encoding());
    result->wDay = static_cast<WORD>(static_cast<unsigned>(date.day()));
    result->wHour = static_cast<WORD>(seconds / 3600);
    result->wMinute = static_cast<WORD>(seconds / 60 % 60);
    result->wSecond = static_cast<WORD>(seconds % 60);
    result->wMilliseconds = 0;
    return TRUE;
}
