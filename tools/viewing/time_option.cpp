#include "time_option.h"

#include <charconv>
#include <chrono>
#include <string>

namespace trace
{

namespace
{

std::optional<Time> time_ago(std::string_view text, Time now)
{
    constexpr std::string_view units = "smhd";
    constexpr Time lengths[] = {second, 60 * second, 3600 * second, 86400 * second};
    constexpr unsigned most = 100'000;
    unsigned number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    const size_t unit = stop + 1 == end ? units.find(*stop) : std::string_view::npos;
    if (error != std::errc() || unit == std::string_view::npos || number > most)
        return std::nullopt;
    return now - number * lengths[unit];
}

// Completes the text of a stamp; missing parts become zeros.
std::string completed(std::string text, Time now)
{
    constexpr std::string_view full = "0000-00-00 00:00:00.000";
    constexpr size_t date = 10;
    if (text.find('-') == std::string::npos)
        text = local_text(now).substr(0, date + 1) + text;
    if (text.size() > date && text[date] == 'T')
        text[date] = ' ';
    if (text.size() < full.size())
        text += full.substr(text.size());
    return text;
}

Time utc_of(const StampFields& fields)
{
    using namespace std::chrono;
    const year_month_day day{year{fields.date.tm_year + 1900},
                             month{static_cast<unsigned>(fields.date.tm_mon + 1)},
                             std::chrono::day{static_cast<unsigned>(fields.date.tm_mday)}};
    const auto moment = sys_days{day} + hours{fields.date.tm_hour} + minutes{fields.date.tm_min} +
                        seconds{fields.date.tm_sec} + milliseconds{fields.milliseconds};
    return duration_cast<microseconds>(moment.time_since_epoch()).count();
}

} // namespace

std::optional<Time> time_from(std::string_view text, Time now)
{
    if (const std::optional<Time> ago = time_ago(text, now))
        return ago;
    if (text.find_first_of("-:") == std::string_view::npos)
        return std::nullopt;
    const bool is_utc = text.ends_with('Z');
    if (is_utc)
        text.remove_suffix(1);
    const std::string whole = completed(std::string(text), now);
    const Stamp stamp{.local = whole};
    const std::optional<StampFields> fields = fields_of(stamp);
    if (!fields)
        return std::nullopt;
    if (is_utc)
        return utc_of(*fields);
    const Time time = time_of(stamp);
    return time == unknown_time ? std::nullopt : std::optional(time);
}

} // namespace trace
