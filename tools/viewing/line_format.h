// A record as lines of text, for terminals and files.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "highlights.h"
#include "record.h"

namespace trace
{

enum class TimeMode
{
    none,
    absolute, // local date and time
    start,    // seconds since the first record
    previous, // seconds since the record that is shown before it
};

// "none", "absolute", "start", "previous".
std::optional<TimeMode> time_mode_of(std::string_view name);

// What the times of a record are counted from.
struct TimeBase
{
    Time start = unknown_time;
    Time previous = unknown_time;
};

std::string time_text(const RecordView& record, TimeMode mode, const TimeBase& base);

struct LineStyle
{
    TimeMode time = TimeMode::none;
    bool colour = false;
    Highlights highlights{}; // shown where there is colour
};

// Appends the lines of the text, each behind the time and the writer's id and name, as far as they
// are wanted and known. A loss is one line in dashes.
void append_lines(std::string& out, const RecordView& record, const LineStyle& style,
                  const TimeBase& base);

} // namespace trace
