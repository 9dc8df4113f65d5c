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

// A stamp that is later than now by more than this was made by a wrong clock.
constexpr Time future_slack = 5 * 60 * second;

constexpr uint64_t mark_size = 2; // bytes, of UTF-16

// This number of bytes before the place where reading continues must be unchanged.
constexpr size_t witness_size = 64;

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
        m_is_cut = true; // the report of it
        return Head::whole;
    }
    return is_whole(now) ? Head::whole : Head::partial;
}

// For a record at the end of the file. More lines of it may come, but the wait is limited.
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
        m_mark = new_mark();
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
    return uncounted_loss("records may be lost: the log file " +
                          native_path(wide_from_utf8(m_name.path).data()) +
                          " has become shorter and is read from its start");
}

void LogReader::restart()
{
    m_raw.clear();
    m_outline.clear();
    m_before.clear();
    m_start = m_known = m_at = 0;
    m_cutter = {};
    m_clock.reset();
    m_last = unknown_time;
    m_has_shrunk = m_skips_end = m_is_skipped = m_is_cut = false;
    m_progress = {};
    m_mark = {};
    m_taken_offset = 0;
}

// Skips the line end of a record that counted as whole without it; it comes late, perhaps in two
// halves.
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

// Reads the next block after the held text; false if there is none.
bool LogReader::fill(const Moment& now)
{
    const bool is_ready = m_file && m_resumed != Resumed::not_yet;
    if (!m_reads || (!is_ready && !open(now)))
        return false;
    m_must_look = false;
    drop_taken();
    if (m_start + m_raw.size() == 0 && !learn_form())
        return false;

    // A file that was shortened may have grown again, beyond the place where it is read.
    const std::string before = witness();
    const uint64_t end = m_start + m_raw.size();
    std::string block(before.size() + block_size, '\0');
    block.resize(m_file->read_at(end - before.size(), block.data(), block.size()));
    const size_t length = block.size() - std::min(before.size(), block.size());
    m_has_shrunk = !block.starts_with(before) || (length == 0 && m_file->size() < end);
    if (m_has_shrunk || length == 0)
        return false;
    m_raw.append(block, before.size());
    m_grown = end + length <= m_known ? m_written_at : now.ticks;
    if (m_form == LogForm::wide)
        append_outline(m_outline, std::string_view(m_raw).substr(m_outline.size() * 2));
    return true;
}

// Keeps the held text from the head on.
void LogReader::drop_taken()
{
    const size_t bytes = m_at * unit_size(m_form);
    const size_t kept = std::min(bytes, witness_size);
    m_before.append(m_raw, bytes - kept, kept);
    m_before.erase(0, m_before.size() - std::min(m_before.size(), witness_size));
    m_raw.erase(0, bytes);
    if (m_form == LogForm::wide)
        m_outline.erase(0, m_at);
    m_start += bytes;
    m_at = 0;
}

// The last bytes that were read.
std::string LogReader::witness() const
{
    const size_t of_raw = std::min(m_raw.size(), witness_size);
    const size_t of_before = std::min(m_before.size(), witness_size - of_raw);
    return m_before.substr(m_before.size() - of_before) + m_raw.substr(m_raw.size() - of_raw);
}

// False if the path names another file by now: the former file can't be reached.
bool LogReader::open(const Moment& now)
{
    if (m_is_gone)
        return false;
    auto file = std::make_unique<LogFile>(m_name);
    if (m_name.id != FileId{} && file->id().value_or(m_name.id) != m_name.id)
        return false;
    m_file = std::move(file);
    if (m_resumed == Resumed::not_yet)
        resume_former(now);
    if (m_start == 0)
        return true;
    m_form = m_file->is_wide() ? LogForm::wide : LogForm::ansi;
    if (std::exchange(m_is_skipped, false))
    {
        m_start -= m_start % unit_size(m_form);
        look_back(m_start, now);
    }
    return true;
}

// Half a mark is not enough.
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

void LogReader::skip_all()
{
    restart();
    m_start = m_name.size;
    m_is_skipped = m_start > 0;
}

void LogReader::found(const LogName& name, const Moment& now)
{
    m_must_look = m_must_look || name.written != m_name.written;
    m_name.written = name.written;
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
    drop_taken();
    m_raw.clear();
    m_raw.shrink_to_fit();
    m_outline.clear();
    m_outline.shrink_to_fit();
    m_is_cut = false;
    m_file.reset();
}

} // namespace trace
