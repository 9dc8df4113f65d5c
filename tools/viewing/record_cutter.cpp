#include "record_cutter.h"

#include <algorithm>

namespace trace
{

namespace
{

constexpr size_t npos = std::string_view::npos;

constexpr size_t most_lines = 64 << 10; // bytes of a record with lines that have no stamp
constexpr size_t most_line = 1 << 20;   // a longer line comes in parts
constexpr size_t stamp_room = 64;       // more than a stamp takes

// What the library writes at the start of a session, before the program writes anything.
constexpr std::string_view session_texts[] = {"Log session started.", "RDTSC instruction "};

// The end of a part that is cut off at a limit: never between two halves of a character.
size_t part_end(std::string_view text, size_t limit)
{
    constexpr char first_half = '\x81'; // as in the outline
    return text[limit - 1] == first_half ? limit - 1 : limit;
}

Cut ended(std::string_view text, Cut cut)
{
    cut.text = cut.length;
    cut.has_end = cut.length > 0 && text[cut.length - 1] == '\n';
    if (cut.has_end)
        --cut.text;
    if (cut.text > 0 && text[cut.text - 1] == '\r')
        --cut.text;
    return cut;
}

} // namespace

std::optional<Stamp> valid_stamp_of(std::string_view text)
{
    std::optional<Stamp> stamp = stamp_of(text);
    return stamp && fields_of(*stamp) ? stamp : std::nullopt;
}

size_t next_stamp(std::string_view text)
{
    constexpr std::string_view marker = " *vtq* ";
    constexpr size_t lengths[] = {25, 24, 23}; // of the date before it; a year may have 6 digits
    for (size_t at = text.find(marker, 1); at != npos; at = text.find(marker, at + 1))
        // The longest is tried first: otherwise all but four digits of a longer year would become
        // part of the text before it.
        for (const size_t length : lengths)
            if (at > length && valid_stamp_of(text.substr(at - length)))
                return at - length;
    return npos;
}

bool is_session_start(std::string_view text, const Stamp& stamp)
{
    const std::string_view said = text.substr(std::min(stamp.length, text.size()));
    return std::any_of(std::begin(session_texts), std::end(session_texts),
                       [&](std::string_view known) { return said.starts_with(known); });
}

Cut RecordCutter::cut(std::string_view text) const
{
    Cut cut;
    cut.stamp = valid_stamp_of(text);
    const bool is_start = cut.stamp && is_session_start(text, *cut.stamp);
    cut.is_own = cut.stamp && !is_start;

    const std::string_view looked_at = text.substr(0, most_line);
    const size_t line_end = looked_at.find('\n');
    const size_t line = line_end == npos ? looked_at.size() : line_end + 1;
    const bool is_line = is_start || (!cut.stamp && m_lines);
    const size_t stamp = next_stamp(text.substr(
        0, is_line && line_end != npos ? line : std::max(line, most_lines) + stamp_room));
    if (is_line || (line_end == npos && stamp == npos))
    {
        cut.length = std::min(stamp, line);
        cut.is_open = stamp == npos && line_end == npos && text.size() < most_line;
        if (cut.length == most_line && line_end == npos)
            cut.length = part_end(text, most_line);
        return ended(text, cut);
    }
    cut.length = std::min(stamp, text.size());
    cut.is_open = stamp == npos;
    if (cut.length > std::max(most_lines, line))
    {
        const size_t last = text.rfind('\n', most_lines - 1);
        cut.length = last == npos || last + 1 < line ? line : last + 1;
        cut.is_open = false;
    }
    return ended(text, cut);
}

} // namespace trace
