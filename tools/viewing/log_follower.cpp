#include "log_follower.h"

#include <algorithm>
#include <utility>

#include "failure.h"

namespace trace
{

namespace
{

// The file system tells nobody of a new file.
constexpr std::chrono::milliseconds folder_interval{200};

constexpr size_t most_files = 64;

} // namespace

LogFollower::LogFollower(std::string folder, std::set<LogName> known, Receiver receiver)
    : m_folder(std::move(folder)), m_known(std::move(known)), m_receiver(std::move(receiver))
{
}

void LogFollower::add(std::unique_ptr<LogFile> file)
{
    m_known.insert(file->name());
    m_files.push_back({std::move(file), Clock::now()});
    if (m_files.size() <= most_files)
        return;
    const auto quiet =
        std::min_element(m_files.begin(), m_files.end() - 1,
                         [](const Followed& a, const Followed& b) { return a.grown < b.grown; });
    m_receiver.problem("too many log files at once: " +
                       native_path(wide_from_utf8(quiet->file->name().path).data()) +
                       ", which has been quiet for longest, is followed no further");
    close(quiet);
}

bool LogFollower::look()
{
    bool came = false;
    for (Followed& followed : m_files)
        came = read(followed) || came;
    // One that was removed is done with when it has been read to its end.
    for (auto followed = m_files.begin(); followed != m_files.end();)
        if (followed->removed && !read(*followed))
            followed = close(followed);
        else
            ++followed;
    if (!m_folder.empty() && Clock::now() - m_looked >= folder_interval)
        look_for_new();
    return came;
}

bool LogFollower::read(Followed& followed)
{
    const std::string text = followed.file->read();
    if (followed.file->take_restart())
        m_receiver.gap(*followed.file);
    if (text.empty())
        return false;
    followed.grown = Clock::now();
    m_receiver.text(*followed.file, text);
    return true;
}

void LogFollower::look_for_new()
{
    m_looked = Clock::now();
    const std::vector<LogName> logs = find_logs(m_folder);
    const std::set<LogName> there(logs.begin(), logs.end());
    const auto is_there = [&](const LogName& name) { return there.contains(name); };
    // A file that was removed may come again under its name.
    std::erase_if(m_known, [&](const LogName& name) { return !is_there(name); });
    for (Followed& followed : m_files)
        followed.removed = followed.removed || !is_there(followed.file->name());
    for (const LogName& name : logs)
    {
        if (!m_known.insert(name).second)
            continue;
        try
        {
            add(std::make_unique<LogFile>(name));
        }
        catch (const Failure& failure)
        {
            m_receiver.problem(failure.what());
        }
    }
}

std::vector<LogFollower::Followed>::iterator
LogFollower::close(std::vector<Followed>::iterator followed)
{
    m_receiver.closed(*followed->file);
    return m_files.erase(followed);
}

} // namespace trace
