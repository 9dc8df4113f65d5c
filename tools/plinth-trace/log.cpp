// plinth-trace log: shows the log files, which all programs of the machine write into one folder.
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "full_screen.h"
#include "line_format.h"
#include "log_files.h"
#include "log_source.h"
#include "other_folders.h"
#include "terminal.h"
#include "view_options.h"

namespace trace
{

static const std::string log_help_text =
    std::string(
        "usage: plinth-trace log [OPTION...]\n"
        "\n"
        "Shows the last lines of the newest log file: the one that was written last. With "
        "--follow,\n"
        "--input, --since, --until or --tail it shows the records of all log files, in the order "
        "of\n"
        "their times; on a terminal in a full screen, where ? shows the keys. plinth-trace has no\n"
        "log of its own and changes none.\n"
        "\n"
        "  --path             print the path of the file instead of its lines: into a pipe or a\n"
        "                     file its exact bytes (a path with a line end is refused), on a\n"
        "                     terminal with dangerous characters written out\n"
        "  --lines N          the last N lines (default 20); if records are shown, the last N\n"
        "                     records, as --tail\n"
        "  --follow           continue with what is written later, also to new log files; Ctrl-C\n"
        "                     ends\n"
        "  --all              all log files of the folder, the one that was written last at the\n"
        "                     end; whole files, unless --lines limits them\n"
        "  --plain            on a terminal print line after line, without the full screen\n"
        "  --full-screen      on a terminal the full screen of watch, also for the newest records\n"
        "                     of all log files\n"
        "  --folder DIR       the log files of this folder, for programs that log into a folder "
        "of\n"
        "                     their own\n"
        "  --input FROM       the records of this log file or folder; several times: of all\n") +
    log_bounds_help + views_help;
const char* const log_help = log_help_text.c_str();

namespace
{

constexpr uint64_t default_lines = 20;
constexpr uint64_t screen_lines = 100'000; // where one can scroll back
constexpr unsigned slice = 100;            // ms; Ctrl-C is noticed in between
constexpr size_t put_size = 64 << 10;

std::string native(const std::string& path)
{
    return native_path(wide_from_utf8(path).data());
}

// On a terminal a path is made harmless; for a program it is exact. A path that would look like two
// is refused before any path is printed.
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

// Shows texts of several files as one stream; where the file changes, shows its name.
class Stream
{
public:
    // heading_first: also name the first file.
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

// Where to look besides the default folder, if something was logged there later than `written`.
std::string hint(const std::string& folder, uint64_t written)
{
    const std::string other = folder == default_log_folder() ? newest_other_folder(written) : "";
    return other.empty() ? ""
                         : "programs that have named a folder of their own have logged into " +
                               native(other) + ", which --folder shows";
}

// For users who look at the default folder while the program logs into another one.
void point_to_newer_logs(const std::string& folder, const std::vector<LogName>& shown)
{
    if (const std::string other = hint(folder, shown.back().written); !other.empty())
        note("later than this, " + other);
}

// The rest of the file, from its current position.
void show_rest(LogFile& file, Stream& stream)
{
    for (std::string text = file.read(); !text.empty() && !interrupted(); text = file.read())
        stream.show(file.name(), text);
}

// For users who would take an empty folder for a log without records.
void note_that_it_waits(const std::vector<std::string>& inputs)
{
    std::string text;
    for (const std::string& input : inputs)
        text += (text.empty() ? "" : ", ") + native(input);
    const std::string other = hint(inputs.front(), 0);
    note("there is no log file yet in " + text + ", and log waits for the first; Ctrl-C ends" +
         (other.empty() ? "" : "; " + other));
}

// Shows the records of all files, until there are no more or the user ends it. may_be_missing: a
// program may make the files later.
int show_records(const std::vector<std::string>& inputs, const LogBounds& bounds,
                 bool may_be_missing)
{
    LogSource source(LogInputs(inputs, may_be_missing), bounds);
    if (bounds.follows && !source.has_files())
        note_that_it_waits(inputs);
    const auto show = [&](unsigned milliseconds)
    {
        std::string out;
        Record record;
        for (; out.size() < put_size && source.next(record, milliseconds); milliseconds = 0)
            if (record.is_loss())
                note(record.text);
            else
                append_lines(out, record, {}, {});
        put(out);
        return !out.empty();
    };
    while (!interrupted() && !source.ended())
        show(slice);
    source.stop();
    while (show(0))
    {
    }
    return exit_done;
}

int show_files(const std::string& folder, std::optional<int64_t> lines, bool path, bool all)
{
    std::vector<LogName> logs = find_logs(folder);
    if (logs.empty())
    {
        const std::string other = hint(folder, 0);
        throw Failure(exit_failed, "there is no log file in " + native(folder) +
                                       (other.empty() ? "" : "; " + other));
    }
    if (!all && logs.size() > 1)
        logs.erase(logs.begin(), logs.end() - 1);
    if (path)
    {
        show_paths(logs);
        return exit_done;
    }
    Stream stream(all);
    for (const LogName& name : logs)
    {
        if (interrupted())
            break;
        LogFile file(name);
        if (lines || !all)
            file.seek_last_lines(lines ? static_cast<uint64_t>(*lines) : default_lines);
        show_rest(file, stream);
    }
    point_to_newer_logs(folder, logs);
    return exit_done;
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

namespace
{

struct LogOptions
{
    std::vector<std::string> inputs{};
    std::string folder{};
    std::string views{};
    std::optional<int64_t> lines{};
    LogBounds bounds{};
    bool path = false;
    bool all = false;
    bool plain = false;
    bool full_screen = false;

    bool are_bounded() const { return bounds.since || bounds.until || bounds.tail; }
    bool are_of_records() const
    {
        return bounds.follows || are_bounded() || !inputs.empty() || full_screen;
    }
};

LogOptions read_options(Options& options)
{
    LogOptions wanted;
    wanted.inputs = take_values(options, "--input");
    wanted.folder = folder_of(options);
    wanted.views = take_views_name(options);
    wanted.lines = options.take_number("--lines", 0, INT64_MAX);
    wanted.bounds = take_log_bounds(options);
    wanted.path = options.take_flag("--path");
    wanted.all = options.take_flag("--all");
    wanted.plain = options.take_flag("--plain");
    wanted.full_screen = options.take_flag("--full-screen");
    wanted.bounds.follows = options.take_flag("--follow");
    if (wanted.are_of_records() && (wanted.path || wanted.all))
        options.refuse("--path and --all go with none of --follow, --input, --since, --until, "
                       "--tail and --full-screen");
    options.finish();
    return wanted;
}

} // namespace

int log(Options& options)
{
    LogOptions wanted = read_options(options);
    if (!wanted.are_of_records())
        return show_files(wanted.folder, wanted.lines, wanted.path, wanted.all);
    const bool is_in_screen = !wanted.plain && can_have_full_screen();
    LogBounds& bounds = wanted.bounds;
    if (!bounds.tail && (wanted.lines || !wanted.are_bounded()))
        bounds.tail = wanted.lines   ? static_cast<uint64_t>(*wanted.lines)
                      : is_in_screen ? screen_lines
                                     : default_lines;
    const bool is_usual = wanted.inputs.empty() && wanted.folder == default_log_folder();
    const std::vector<std::string> inputs =
        wanted.inputs.empty() ? std::vector{wanted.folder} : wanted.inputs;
    const bool may_be_missing = bounds.follows || is_usual;
    if (!is_in_screen)
        return show_records(inputs, bounds, may_be_missing);
    ViewOptions view;
    view.inputs = inputs;
    return run_full_screen(
        view, std::make_unique<LogSource>(LogInputs(inputs, may_be_missing), bounds), wanted.views);
}

} // namespace trace
