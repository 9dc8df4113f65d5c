// How a reader begins in the midst of a file: at a record, with the time and the habits of what is
// before it.
#include "log_reader.h"

#include <algorithm>
#include <vector>

namespace trace
{

namespace
{

constexpr size_t look_back_size = 64 << 10;

constexpr size_t npos = std::string_view::npos;

} // namespace

void LogReader::seek(uint64_t offset, const Moment& now)
{
    restart();
    if (offset == 0 || (!m_file && !open()) || !learn_form())
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
    // At the end: what comes next begins there. In the midst of a very long record: at a line of
    // it.
    if (m_at == npos)
        m_at = text().size() < look_back_size ? std::min<size_t>(text().size(), 1)
                                              : std::min(text().find('\n'), text().size() - 1) + 1;
}

bool LogReader::resume(const LogProgress& progress, const LogMark& mark, const Moment& now)
{
    restart();
    if (mark.length == 0 || (!m_file && !open()))
        return false;
    if (mark_of(mark.length) != mark)
    {
        rest();
        return false;
    }
    m_form = m_file->is_wide() ? LogForm::wide : LogForm::ansi;
    m_mark = mark;
    m_progress = progress;
    m_start = m_taken_offset = progress.offset;
    m_last = progress.last;
    m_clock.resume(m_last);
    if (m_last != unknown_time)
        believe(m_last, now);
    m_cutter.set_lines(progress.has_lines);
    m_skips_end = progress.skips_end;
    rest();
    return true;
}

// Of the first bytes, so many at most, up to the first line end.
LogMark LogReader::mark_of(uint64_t length) const
{
    constexpr uint64_t basis = 14695981039346656037u; // FNV-1a
    constexpr uint64_t prime = 1099511628211u;
    std::string bytes(static_cast<size_t>(length), '\0');
    bytes.resize(m_file->read_at(0, bytes.data(), bytes.size()));
    if (const size_t line_end = bytes.find('\n'); line_end != npos)
        bytes.resize(line_end + 1);
    LogMark mark{bytes.size(), basis};
    for (const char byte : bytes)
        mark.hash = (mark.hash ^ static_cast<unsigned char>(byte)) * prime;
    return mark;
}

// In what is held, behind its first character: where a record begins.
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
        learn_from(0, std::min<uint64_t>(offset, look_back_size), now);
}

// Takes over what stamps in this part of the file tell.
void LogReader::learn_from(uint64_t from, uint64_t to, const Moment& now)
{
    std::string raw(static_cast<size_t>(to - from), '\0');
    raw.resize(m_file->read_at(from, raw.data(), raw.size()));
    std::string outline;
    if (m_form == LogForm::wide)
        append_outline(outline, raw);
    std::string_view rest = m_form == LogForm::wide ? outline : raw;
    for (size_t at = 0; at != npos; at = next_stamp(rest))
    {
        rest.remove_prefix(at);
        const std::optional<Stamp> stamp = valid_stamp_of(rest);
        if (!stamp)
            continue; // only the beginning of the part may have none
        m_last = m_clock.next(*stamp);
        believe(m_last, now);
        m_cutter.set_lines(m_cutter.has_lines() && is_session_start(rest, *stamp));
    }
}

} // namespace trace
