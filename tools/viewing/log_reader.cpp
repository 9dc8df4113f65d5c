#include "log_reader.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "text.h"

namespace trace
{

namespace
{

constexpr size_t block_size = 64 << 10;

// A stamp that is later than now by more was made by a wrong clock.
constexpr Time future_slack = 5 * 60 * second;

constexpr uint64_t mark_size = 2; // bytes, of UTF-16

constexpr uint64_t first_line_room = 128; // bytes; in UTF-16 a session's first line has 106

constexpr std::string_view session_text = "Log session started.";

} // namespace

LogReader::Head LogReader::look(const Moment& now)
{
    if (m_is_cut)
        return Head::whole;
    for (;;)
    {
        skip_line_end();
        const std::string_view rest = text().substr(m_at);
        if (!rest.empty())
        {
            m_cut = m_cutter.cut(rest);
            find_key(now);
            if (!m_cut.is_open)
            {
                m_is_cut = true;
                return Head::whole;
            }
        }
        if (m_has_shrunk || !fill(now))
            break;
    }
    const bool ends_early = !m_reads && m_cut.is_open && m_start + m_raw.size() < m_known;
    if (text().size() == m_at || ends_early)
    {
        if (!m_has_shrunk)
            return Head::none;
        m_is_cut = true; // the news of it
        return Head::whole;
    }
    return is_whole(now) ? Head::whole : Head::partial;
}

// Of a record at the end of the file. More lines of it may come, but not for ever.
bool LogReader::is_whole(const Moment& now)
{
    if (m_partial != offset())
    {
        m_partial = offset();
        m_partial_since = now.ticks;
    }
    return m_is_gone || m_is_finished || m_has_shrunk || now.ticks - m_grown >= patience ||
           (m_cut.has_end && now.ticks - m_partial_since >= most_patience);
}

std::chrono::steady_clock::time_point LogReader::arrival() const
{
    return offset() < m_known ? m_known_at : m_grown;
}

Record LogReader::take()
{
    m_is_cut = false;
    if (text().size() == m_at)
        return take_gap();
    const size_t unit = unit_size(m_form);
    Record record;
    record.text = utf8_of(m_form, std::string_view(m_raw).substr(m_at * unit, m_cut.text * unit));
    record.time = m_last;
    record.is_time_inherited = !m_cut.stamp && m_last != unknown_time;
    if (m_mark.length == 0)
        m_mark = mark_of(first_line_room);
    m_taken_offset = offset();
    ++m_progress.number;
    if (m_cut.stamp && std::string_view(record.text).ends_with(session_text) &&
        record.text.size() == m_cut.stamp->length + session_text.size())
        ++m_progress.session;
    pass();
    note_progress();
    return record;
}

void LogReader::note_progress()
{
    m_progress.offset = offset();
    m_progress.last = m_last;
    m_progress.has_lines = m_cutter.has_lines();
    m_progress.skips_end = m_skips_end;
}

void LogReader::pass()
{
    m_is_cut = false;
    if (m_cut.stamp)
        m_clock = m_head_clock;
    m_cutter.took(m_cut);
    m_skips_end = m_cut.is_open && !m_cut.has_end;
    m_at += m_cut.length;
}

Record LogReader::take_gap()
{
    restart();
    return loss_of(1, "records may be lost: the log file " +
                          native_path(wide_from_utf8(m_name.path).data()) +
                          " has become shorter and is read from its start");
}

void LogReader::restart()
{
    forget_text();
    m_start = m_known = 0;
    m_cutter = {};
    m_clock.reset();
    m_last = unknown_time;
    m_has_shrunk = m_skips_end = false;
    m_progress = {};
    m_mark = {};
    m_taken_offset = 0;
}

// The line end of a record that was taken for whole without it comes late, perhaps in two halves.
void LogReader::skip_line_end()
{
    const std::string_view rest = text().substr(m_at);
    if (!m_skips_end || rest.empty() || rest == "\r")
        return;
    m_skips_end = false;
    if (rest.starts_with("\r\n"))
        m_at += 2;
    else if (rest.starts_with('\n'))
        ++m_at;
}

void LogReader::find_key(const Moment& now)
{
    if (!m_cut.stamp)
        return;
    m_head_clock = m_clock; // an open record is cut again, with the same stamp
    m_last = m_head_clock.next(*m_cut.stamp);
    believe(m_last, now);
}

void LogReader::believe(Time stamp, const Moment& now)
{
    if (stamp <= now.wall + future_slack)
        m_key = stamp;
}

std::string_view LogReader::text() const
{
    return m_form == LogForm::wide ? m_outline : m_raw;
}

// Reads the next block behind what is held; false if there is none.
bool LogReader::fill(const Moment& now)
{
    if (!m_reads || (!m_file && !open()))
        return false;
    const size_t unit = unit_size(m_form);
    m_raw.erase(0, m_at * unit);
    if (m_form == LogForm::wide)
        m_outline.erase(0, m_at);
    m_start += m_at * unit;
    m_at = 0;
    if (m_start + m_raw.size() == 0 && !learn_form())
        return false;

    const size_t held = m_raw.size();
    m_raw.resize(held + block_size);
    const size_t length = m_file->read_at(m_start + held, m_raw.data() + held, block_size);
    m_raw.resize(held + length);
    if (length == 0)
    {
        m_has_shrunk = has_shrunk();
        return false;
    }
    m_grown = m_start + held + length <= m_known ? m_written_at : now.ticks;
    if (m_form == LogForm::wide)
        append_outline(m_outline, std::string_view(m_raw).substr(m_outline.size() * 2));
    return true;
}

// False if the path names another file by now: what it held is out of reach.
bool LogReader::open()
{
    if (m_is_gone)
        return false;
    auto file = std::make_unique<LogFile>(m_name);
    const std::optional<FileId> id = regular_file_id(wide_from_utf8(m_name.path));
    if (m_start > 0 && id && *id != m_name.id)
        return false;
    m_file = std::move(file);
    if (m_start > 0)
        m_form = m_file->is_wide() ? LogForm::wide : LogForm::ansi;
    return true;
}

// Half a mark tells nothing yet.
bool LogReader::learn_form()
{
    char mark[mark_size];
    const size_t length = m_file->read_at(0, mark, sizeof mark);
    if (length == 0 || (length == 1 && mark[0] == '\xff'))
        return false;
    m_form = length == 2 && m_file->is_wide() ? LogForm::wide : LogForm::ansi;
    m_start = m_form == LogForm::wide ? mark_size : 0;
    return true;
}

bool LogReader::has_shrunk() const
{
    return m_file->size() < m_start + m_raw.size();
}

void LogReader::found(const LogName& name, const Moment& now)
{
    m_name.size = name.size;
    if (offset() < m_known || name.size <= m_known)
        return;
    m_known = name.size;
    m_known_at = now.ticks;
    const Time age = std::max<Time>(now.wall - file_time(name.written), 0);
    m_written_at = now.ticks - std::min<std::chrono::microseconds>(std::chrono::microseconds(age),
                                                                   2 * patience);
}

void LogReader::finish(bool reads)
{
    m_is_finished = true;
    m_reads = reads;
}

void LogReader::rest()
{
    m_start = offset();
    forget_text();
    m_is_cut = false;
    m_file.reset();
}

void LogReader::forget_text()
{
    m_raw.clear();
    m_raw.shrink_to_fit();
    m_outline.clear();
    m_outline.shrink_to_fit();
    m_at = 0;
}

} // namespace trace
