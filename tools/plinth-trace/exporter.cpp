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

constexpr unsigned slice = 100;           // ms; the end may be asked for in between
constexpr unsigned most_taken = 10'000;   // records, which may all be too early
constexpr size_t put_size = 64 << 10;     // bytes that are written at once
constexpr uint64_t in_flight = 256 << 10; // bytes; a pipe has 64 KiB unless its owner asks for more

constexpr std::chrono::milliseconds save_interval{500};
constexpr int save_share = 10; // saving takes at most this part of the time

std::string native(const std::string& path)
{
    return native_path(wide_from_utf8(path).data());
}

// The cursor must name the same inputs wherever the export is started.
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
    bounds.since.reset(); // a record's number is known only in a file that is read from its start
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
          [this](LogReader& reader, const Moment& now) { begin(reader, now); })
{
}

// A file that can't be read is told of when it is read.
void Exporter::begin(LogReader& reader, const Moment& now)
try
{
    if (!m_cursor)
        return;
    const auto known = m_cursor->entries().find(reader.name().path);
    if (known != m_cursor->entries().end() &&
        !reader.resume(known->second.progress, known->second.mark, now) && !m_is_running &&
        m_cursor->was_in_use(known->second))
        m_replaced.push_back(known->first);
}
catch (const Failure&)
{
}

// What became of files while no export ran. Nobody knows what else was in them.
void Exporter::tell_vanished()
{
    m_is_running = true;
    if (!m_cursor)
        return;
    const auto tell = [this](const std::string& path, const char* what)
    {
        add(uncounted_loss("records may be lost: the log file " + native(path) + " was " + what +
                           " while no export ran"));
    };
    for (const std::string& path : std::exchange(m_replaced, {}))
        tell(path, "replaced");
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
        save();
    }
    finish();
    return m_cursor && !m_cursor->is_saved() ? exit_failed : exit_done;
}

// Writes what there is, within limits; false if there was nothing.
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
    if (m_cursor)
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
        const LogProgress& progress = reader->progress();
        place = {.file = native(reader->name().path),
                 .mark = reader->mark(),
                 .offset = reader->taken_offset(),
                 .number = progress.number,
                 .session = progress.session};
        if (m_cursor)
            m_changed[reader->name().path] = {reader->mark(), progress};
    }
    const bool is_early = m_options.bounds.since && record.time < *m_options.bounds.since;
    if (!is_early || record.is_loss())
        m_output.add(exported(record, reader ? &place : nullptr, m_host, m_options.format));
}

// Notes how far the files have come, and gives the cursor what was written so many bytes ago.
void Exporter::settle(uint64_t kept_back)
{
    if (m_steps.empty() || m_steps.back().written != m_written)
        m_steps.push_back({m_written, {}});
    for (auto& [path, entry] : std::exchange(m_changed, {}))
        m_steps.back().entries[path] = entry;
    for (; !m_steps.empty() && m_steps.front().written + kept_back <= m_written;
         m_steps.pop_front())
        m_cursor->update(m_steps.front().entries);
}

void Exporter::save()
{
    const Clock::time_point now = Clock::now();
    if (!m_cursor || m_cursor->is_saved() || now < m_next_save)
        return;
    m_output.sync();
    const std::string problem = m_cursor->save();
    if (!problem.empty() && problem != m_problem)
        note(problem + "; the export goes on, and an export that starts now would repeat records");
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
    m_next_save = Clock::now();
    save();
}

} // namespace trace
