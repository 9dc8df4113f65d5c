#include "record_merger.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "failure.h"

namespace trace
{

namespace
{

constexpr size_t most_open = 64; // readers with a record, and as many without

constexpr std::chrono::seconds retry_interval{1};

} // namespace

bool RecordMerger::Earlier::operator()(const Reader& a, const Reader& b) const
{
    const auto order = [](const LogReader& reader)
    {
        const LogName& name = reader.name();
        return std::tuple<Time, const std::string&, uint64_t, size_t, const std::string&, size_t>(
            reader.key(), name.date, name.number, reader.place(), name.path, reader.turn());
    };
    return order(*a) < order(*b);
}

void RecordMerger::sweep(const Moment& now)
{
    m_swept = now;
    for (const Reader& reader : std::exchange(m_idle, {}))
    {
        LogReader::Head head = LogReader::Head::none;
        if (const auto failed = m_failed.find(reader);
            failed != m_failed.end() && now.ticks < failed->second.retry)
        {
            m_idle.push_back(reader);
            continue;
        }
        if (!reader->may_have_more() || look(reader, now, head))
            place(reader, head, now);
    }
    limit_open_idle();
}

bool RecordMerger::next(Record& record, const Moment& now)
{
    while (!m_heads.empty() && is_free(**m_heads.begin()))
    {
        const Reader reader = *m_heads.begin();
        m_open.erase(reader);
        m_heads.erase(m_heads.begin());
        LogReader::Head head = LogReader::Head::none;
        if (!look(reader, now, head))
            continue;
        // If a file was shortened meanwhile, its record may be an earlier or a later one.
        const bool is_first = m_heads.empty() || Earlier()(reader, *m_heads.begin());
        if (head != LogReader::Head::whole || !is_first)
        {
            place(reader, head, now);
            if (head == LogReader::Head::partial && m_heads.contains(reader) && is_first)
                return false;
            continue;
        }
        record = reader->take();
        m_giver = reader;
        if (look(reader, now, head))
            place(reader, head, now);
        return true;
    }
    return false;
}

bool RecordMerger::is_free(const LogReader& reader) const
{
    const Time least = std::chrono::duration_cast<std::chrono::microseconds>(wait).count();
    return !m_follows || m_swept.wall - reader.key() >= least ||
           m_swept.ticks - reader.arrival() >= wait;
}

// False on failure: the reader is then idle until it is tried again.
bool RecordMerger::look(const Reader& reader, const Moment& now, LogReader::Head& head)
try
{
    head = reader->look(now);
    m_failed.erase(reader);
    return true;
}
catch (const Failure& failure)
{
    Failed& failed = m_failed[reader];
    if (failed.problem != failure.what())
        m_problems.emplace_back(failure.what());
    failed = {failure.what(), now.ticks + retry_interval};
    reader->rest();
    if (reader->is_gone())
        note_done(reader);
    else
        m_idle.push_back(reader);
    return false;
}

void RecordMerger::place(const Reader& reader, LogReader::Head head, const Moment& now)
{
    // A record that keeps growing without a line end delays the others no longer.
    const bool is_held = head == LogReader::Head::partial &&
                         now.ticks - reader->partial_since() < LogReader::most_patience;
    if (head == LogReader::Head::whole || is_held)
    {
        m_heads.insert(reader);
        if (!reader->is_open())
            return;
        m_open.insert(reader);
        if (m_open.size() <= most_open)
            return;
        const auto last = std::prev(m_open.end()); // needed last
        (*last)->rest();
        m_open.erase(last);
    }
    else if (head == LogReader::Head::partial || !reader->is_gone())
    {
        m_idle.push_back(reader);
        // Thousands may reach their ends before the next sweep.
        if (reader->is_open() && ++m_open_idle > 2 * most_open)
            limit_open_idle();
    }
    else
        note_done(reader);
}

void RecordMerger::note_done(const Reader& reader)
{
    m_failed.erase(reader);
    m_done.push_back(reader);
}

void RecordMerger::limit_open_idle()
{
    std::vector<Reader> open;
    std::copy_if(m_idle.begin(), m_idle.end(), std::back_inserter(open),
                 [](const Reader& reader) { return reader->is_open(); });
    m_open_idle = std::min(open.size(), most_open);
    if (open.size() <= most_open)
        return;
    const auto quiet = open.end() - most_open;
    std::nth_element(open.begin(), quiet, open.end(),
                     [](const Reader& a, const Reader& b) { return a->grown() < b->grown(); });
    for (auto reader = open.begin(); reader != quiet; ++reader)
        (*reader)->rest();
}

void RecordMerger::finish(bool reads)
{
    m_follows = false;
    for (const Reader& reader : m_heads)
        reader->finish(reads);
    for (const Reader& reader : m_idle)
        reader->finish(reads);
}

std::set<std::string> RecordMerger::paths() const
{
    std::set<std::string> paths;
    for (const Reader& reader : m_heads)
        paths.insert(reader->name().path);
    for (const Reader& reader : m_idle)
        paths.insert(reader->name().path);
    return paths;
}

bool RecordMerger::is_past(Time time) const
{
    return m_heads.empty() || (*m_heads.begin())->key() > time;
}

} // namespace trace
