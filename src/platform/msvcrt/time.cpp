// Calendar time of the runtime library.
#define PLINTH_PLATFORM_NO_RUNTIME_NAMES
#include <cerrno>

#include <tchar.h>

#include "system/clock.h"
#include "system/faults.h"
#include "system/local_time.h"

namespace
{

// 31 December 3000, 23:59:59 UTC: the end of the runtime's 64-bit times.
constexpr __time64_t last_time = 32535215999;

// Converting a time to local time costs more than writing a short record, and a log converts the
// same second again and again: each thread keeps its last result. The C library reads the zone's
// rules once, so the result for a second does not change.
struct LastLocalTime
{
    __time64_t time = -1;
    struct tm answer;
    struct tm given; // returned to the caller, who may change it
};

thread_local LastLocalTime t_last;

// The local time without changing the result of _localtime64. Null beyond the range.
const struct tm* local_time(__time64_t time)
{
    if (time < 0 || time > last_time)
        return nullptr;
    if (t_last.time != time)
    {
        if (!platform::local_time(time, t_last.answer))
            return nullptr;
        t_last.time = time;
    }
    return &t_last.answer;
}

} // namespace

extern "C"
{
    __time64_t plinth_crt_time64(__time64_t* result)
    {
        const __time64_t time = platform::wall_seconds();
        if (result)
            *result = time;
        return time;
    }

    struct tm* plinth_crt_localtime64(const __time64_t* time)
    {
        int error = 0;
        const struct tm* const local =
            time && !platform::api_fault("_localtime64", error) ? local_time(*time) : nullptr;
        if (!local)
        {
            errno = EINVAL;
            return nullptr;
        }
        t_last.given = *local;
        return &t_last.given;
    }

    __time64_t plinth_crt_mktime64(struct tm* time)
    {
        const __time64_t result = time ? platform::moment_of(*time) : -1;
        if (result < 0 || result > last_time)
        {
            errno = EINVAL;
            return -1;
        }
        return result;
    }

    double plinth_crt_difftime64(__time64_t later, __time64_t earlier)
    {
        return static_cast<double>(later - earlier);
    }

    void plinth_crt_ftime64(struct __timeb64* result)
    {
        timespec now = {};
        platform::wall_clock(now);
        result->time = now.tv_sec;
        result->millitm = static_cast<unsigned short>(now.tv_nsec / 1'000'000);
        // Minutes that standard time is behind UTC.
        const struct tm* const local = local_time(now.tv_sec);
        const bool summer = local && local->tm_isdst > 0;
        const long east = local ? local->tm_gmtoff / 60 - (summer ? 60 : 0) : 0;
        result->timezone = static_cast<short>(-east);
        result->dstflag = summer;
    }

    wchar_t* plinth_crt_wstrtime(wchar_t* buffer)
    {
        const __time64_t now = plinth_crt_time64(nullptr);
        if (const struct tm* const local = local_time(now))
            plinth_crt_snwprintf(buffer, 9, L"%02d:%02d:%02d", local->tm_hour, local->tm_min,
                                 local->tm_sec);
        else
            buffer[0] = L'\0';
        return buffer;
    }
}
