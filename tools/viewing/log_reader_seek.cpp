// How a reader begins in the middle of a file: at a record, and with the time and the habits of the
// text before it.
#include "log_reader.h"

#include <algorithm>
#include <vector>

#include "fingerprint.h"

namespace trace
{

namespace
{

constexpr uint64_t look_back_size = 64 << 10;

constexpr uint64_t end_size = 4 << 10; // bytes; for a short look

constexpr uint64_t most_of_hour = 256; // parts of that size

constexpr size_t stamp_room = 64; // characters; more than a stamp takes

constexpr uint64_t first_line_room = 128; // bytes

constexpr size_t npos = std::string_view::npos;

} // namespace

void LogReader::seek(uint64_t offset, const Moment& now)
{
    restart();
    if (offset == 0 || (!m_file && !open(now)) || !learn_form())
        return;
    const uint64_t unit = unit_size(m_form);
    if (offset <= m_start + unit)
    {
        restart();
        return;
    }
    offset = offset / unit * unit;
    look_back(offset, now);
    m_start = offset - unit; // a line end right before shows that a line begins here
    while (first_record() == npos && text().size() < look_back_size && fill(now))
    {
    }
    m_at = first_record();
    // At the end: the next text begins a record. In the middle of a very long record: at one of its
    // lines.
    if (m_at == npos)
        m_at = text().size() < look_back_size ? std::min<size_t>(text().size(), 1)
                                              : std::min(text().find('\n'), text().size() - 1) + 1;
}

Time LogReader::last_time(const Moment& now)
{
    restart();
    if ((!m_file && !open(now)) || !learn_form())
        return unknown_time;
    const uint64_t unit = unit_size(m_form);
    const uint64_t size = m_name.size / unit * unit;
    const std::string text = outline_at(size - std::min(size, end_size), end_size / unit);
    restart();
    Time last = unknown_time;
    StampClock clock;
    std::string_view rest = text;
    for (size_t at = next_stamp(rest); at != npos; at = next_stamp(rest))
    {
        rest.remove_prefix(at);
        last = clock.next(*valid_stamp_of(rest));
    }
    return clock.is_certain() ? last : unknown_time;
}

void LogReader::resume(const LogProgress& progress, const LogMark& mark, const Moment& now)
{
    rest();
    restart();
    m_former = progress;
    m_former_mark = mark;
    m_resumed = mark.length == 0 ? Resumed::other_file : Resumed::not_yet;
    if (m_resumed == Resumed::not_yet && open(now))
        rest();
}

// For a file that was just opened and of which no text is held.
void LogReader::resume_former(const Moment& now)
{
    if (mark_of(m_former_mark.length) != m_former_mark)
    {
        m_resumed = Resumed::other_file;
        return;
    }
    m_resumed = Resumed::done;
    m_mark = m_former_mark;
    m_progress = m_former;
    m_start = m_taken_offset = m_former.offset;
    m_last = m_former.last;
    m_clock.resume(m_last);
    if (m_last != unknown_time)
        believe(m_last, now);
    m_cutter.set_lines(m_former.has_lines);
    m_skips_end = m_former.skips_end;
}

// The mark is made of the stamp only: the line after it may still be written. Without a stamp it is
// made of the first line.
LogMark LogReader::new_mark() const
{
    const uint64_t unit = unit_size(m_form);
    const uint64_t begin = m_form == LogForm::wide ? unit : 0; // after the form's mark
    const std::string line = outline_at(begin, first_line_room / unit);
    if (const std::optional<Stamp> stamp = valid_stamp_of(line))
        return mark_of(begin + stamp->length * unit);
    return mark_of(begin + (std::min(line.find('\n'), line.size() - 1) + 1) * unit);
}

// The mark of the first `length` bytes, or of all if there are fewer.
LogMark LogReader::mark_of(uint64_t length) const
{
    std::string bytes(static_cast<size_t>(length), '\0');
    bytes.resize(m_file->read_at(0, bytes.data(), bytes.size()));
    return {bytes.size(), fingerprint_of(bytes)};
}

// Where a record begins in the held text, after its first character.
size_t LogReader::first_record() const
{
    const size_t stamp = next_stamp(text());
    if (!m_cutter.has_lines())
        return stamp;
    const size_t line_end = text().find('\n');
    return line_end == npos ? stamp : std::min(stamp, line_end + 1);
}

void LogReader::look_back(uint64_t offset, const Moment& now)
{
    learn_from(offset > look_back_size ? offset - look_back_size : 0, offset, now);
    if (m_last == unknown_time)
        learn_from(0, std::min(offset, look_back_size), now);
    if (m_last != unknown_time && !m_clock.is_certain())
        look_back_over_hour(offset, now);
}

// For an hour that occurs twice: the order of its stamps, from an unambiguous one on, shows which
// pass it is. In an hour with very many records, parts are enough: they show a step back by an
// hour.
void LogReader::look_back_over_hour(uint64_t offset, const Moment& now)
{
    const uint64_t begin = certain_place_before(offset);
    const uint64_t stride = std::max(look_back_size, (offset - begin) / most_of_hour / 2 * 2);
    m_clock.reset();
    for (uint64_t left = (offset - begin + stride - 1) / stride; left-- > 0;)
    {
        const uint64_t to = offset - left * stride;
        learn_from(to - std::min(to, look_back_size), to, now);
    }
}

// A place after which the first stamp is from before that hour; the file's start if there is none.
uint64_t LogReader::certain_place_before(uint64_t offset) const
{
    uint64_t before = 0;
    while (offset - before > look_back_size)
    {
        const uint64_t middle = (before + (offset - before) / 2) / 2 * 2;
        const std::string text = outline_at(middle, look_back_size);
        const size_t at = valid_stamp_of(text) ? 0 : next_stamp(text);
        StampClock clock;
        const Time time = at == npos
                              ? unknown_time
                              : clock.next(*valid_stamp_of(std::string_view(text).substr(at)));
        (time != unknown_time && time < m_last && clock.is_certain() ? before : offset) = middle;
    }
    return before;
}

// This number of characters from there on, or fewer if there are no more, in the form that
// RecordCutter takes.
std::string LogReader::outline_at(uint64_t offset, uint64_t characters) const
{
    std::string raw(static_cast<size_t>(characters * unit_size(m_form)), '\0');
    raw.resize(m_file->read_at(offset, raw.data(), raw.size()));
    if (m_form == LogForm::ansi)
        return raw;
    std::string outline;
    append_outline(outline, raw);
    return outline;
}

// Learns from the stamps that begin in this part of the file.
void LogReader::learn_from(uint64_t from, uint64_t to, const Moment& now)
{
    const uint64_t characters = (to - from) / unit_size(m_form);
    const std::string text = outline_at(from, characters + stamp_room);
    std::string_view rest = text;
    for (size_t at = 0; at != npos; at = next_stamp(rest))
    {
        rest.remove_prefix(at);
        if (text.size() - rest.size() >= characters)
            return;
        const std::optional<Stamp> stamp = valid_stamp_of(rest);
        if (!stamp)
            continue; // only the beginning of the part may have no stamp
        m_last = m_clock.next(*stamp);
        believe(m_last, now);
        m_cutter.set_lines(m_cutter.has_lines() && is_session_start(rest, *stamp));
    }
}

} // namespace trace
