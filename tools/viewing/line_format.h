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

// The times from which a record's time is counted.
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
    Highlights highlights{}; // only shown in colour
};

// Appends the lines of the text, each after the time and the writer's id and name, if these are
// wanted and known. A loss is one line between dashes.
void append_lines(std::string& out, const RecordView& record, const LineStyle& style,
                  const TimeBase& base);

} // namespace trace
