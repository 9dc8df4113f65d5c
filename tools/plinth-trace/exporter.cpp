#include "exporter.h"

#include <algorithm>
#include <utility>

#include "failure.h"
#include "host_name.h"
#include "record.h"
#include "terminal.h"
#include "text.h"

namespace trace
{

namespace
{

constexpr unsigned slice = 100;           // ms; an interruption is noticed in between
constexpr unsigned most_taken = 10'000;   // records, which may all be too early
constexpr size_t put_size = 64 << 10;     // bytes that are written at once
constexpr uint64_t in_flight = 256 << 10; // bytes; a pipe has 64 KiB unless its owner asks for more

constexpr std::chrono::milliseconds save_interval{500};
constexpr int save_share = 10; // saving takes at most 1/10 of the time

std::string native(const std::string& path)
{
    return native_path(wide_from_utf8(path).data());
}

// Absolute, because the cursor must name the same inputs wherever the export is started.
std::string absolute(const std::string& path)
{
    wchar_t buffer[4096];
    constexpr DWORD size = sizeof buffer / sizeof buffer[0];
    const DWORD length = GetFullPathNameW(wide_from_utf8(path).data(), size, buffer, nullptr);
    return length > 0 && length < size ? utf8_from_wide(buffer) : path;
}

std::vector<std::string> absolute(const std::vector<std::string>& paths)
{
    std::vector<std::string> all;
    std::transform(paths.begin(), paths.end(), std::back_inserter(all),
                   [](const std::string& path) { return absolute(path); });
    return all;
}

std::vector<std::string> native(const std::vector<std::string>& paths)
{
    std::vector<std::string> all;
    std::transform(paths.begin(), paths.end(), std::back_inserter(all),
                   [](const std::string& path) { return native(path); });
    return all;
}

LogBounds without_start(LogBounds bounds)
{
    bounds.since.reset(); // a record's number is only known if its file is read from the start
    return bounds;
}

} // namespace

Exporter::Exporter(ExportOptions options)
    : m_options(std::move(options)), m_host(host_name()),
      m_output(m_options.output, m_options.largest),
      m_kept_back(m_output.is_file() ? 0 : in_flight),
      m_source(
          [this]
          {
              m_options.inputs = absolute(m_options.inputs);
              LogInputs inputs(m_options.inputs, m_options.may_be_missing,
                               m_options.bounds.follows ? LogInputs::GoesOn::in_later_names
                                                        : LogInputs::GoesOn::in_new_ones);
              if (m_options.cursor)
                  m_cursor.emplace(*m_options.cursor, native(m_options.inputs));
              return inputs;
          }(),
          without_start(m_options.bounds), current_moment,
          [this](LogReader& reader, const Moment& now) { begin(reader, now); },
          [this](const std::string& path, bool is_replaced) { end(path, is_replaced); })
{
}

// A file whose folder can't be reached for a moment is not forgotten: it would be exported twice.
void Exporter::end(const std::string& path, bool is_replaced)
{
    if (m_cursor && (is_replaced || is_missing(path)))
        m_changed[path].reset();
}

void Exporter::keep(const std::string& path)
{
    const auto keep_in = [&path](CursorChanges& changes)
    {
        if (const auto change = changes.find(path); change != changes.end() && !change->second)
            changes.erase(change);
    };
    keep_in(m_changed);
    for (Step& step : m_steps)
        keep_in(step.changes);
}

void Exporter::begin(LogReader& reader, const Moment& now)
{
    const std::string& path = reader.name().path;
    m_undecided.erase(path); // of an earlier file of this path
    if (!m_cursor)
        return;
    const auto known = m_cursor->entries().find(path);
    if (known == m_cursor->entries().end())
        return;
    try
    {
        reader.resume(known->second.progress, known->second.mark, now);
    }
    catch (const Failure&)
    {
        // The log source reports the failure when it reads the file, and tries again.
    }
    if (reader.resumed() == LogReader::Resumed::done)
        keep(path);
    if (m_is_running || !m_cursor->was_in_use(known->second))
        return;
    if (reader.resumed() == LogReader::Resumed::other_file)
        m_replaced.push_back(path);
    else if (reader.resumed() == LogReader::Resumed::not_yet)
        m_undecided.insert(path);
}

// Reports what happened to a file while no export ran. What else the file contained is unknown.
void Exporter::tell(const std::string& path, const char* what)
{
    const Record loss = uncounted_loss("records may be lost: the log file " + native(path) +
                                       " was " + what + " while no export ran");
    m_output.add(exported(loss, nullptr, m_host, m_options.format));
}

void Exporter::tell_vanished()
{
    m_is_running = true;
    if (!m_cursor)
        return;
    for (const std::string& path : std::exchange(m_replaced, {}))
    {
        tell(path, "replaced");
        m_cursor->forget(path); // the new file may stay empty until the next export
    }
    for (const std::string& path : m_cursor->take_vanished())
        tell(path, "removed");
    m_written += m_output.waiting();
    m_output.flush();
}

int Exporter::run()
{
    tell_vanished();
    while (!interrupted() && !m_source.ended())
    {
        while (take(slice) && !interrupted())
        {
        }
        settle(m_kept_back); // files that have gone without a further record
        save();
    }
    finish();
    return m_cursor && !m_cursor->is_saved() ? exit_failed : exit_done;
}

// Writes the records that are ready, within limits; false if there were none.
bool Exporter::take(unsigned milliseconds)
{
    Record record;
    unsigned taken = 0;
    for (;
         taken < most_taken && m_output.waiting() < put_size && m_source.next(record, milliseconds);
         milliseconds = 0)
    {
        add(record);
        ++taken;
    }
    if (taken == 0)
        return false;
    m_written += m_output.waiting();
    m_output.flush();
    settle(m_kept_back);
    if (Clock::now() >= m_next_save)
        save();
    return true;
}

void Exporter::add(const Record& record)
{
    const LogReader* const reader = m_source.giver();
    Place place;
    if (reader)
    {
        if (m_undecided.erase(reader->name().path) > 0 &&
            reader->resumed() == LogReader::Resumed::other_file)
            tell(reader->name().path, "replaced");
        const LogProgress& progress = reader->progress();
        place = {.file = native(reader->name().path),
                 .mark = reader->mark(),
                 .offset = reader->taken_offset(),
                 .number = progress.number,
                 .session = progress.session};
        if (m_cursor)
            m_changed[reader->name().path] = CursorEntry{reader->mark(), progress};
    }
    const bool is_early = m_options.bounds.since && record.time < *m_options.bounds.since;
    if (!is_early || record.is_loss())
        m_output.add(exported(record, reader ? &place : nullptr, m_host, m_options.format));
}

// Notes how far the files have come, and passes on to the cursor what was written at least
// kept_back bytes ago.
void Exporter::settle(uint64_t kept_back)
{
    if (!m_cursor)
        return;
    if (m_steps.empty() || m_steps.back().written != m_written)
        m_steps.push_back({m_written, {}});
    for (auto& [path, entry] : std::exchange(m_changed, {}))
        m_steps.back().changes[path] = entry;
    for (; !m_steps.empty() && m_steps.front().written + kept_back <= m_written;
         m_steps.pop_front())
        m_cursor->update(m_steps.front().changes);
}

void Exporter::save()
{
    const Clock::time_point now = Clock::now();
    if (!m_cursor || m_cursor->is_saved() || now < m_next_save)
        return;
    m_output.sync();
    const std::string problem = m_cursor->save();
    if (!problem.empty() && problem != m_problem)
        note(problem + "; the export continues, but one that starts now would repeat records");
    m_problem = problem;
    m_next_save =
        Clock::now() + std::max<Clock::duration>(save_interval, (Clock::now() - now) * save_share);
}

void Exporter::finish()
{
    if (!m_cursor)
        return;
    if (m_source.ended())
        settle(0);
    // The fate of the other files was reported by this export; the next one would report it again.
    std::set<std::string> unfinished = m_source.read_paths();
    for (const Step& step : m_steps) // their last records may not have arrived
        for (const auto& [path, entry] : step.changes)
            unfinished.insert(path);
    m_cursor->forget_missing_but(unfinished);
    m_next_save = Clock::now();
    save();
}

} // namespace trace
