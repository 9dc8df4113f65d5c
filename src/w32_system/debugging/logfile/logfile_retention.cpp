// Which old files of the log are removed.
#include <cstdlib>
#include <ctime>

#include <windows.h>

#include <tchar.h>

#include "logfile_internal.h"

namespace
{

// Positions in a name "qvapp_YYYY-MM-DD".
constexpr size_t year_start = 6;
constexpr size_t month_start = 11;
constexpr size_t day_start = 14;

constexpr uint32_t seconds_per_day = 86'400;

// The age in seconds of the date in a file's name; only the name counts. The current time of day is
// used for that date, so the age is in whole days.
double AgeOf(const wchar_t* name, __time64_t now, const struct tm& local)
{
    struct tm date = local;
    date.tm_year = _wtoi(name + year_start) - 1900;
    date.tm_mon = _wtoi(name + month_start) - 1;
    date.tm_mday = _wtoi(name + day_start);
    return _difftime64(now, _mktime64(&date));
}

} // namespace

void QvRemoveOldLogs(const wchar_t* folder, uint32_t days)
{
    const __time64_t now = _time64(nullptr);
    const struct tm* const found = _localtime64(&now);
    if (!found)
        return;
    const struct tm local = *found;
    // Calculated in 32 bits and used as signed: a limit of very many days can result in no limit.
    const auto limit = static_cast<int32_t>(days * seconds_per_day);

    // The search returns the oldest names first, so the scan ends at the first file that is young
    // enough, or that can't be removed.
    QvLogSearch search(folder);
    while (const wchar_t* const name = search.Next())
    {
        if (!(AgeOf(name, now, local) > limit))
            break;
        wchar_t path[qv_folder_limit + MAX_PATH];
        wcscpy(path, folder);
        wcscat(path, name);
        if (QV_RemoveFile(path, 1) != QV_OK)
            break;
    }
}
