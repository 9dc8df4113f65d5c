#include "line_format.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "text.h"

namespace trace
{

namespace
{

constexpr const char* plain = "\x1b[0m";
constexpr const char* prefix_colour = "\x1b[36m";
constexpr const char* loss_colour = "\x1b[1;31m";

// Black on a bright background; the seventh pattern has the first colour again.
constexpr const char* highlight_colours[] = {"\x1b[30;103m", "\x1b[30;102m", "\x1b[30;106m",
                                             "\x1b[30;105m", "\x1b[30;101m", "\x1b[30;104m"};

std::string padded(std::string text, size_t width, bool right)
{
    if (text.size() < width)
        text.insert(right ? 0 : text.size(), width - text.size(), ' ');
    return text;
}

std::string prefix_of(const RecordView& record, const LineStyle& style, const TimeBase& base)
{
    std::string prefix;
    if (style.time != TimeMode::none)
    {
        const bool is_date = style.time == TimeMode::absolute;
        prefix = padded(time_text(record, style.time, base), is_date ? 23 : 14, !is_date) + "  ";
    }
    if (record.process != 0)
        prefix += padded(std::to_string(record.process), 7, true) + " " +
                  padded(printable_name(record.name.empty() ? "?" : record.name), 12, false) + "  ";
    if (style.colour && !prefix.empty())
        prefix = prefix_colour + prefix + plain;
    return prefix;
}

} // namespace

std::optional<TimeMode> time_mode_of(std::string_view name)
{
    if (name == "none")
        return TimeMode::none;
    if (name == "absolute")
        return TimeMode::absolute;
    if (name == "start")
        return TimeMode::start;
    if (name == "previous")
        return TimeMode::previous;
    return std::nullopt;
}

std::string time_text(const RecordView& record, TimeMode mode, const TimeBase& base)
{
    switch (mode)
    {
    case TimeMode::absolute:
        return local_text(record.time);
    case TimeMode::start:
        return interval_text(base.start, record.time);
    case TimeMode::previous:
        return interval_text(base.previous == unknown_time ? record.time : base.previous,
                             record.time);
    case TimeMode::none:
        break;
    }
    return {};
}

std::string as_lines(const RecordView& record, const LineStyle& style, const TimeBase& base)
{
    // The report of a loss is one line, and may name a file.
    const std::string text =
        record.is_loss() ? printable_name(record.text) : printable(record.text);
    if (record.is_loss())
        return style.colour ? loss_colour + ("-- " + text + " --") + plain + "\n"
                            : "-- " + text + " --\n";

    const std::string prefix = prefix_of(record, style, base);
    const std::vector<Highlight> places =
        style.colour ? style.highlights.in(text) : std::vector<Highlight>();
    std::string out = prefix;
    size_t at = 0;
    // Copies up to end; a colour ends at the end of its line and begins again on the next.
    const auto copy = [&](size_t end, const char* colour)
    {
        out += colour;
        while (at < end)
        {
            const size_t line_end = std::min(text.find('\n', at), end);
            out.append(text, at, line_end - at);
            at = line_end;
            if (at == end)
                break;
            ++at; // the line end
            ((((out += *colour ? plain : "") += '\n') += prefix) += colour);
        }
        out += *colour ? plain : "";
    };
    for (const Highlight& place : places)
    {
        copy(place.span.start, "");
        copy(place.span.end, highlight_colours[place.colour % std::size(highlight_colours)]);
    }
    copy(text.size(), "");
    out += '\n';
    return out;
}

} // namespace trace
