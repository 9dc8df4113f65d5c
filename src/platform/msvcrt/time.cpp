// Calendar time of the runtime library.
#define PLINTH_PLATFORM_NO_RUNTIME_NAMES
#include <cerrno>

#include <tchar.h>

#include "system/clock.h"
#include "system/faults.h"

namespace
{

// 31 December 3000, 23:59:59 UTC: where the runtime's 64-bit times end.
constexpr __time64_t last_time = 32535215999;

// Turning a time into local time costs more than writing a short record, and a log asks for the
// same second again and again: the last answer of the thread is kept. The zone's rules are read
// once by the C library, so the answer for a second does not change.
struct LastLocalTime
{
    __time64_t time = -1;
    struct tm answer;
    struct tm given; // the caller may write into what it gets
};

thread_local LastLocalTime t_last;

} // namespace

extern "C"
{
    __time64_t plinth_crt_time64(__time64_t* result)
    {
        timespec now;
        const __time64_t time = platform::wall_clock(now) ? now.tv_sec : -1;
        if (result)
            *result = time;
        return time;
    }

    struct tm* plinth_crt_localtime64(const __time64_t* time)
    {
        int error = 0;
        if (!time || *time < 0 || *time > last_time || platform::api_fault("_localtime64", error))
        {
            errno = EINVAL;
            return nullptr;
        }
        if (t_last.time != *time)
        {
            const time_t native = *time;
            if (!localtime_r(&native, &t_last.answer))
                return nullptr;
            t_last.time = *time;
        }
        t_last.given = t_last.answer;
        return &t_last.given;
    }

    __time64_t plinth_crt_mktime64(struct tm* time)
    {
        return mktime(time);
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
        result->timezone = 0;
        result->dstflag = 0;
    }

    wchar_t* plinth_crt_wstrtime(wchar_t* buffer)
    {
        __time64_t now = plinth_crt_time64(nullptr);
        const struct tm* const local = plinth_crt_localtime64(&now);
        if (local)
            plinth_crt_snwprintf(buffer, 9, L"%02d:%02d:%02d", local->tm_hour, local->tm_min,
                                 local->tm_sec);
        else
            buffer[0] = L'\0';
        return buffer;
    }
}
