// plinth-trace log: the log files, which all programs of the machine write into one folder.
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "log_files.h"
#include "log_follower.h"
#include "terminal.h"

namespace trace
{

const char* const log_help =
    "usage: plinth-trace log [OPTION...]\n"
    "\n"
    "Shows the last lines of the newest log file: the one that was written last. Looking changes\n"
    "nothing: plinth-trace itself keeps no log.\n"
    "\n"
    "  --path        print the path of the file instead of its lines: for a program that reads it\n"
    "                the exact bytes, and none with a line end in it; on a terminal harmless\n"
    "  --lines N     the last N lines (default 20)\n"
    "  --follow      go on with what is added, and with log files that are new: another "
    "program's,\n"
    "                or the next one of the same after a split or at midnight; Ctrl-C ends\n"
    "  --all         all log files of the folder, the one that was written last at the end, whole\n"
    "                unless --lines says otherwise\n"
    "  --folder DIR  the log files of this folder, for programs that have named one of their own\n";

namespace
{

constexpr uint64_t default_lines = 20;
constexpr DWORD follow_interval = 100; // ms; the file system tells nobody of a new line

std::string native(const std::string& path)
{
    return native_path(wide_from_utf8(path).data());
}

// For people a path is made harmless; for a program it is exact, and one that would look like two
// is refused, before any is printed.
void show_paths(const std::vector<LogName>& logs)
{
    std::string out;
    for (const LogName& log : logs)
    {
        const std::string path = native(log.path);
        if (!is_terminal() && path.find_first_of("\r\n") != std::string::npos)
            throw Failure(exit_failed, "the path " + path +
                                           " has a line end in it: a program that reads this "
                                           "output would take it for two paths");
        out += (is_terminal() ? printable_name(path) : path) + "\n";
    }
    if (is_terminal())
        put(out);
    else
        put_bytes(out);
}

// Shows texts of several files as one stream, with the file's name where the file changes.
class Stream
{
public:
    // heading_first: also the first file is named.
    explicit Stream(bool heading_first) : m_heading(heading_first) {}

    void show(const LogName& name, const std::string& text)
    {
        if (text.empty())
            return;
        if (name.path != m_shown)
        {
            if (!m_at_line_start)
                put("\n");
            if (m_heading)
                put(heading(name));
            m_shown = name.path;
            m_heading = true;
        }
        m_at_line_start = text.back() == '\n';
        put(printable(text));
    }

private:
    static std::string heading(const LogName& name)
    {
        const std::string line = "==> " + printable_name(native(name.path)) + " <==";
        return (in_colour() ? "\x1b[1m" + line + "\x1b[0m" : line) + "\n";
    }

    bool m_heading;
    bool m_at_line_start = true;
    std::string m_shown;
};

// The rest of the file, from where it stands.
void show_rest(LogFile& file, Stream& stream)
{
    for (std::string text = file.read(); !text.empty() && !interrupted(); text = file.read())
        stream.show(file.name(), text);
}

// Shows what comes to the file that is shown already, and to all files that are not known yet.
void follow(const std::string& folder, std::set<LogName> known, std::unique_ptr<LogFile> first,
            Stream& stream)
{
    LogFollower follower(
        folder, std::move(known),
        {.text = [&](const LogFile& file, const std::string& text)
         { stream.show(file.name(), text); },
         .gap = [&](const LogFile& file)
         { note(native(file.name().path) + " has become shorter and is shown from its start"); },
         .closed = [](const LogFile&) {},
         .problem = [](const std::string& why) { note(why); }});
    if (first)
        follower.add(std::move(first));
    while (!interrupted())
        if (!follower.look())
            Sleep(follow_interval);
}

std::string folder_of(Options& options)
{
    std::optional<std::string> folder = options.take_value("--folder");
    if (!folder)
        return default_log_folder();
    while (folder->size() > 1 && (folder->back() == '/' || folder->back() == '\\'))
        folder->pop_back();
    return *folder;
}

} // namespace

int log(Options& options)
{
    const std::string folder = folder_of(options);
    const std::optional<int64_t> lines = options.take_number("--lines", 0, INT64_MAX);
    const bool path = options.take_flag("--path");
    const bool all = options.take_flag("--all");
    const bool following = options.take_flag("--follow");
    if (following && (path || all))
        options.refuse("--follow goes with neither --path nor --all");
    options.finish();

    std::vector<LogName> logs = find_logs(folder);
    const std::set<LogName> known(logs.begin(), logs.end());
    if (logs.empty() && !following)
        throw Failure(exit_failed, "there is no log file in " + native(folder));
    if (!all && logs.size() > 1)
        logs.erase(logs.begin(), logs.end() - 1);

    if (path)
    {
        show_paths(logs);
        return exit_done;
    }

    Stream stream(all);
    std::unique_ptr<LogFile> file;
    for (const LogName& name : logs)
    {
        if (interrupted())
            break;
        file = std::make_unique<LogFile>(name);
        if (lines || !all)
            file->seek_last_lines(lines ? static_cast<uint64_t>(*lines) : default_lines);
        show_rest(*file, stream);
    }
    if (following)
        follow(folder, known, std::move(file), stream);
    return exit_done;
}

} // namespace trace
