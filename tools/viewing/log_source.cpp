#include "log_source.h"

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "failure.h"

namespace trace
{

namespace
{

// A text without a line end counts as a record when so long nothing has followed: the last one of a
// file that was cut, or of a program that writes its line ends first.
constexpr std::chrono::milliseconds rest_patience{1000};

constexpr unsigned look_interval = 50; // ms

bool is_folder(const std::string& path)
{
    const DWORD attributes = GetFileAttributesW(wide_from_utf8(path).data());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        throw Failure(exit_failed, native_path(wide_from_utf8(path).data()) +
                                       " can't be read: " + error_text(GetLastError()));
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// The place of the next stamp, behind the first characters of the text.
size_t next_stamp(std::string_view text)
{
    constexpr std::string_view marker = " *vtq* ";
    for (size_t at = text.find(marker, 1); at != std::string_view::npos;
         at = text.find(marker, at + 1))
        // Of a longer year all but four digits would be left to the text before it.
        for (const size_t length : {25, 24, 23})
            if (at > length && stamp_of(text.substr(at - length)) &&
                time_of(*stamp_of(text.substr(at - length))) != unknown_time)
                return at - length;
    return std::string_view::npos;
}

} // namespace

LogSource::LogSource(const std::string& path) : m_what(native_path(wide_from_utf8(path).data()))
{
    std::string trimmed = path;
    while (trimmed.size() > 1 && (trimmed.back() == '/' || trimmed.back() == '\\'))
        trimmed.pop_back();
    LogName first;
    std::string folder;
    if (is_folder(trimmed))
    {
        folder = trimmed;
        const std::vector<LogName> logs = find_logs(folder);
        if (logs.empty())
            throw Failure(exit_failed, "there is no log file in " + m_what);
        first = logs.back();
    }
    else
    {
        const size_t name = trimmed.find_last_of("/\\") + 1; // 0 if there is no separator
        if (parse_log_name(std::string_view(trimmed).substr(name), first))
            folder = name == 0 ? "." : trimmed.substr(0, name > 1 ? name - 1 : name);
        first.path = folder.empty() ? trimmed : folder + "\\" + trimmed.substr(name);
    }
    std::set<LogName> known;
    if (!folder.empty())
    {
        const std::vector<LogName> logs = find_logs(folder);
        known.insert(logs.begin(), logs.end());
    }
    m_follower = std::make_unique<LogFollower>(folder, std::move(known), receiver());
    m_follower->add(std::make_unique<LogFile>(first));
}

LogFollower::Receiver LogSource::receiver()
{
    return {
        .text = [this](const LogFile& file, const std::string& text)
        { take_text(m_progress[&file], text); },
        .gap =
            [this](const LogFile& file)
        {
            Progress& progress = m_progress[&file];
            if (progress.lines.has_rest())
                take_line(progress, progress.lines.take_rest());
            m_ready.push_back(loss_of(1, "records may be lost: the log file " +
                                             native_path(wide_from_utf8(file.name().path).data()) +
                                             " has become shorter and is read from its start"));
        },
        .closed =
            [this](const LogFile& file)
        {
            const auto found = m_progress.find(&file);
            if (found == m_progress.end())
                return;
            if (found->second.lines.has_rest())
                take_line(found->second, found->second.lines.take_rest());
            m_progress.erase(found);
        },
        .problem = [this](const std::string& why)
        { m_ready.push_back(loss_of(1, "records may be lost: " + why)); },
    };
}

bool LogSource::next(Record& record, unsigned milliseconds)
{
    for (;;)
    {
        if (m_ready.empty() && !m_stopped)
        {
            m_follower->look();
            take_old_rests();
        }
        if (!m_ready.empty())
        {
            record = std::move(m_ready.front());
            m_ready.pop_front();
            return true;
        }
        if (m_stopped || milliseconds == 0)
            return false;
        const unsigned pause = std::min(milliseconds, look_interval);
        Sleep(pause);
        milliseconds -= pause;
    }
}

void LogSource::stop()
{
    if (std::exchange(m_stopped, true))
        return;
    for (auto& [file, progress] : m_progress)
        if (progress.lines.has_rest())
            take_line(progress, progress.lines.take_rest());
}

void LogSource::take_text(Progress& progress, const std::string& text)
{
    progress.grown = Clock::now();
    progress.lines.feed(text, [&](const std::string& line) { take_line(progress, line); });
}

void LogSource::take_line(Progress& progress, std::string_view line)
{
    for (size_t next = next_stamp(line); next != std::string_view::npos; next = next_stamp(line))
    {
        add(progress, line.substr(0, next));
        line.remove_prefix(next);
    }
    add(progress, line);
}

void LogSource::take_old_rests()
{
    const Clock::time_point now = Clock::now();
    for (auto& [file, progress] : m_progress)
        if (progress.lines.has_rest() && now - progress.grown >= rest_patience)
            take_line(progress, progress.lines.take_rest());
}

void LogSource::add(Progress& progress, std::string_view text)
{
    Record record;
    if (const std::optional<Stamp> stamp = stamp_of(text))
        if (const Time time = time_of(*stamp); time != unknown_time)
            progress.last = time;
    record.time = progress.last;
    record.text = text;
    m_ready.push_back(std::move(record));
}

} // namespace trace
