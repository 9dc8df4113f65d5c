// Times of the log: the stamp, and today.
#include <ctime>

#include <windows.h>

#include <sys/timeb.h>
#include <tchar.h>

#include "logfile_internal.h"

void CQvLogFile::curr_time_string(wchar_t* buffer)
{
    // Seconds and milliseconds of one reading: of two, the second could belong to the next second.
    struct __timeb64 now = {};
    _ftime64(&now);
    const struct tm* const local = _localtime64(&now.time);
    if (!local)
        return;
    wsprintfW(buffer, L"%4i-%02i-%02i %02i:%02i:%02i.%03i *vtq* ", local->tm_year + 1900,
              local->tm_mon + 1, local->tm_mday, local->tm_hour, local->tm_min, local->tm_sec,
              static_cast<int>(now.millitm));
}

bool QvLogToday(QvLogDate& today)
{
    const __time64_t now = _time64(nullptr);
    const struct tm* const local = _localtime64(&now);
    if (!local)
        return false;
    today = {local->tm_year + 1900, local->tm_mon + 1, local->tm_mday};
    return true;
}
