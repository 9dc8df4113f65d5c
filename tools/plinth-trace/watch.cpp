// plinth-trace watch: the texts of the debug string channel as they arrive.
#include <algorithm>
#include <chrono>
#include <regex>

#include "commands.h"
#include "failure.h"
#include "listener.h"
#include "terminal.h"

namespace trace
{

const char* const watch_help =
    "usage: plinth-trace watch [OPTION...]\n"
    "\n"
    "Shows the trace records of all programs of this user as they are made, each behind the id of\n"
    "the process that made it. Ctrl-C ends. The debug string channel has room for one listener: "
    "if\n"
    "another one has it, watch says so and ends with exit code 3.\n"
    "\n"
    "  --match REGEX  only records in which the regular expression (ECMAScript) is found\n"
    "  --window ID    only records with this window id, as |wndid:ID in the text says\n"
    "  --json         one JSON object a line: time (UTC), pid, window (null if the text names\n"
    "                 none), text\n"
    "  --count N      end after N records have been shown\n"
    "  --timeout S    end after S seconds; with --count, exit code 4 if the time is over first\n";

namespace
{

using Clock = std::chrono::steady_clock;

struct Wanted
{
    std::optional<std::regex> match;
    std::optional<int64_t> window;
    bool json = false;
    std::optional<int64_t> count;
    std::optional<Clock::time_point> end;
};

Wanted read_options(Options& options)
{
    Wanted wanted;
    if (const auto text = options.take_value("--match"))
    {
        try
        {
            wanted.match.emplace(*text, std::regex::ECMAScript | std::regex::optimize);
        }
        catch (const std::regex_error& error)
        {
            options.refuse("--match \"" + *text + "\" is no regular expression: " + error.what());
        }
    }
    wanted.window = options.take_number("--window", INT32_MIN, INT32_MAX);
    wanted.count = options.take_number("--count", 1, INT64_MAX);
    if (const auto seconds = options.take_seconds("--timeout"))
        wanted.end = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                        std::chrono::duration<double>(*seconds));
    wanted.json = options.take_flag("--json");
    options.finish();
    return wanted;
}

bool is_wanted(const Record& record, const Wanted& wanted)
{
    return (!wanted.window || window_of(record.text) == wanted.window) &&
           (!wanted.match || std::regex_search(record.text, *wanted.match));
}

// How long to wait for the next record: a short while, since Ctrl-C may come in between.
unsigned wait_time(const Wanted& wanted)
{
    constexpr std::chrono::milliseconds slice{100};
    if (!wanted.end)
        return slice.count();
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*wanted.end - Clock::now());
    return static_cast<unsigned>(std::clamp(left, std::chrono::milliseconds(0), slice).count());
}

} // namespace

int watch(Options& options)
{
    const Wanted wanted = read_options(options);
    Listener listener;
    note("watching the debug string channel; Ctrl-C ends");

    int64_t shown = 0;
    Record record;
    // Shows what is wanted of the records; true when the count is reached.
    const auto show = [&]
    {
        if (!is_wanted(record, wanted))
            return false;
        put(wanted.json ? as_json(record) : as_lines(record, in_colour()));
        return ++shown == wanted.count;
    };

    while (!interrupted() && !(wanted.end && Clock::now() >= *wanted.end))
    {
        if (listener.next(record, wait_time(wanted)) && show())
            return exit_done;
        if (const uint64_t lost = listener.take_lost())
            note(std::to_string(lost) + " records lost: the output is too slow");
    }
    listener.stop();
    while (listener.next(record, 0))
        if (show())
            return exit_done;
    return wanted.count && !interrupted() ? exit_timeout : exit_done;
}

} // namespace trace
