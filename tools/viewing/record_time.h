// Times of records: how they are read from a stamp, and the texts in which they are shown.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace trace
{

using Time = int64_t; // microseconds since 1970, UTC

inline constexpr Time unknown_time = INT64_MIN;

// The system's clock.
Time current_time();

// The stamp of a trace record, "YYYY-MM-DD hh:mm:ss.mmm *vtq* " in local time, if the text begins
// with one. An hour that occurs twice in autumn is interpreted as the system does.
struct Stamp
{
    size_t length = 0;      // of the stamp, with the blank after its marker
    std::string_view local; // the text before the marker; a part of the record's text
};
std::optional<Stamp> stamp_of(std::string_view text);
Time time_of(const Stamp& stamp); // unknown_time for an invalid date

// The contents of a stamp, nothing for an invalid date. tm_isdst is -1.
struct StampFields
{
    std::tm date{};
    int milliseconds = 0;
};
std::optional<StampFields> fields_of(const Stamp& stamp);

// In microseconds.
inline constexpr Time second = 1'000'000;
inline constexpr Time millisecond = 1'000;

// "2024-03-05 14:07:33.006", local time; empty if the time is unknown.
std::string local_text(Time time);

// "2024-03-05T13:07:33.006Z"; empty if the time is unknown.
std::string utc_text(Time time);

// Seconds between two times, such as "0.000123"; empty if one is unknown.
std::string interval_text(Time from, Time to);

} // namespace trace
