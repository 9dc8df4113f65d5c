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

void append_padded(std::string& out, std::string_view text, size_t width, bool right)
{
    const size_t blanks = text.size() < width ? width - text.size() : 0;
    out.append(right ? blanks : 0, ' ');
    out += text;
    out.append(right ? 0 : blanks, ' ');
}

void append_prefix(std::string& out, const RecordView& record, const LineStyle& style,
                   const TimeBase& base)
{
    if (record.process == 0 && style.time == TimeMode::none)
        return;
    if (style.colour)
        out += prefix_colour;
    if (style.time != TimeMode::none)
    {
        const bool is_date = style.time == TimeMode::absolute;
        append_padded(out, time_text(record, style.time, base), is_date ? 23 : 14, !is_date);
        out += "  ";
    }
    if (record.process != 0)
    {
        append_padded(out, std::to_string(record.process), 7, true);
        out += ' ';
        append_padded(out, printable_name(record.name.empty() ? "?" : record.name), 12, false);
        out += "  ";
    }
    if (style.colour)
        out += plain;
}

// The news of a loss is one line, and may name a file.
void append_loss(std::string& out, const RecordView& record, bool colour)
{
    out += colour ? loss_colour : "";
    ((out += "-- ") += printable_name(record.text)) += " --";
    out += colour ? plain : "";
    out += '\n';
}

// A text of several lines, or with highlights. Where its first line's prefix begins in `out` is
// prefix_at, and the prefix is there.
void append_marked(std::string& out, size_t prefix_at, std::string_view text,
                   const std::vector<Highlight>& places)
{
    const std::string prefix = out.substr(prefix_at);
    size_t at = 0;
    // Copies up to end; a colour ends with its line and begins again in the next.
    const auto copy = [&](size_t end, const char* colour)
    {
        out += colour;
        while (at < end)
        {
            // Only up to the end: searching the rest for each place would take too long.
            const size_t line_end = at + std::min(text.substr(at, end - at).find('\n'), end - at);
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

void append_lines(std::string& out, const RecordView& record, const LineStyle& style,
                  const TimeBase& base)
{
    if (record.is_loss())
    {
        append_loss(out, record, style.colour);
        return;
    }
    const size_t prefix_at = out.size();
    append_prefix(out, record, style, base);
    const bool is_marked = style.colour && !style.highlights.empty();
    if (is_marked || record.text.find('\n') != std::string_view::npos)
    {
        const std::string text = printable(record.text);
        append_marked(out, prefix_at, text,
                      is_marked ? style.highlights.in(text) : std::vector<Highlight>());
    }
    else
        append_printable(out, record.text); // nearly every record is a line
    out += '\n';
}

} // namespace trace
