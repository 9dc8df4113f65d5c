#include "log_source.h"

#include <algorithm>
#include <utility>

namespace trace
{

namespace
{

// The file system doesn't report new files or lines. Looking at a folder of very many files takes
// at most a tenth of the time.
constexpr std::chrono::milliseconds sweep_interval{50};
constexpr int sweep_share = 10;

constexpr unsigned look_interval = 25; // ms

constexpr unsigned most_passed = 10'000; // unwanted records before a caller can do something else

} // namespace

LogSource::LogSource(LogInputs inputs, LogBounds bounds, MomentSource moment, Begin begin, End end)
    : m_inputs(std::move(inputs)), m_bounds(bounds), m_moment(std::move(moment)),
      m_begin(std::move(begin)), m_end(std::move(end))
{
    sweep(m_moment());
}

bool LogSource::next(Record& record, unsigned milliseconds)
{
    for (;;)
    {
        const Moment now = m_moment();
        if (!m_stopped && !m_is_over && now.ticks >= m_next_sweep)
            sweep(now);
        if (take(record, now))
            return true;
        if (!m_bounds.follows)
            note_end(now);
        if (milliseconds == 0 || ended())
            return false;
        const unsigned pause = std::min(milliseconds, look_interval);
        Sleep(pause);
        milliseconds -= pause;
    }
}

bool LogSource::ended() const
{
    return m_ready.empty() && (m_is_over || (m_stopped && m_merger.is_past(INT64_MAX)));
}

std::set<std::string> LogSource::read_paths() const
{
    std::set<std::string> paths = m_merger.paths();
    for (const auto& [path, reader] : m_files)
        paths.insert(path);
    return paths;
}

void LogSource::stop()
{
    if (std::exchange(m_stopped, true) || m_is_over)
        return;
    m_merger.finish(false);
    m_merger.sweep(m_moment()); // records that still wait for a line end
}

bool LogSource::take(Record& record, const Moment& now)
{
    for (unsigned passed = 0; passed < most_passed; ++passed)
    {
        take_problems();
        if (!m_ready.empty())
        {
            record = std::move(m_ready.front());
            m_ready.pop_front();
            m_giver.reset();
            return true;
        }
        if (m_is_over || !m_merger.next(record, now))
            return false;
        m_giver = m_merger.giver();
        if (is_wanted(record))
            return true;
    }
    return false;
}

bool LogSource::is_wanted(const Record& record) const
{
    if (record.is_loss())
        return true;
    return (!m_bounds.since || record.time >= *m_bounds.since) &&
           (!m_bounds.until || record.time <= *m_bounds.until);
}

void LogSource::sweep(const Moment& now)
{
    std::vector<Reader> fresh = look_for_files(now);
    const auto looked = m_moment().ticks - now.ticks;
    if (std::exchange(m_is_first, false))
        start_readers(fresh, m_bounds, now);
    for (Reader& reader : fresh)
        m_merger.add(std::move(reader));
    if (!m_bounds.follows)
        m_merger.finish(true);
    m_merger.sweep(now);

    note_done();
    note_end(now);
    m_next_sweep = m_moment().ticks + std::max<std::chrono::steady_clock::duration>(
                                          sweep_interval, looked * sweep_share);
}

// Notes whether all records within the bounds were returned.
void LogSource::note_end(const Moment& now)
{
    const Time wait =
        std::chrono::duration_cast<std::chrono::microseconds>(RecordMerger::wait).count();
    const bool is_late = m_bounds.until && now.wall - *m_bounds.until >= wait;
    if (!m_bounds.follows || is_late)
        m_is_over = m_merger.is_past(m_bounds.until.value_or(INT64_MAX));
}

// Passes on to the readers what is known of their files; returns the readers of new files.
std::vector<LogSource::Reader> LogSource::look_for_files(const Moment& now)
{
    std::string problem;
    std::map<std::string, Reader> there;
    std::vector<Reader> fresh;
    for (LogInputs::Found& found : m_inputs.find(problem))
    {
        const std::string path = found.name.path;
        Reader reader;
        const auto known = m_files.find(path);
        if (known != m_files.end() && known->second->name().id == found.name.id)
            reader = known->second;
        else
            fresh.push_back(reader = std::make_shared<LogReader>(found.name, found.place));
        reader->found(found.name, now);
        if (m_begin && (known == m_files.end() || known->second != reader))
            m_begin(*reader, now);
        there.emplace(path, std::move(reader));
    }
    for (const auto& [path, reader] : m_files)
        if (const auto same = there.find(path); same == there.end() || same->second != reader)
            lose(reader);
    m_files = std::move(there);
    if (!problem.empty() && problem != m_problem)
        m_ready.push_back(uncounted_loss("records may be lost: " + problem));
    m_problem = std::move(problem);
    return fresh;
}

// The file can't be reached unless it is open. If it could not be read, that was reported before.
void LogSource::lose(const Reader& reader)
{
    if (!reader->is_open() && reader->may_have_more() && !m_merger.has_failed(reader))
        m_ready.push_back(uncounted_loss("records may be lost: the log file " +
                                         native_path(wide_from_utf8(reader->name().path).data()) +
                                         " was removed before it was read"));
    reader->gone();
}

void LogSource::note_done()
{
    for (const Reader& reader : m_merger.take_done())
    {
        const std::string& path = reader->name().path;
        const auto there = m_files.find(path);
        const bool is_read = there != m_files.end() && there->second->mark().length > 0;
        if (m_end && !is_read)
            m_end(path, there != m_files.end());
    }
}

void LogSource::take_problems()
{
    for (const std::string& problem : m_merger.take_problems())
        m_ready.push_back(uncounted_loss("records may be lost: " + problem));
}

} // namespace trace
