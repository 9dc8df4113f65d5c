#include "stamp_clock.h"

#include <algorithm>

#include <windows.h>

#include <tchar.h>

namespace trace
{

namespace
{

// The writer reads a stamp's seconds and milliseconds one after the other, so a stamp may step back
// by one second.
constexpr Time reading_slack = 2 * second;

constexpr Time creation_slack = 60 * second;

// The time of the date's minute, with or without summer time; nothing if the zone has no such local
// time.
std::optional<Time> start_of(std::tm date, int summer)
{
    const std::tm asked = date;
    date.tm_sec = 0;
    date.tm_isdst = summer;
    const __time64_t seconds = _mktime64(&date);
    if (seconds == -1 || date.tm_min != asked.tm_min || date.tm_hour != asked.tm_hour ||
        date.tm_mday != asked.tm_mday)
        return std::nullopt;
    return seconds * second;
}

} // namespace

Time StampClock::next(const Stamp& stamp)
{
    const std::optional<StampFields> fields = fields_of(stamp);
    if (!fields)
        return unknown_time;
    const std::tm& date = fields->date;
    const std::array minute{date.tm_year, date.tm_mon, date.tm_mday, date.tm_hour, date.tm_min};
    if (minute != m_minute)
    {
        m_minute = minute;
        look_up(date);
    }
    if (m_starts[0] == unknown_time)
        return unknown_time;
    const Time within = date.tm_sec * second + fields->milliseconds * millisecond;
    const bool is_second = is_second_pass(within);
    m_is_certain =
        m_is_certain || m_starts[0] == m_starts[1] || (is_second && m_last != unknown_time);
    m_last = m_starts[is_second ? 1 : 0] + within;
    return m_last;
}

bool StampClock::is_second_pass(Time within) const
{
    if (m_last != unknown_time)
        return m_starts[0] + within < m_last - reading_slack;
    // A log begins with the stamp of its creation. A copy is created later.
    const Time second_time = m_starts[1] + within;
    return m_created != unknown_time && m_created >= second_time - creation_slack &&
           m_created <= second_time + creation_slack;
}

void StampClock::look_up(const std::tm& date)
{
    const std::optional<Time> summer = start_of(date, 1);
    const std::optional<Time> winter = start_of(date, 0);
    if (!summer && !winter)
    {
        // A time skipped in spring, or a day that its month doesn't have: interpreted as the system
        // does.
        std::tm other = date;
        other.tm_sec = 0;
        const __time64_t seconds = _mktime64(&other);
        m_starts[0] = m_starts[1] = seconds == -1 ? unknown_time : seconds * second;
        return;
    }
    const Time one = summer ? *summer : *winter;
    const Time other = winter ? *winter : one;
    m_starts = {std::min(one, other), std::max(one, other)};
}

} // namespace trace
