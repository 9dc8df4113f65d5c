// Times of the log: the stamp, and today's date.
#include <atomic>
#include <cstring>
#include <ctime>
#include <iterator>

#include <windows.h>

#include <tchar.h>

#include "logfile_internal.h"

namespace
{

// The milliseconds of the wall clock since 1970, from one reading: with two readings the
// milliseconds could belong to the next second.
int64_t WallMilliseconds()
{
    constexpr int64_t start = 11'644'473'600'000; // ms from 1601, where file times begin
    constexpr int64_t ticks = 10'000;             // in 1 ms
    FILETIME now = {};
    GetSystemTimeAsFileTime(&now);
    return ((int64_t{now.dwHighDateTime} << 32) | now.dwLowDateTime) / ticks - start;
}

// A fork may come between any two of a stamp's stores. While the text is being written, the mark is
// 0, so that a child formats the text again; the compiler must keep this order.
void Show(QvStamp& stamp, int64_t mark)
{
    std::atomic_signal_fence(std::memory_order_seq_cst);
    stamp.mark = mark;
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

bool FormSecond(QvStamp& stamp, __time64_t second)
{
    static constexpr wchar_t rest[] = L"000 *vtq* ";
    const struct tm* const local = _localtime64(&second);
    if (!local)
        return false;
    const int length =
        wsprintfW(stamp.text, L"%4i-%02i-%02i %02i:%02i:%02i.", local->tm_year + 1900,
                  local->tm_mon + 1, local->tm_mday, local->tm_hour, local->tm_min, local->tm_sec);
    stamp.millisecondsAt = static_cast<size_t>(length);
    std::memcpy(stamp.text + length, rest, sizeof rest);
    stamp.length = stamp.millisecondsAt + std::size(rest) - 1;
    return true;
}

bool FormStamp(QvStamp& stamp, int64_t moment)
{
    const int64_t second = moment / 1000;
    const auto milliseconds = static_cast<unsigned>(moment % 1000);
    const bool isSameSecond = stamp.mark != 0 && (stamp.mark - 1) / 1000 == second;
    Show(stamp, 0);
    if (moment < 0 || (!isSameSecond && !FormSecond(stamp, second)))
        return false;
    wchar_t* const digits = stamp.text + stamp.millisecondsAt;
    digits[0] = static_cast<wchar_t>(L'0' + milliseconds / 100);
    digits[1] = static_cast<wchar_t>(L'0' + milliseconds / 10 % 10);
    digits[2] = static_cast<wchar_t>(L'0' + milliseconds % 10);
    Show(stamp, moment + 1);
    return true;
}

constinit thread_local QvStamp t_last; // of curr_time_string

} // namespace

size_t QvTimeStamp(wchar_t* buffer, QvStamp& last, int64_t& moment)
{
    moment = WallMilliseconds();
    if (moment + 1 != last.mark && !FormStamp(last, moment)) [[unlikely]]
        return 0;
    std::memcpy(buffer, last.text, sizeof last.text);
    return last.length;
}

void CQvLogFile::curr_time_string(wchar_t* buffer)
{
    wchar_t text[qv_stamp_limit];
    int64_t moment = 0;
    if (const size_t length = QvTimeStamp(text, t_last, moment))
        std::memcpy(buffer, text, (length + 1) * sizeof *buffer);
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
