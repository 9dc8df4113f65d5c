#include "view_options.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "line_source.h"
#include "listener.h"
#include "log_source.h"
#include "store.h"
#include "time_option.h"
#include "zone.h"

namespace trace
{

const char* const log_bounds_help =
    "  --since TIME       of log files only records from this time on: \"2024-03-05 14:07\", UTC\n"
    "                     with Z at its end, 14:07 of today, or a span before now: 90s, 10m,\n"
    "                     2h, 1d\n"
    "  --until TIME       only records up to this time; don't wait for later ones\n"
    "  --tail N           begin with the last N records of all files together\n"
    "  --zone ZONE        the time zone in which the logs were written, as Europe/Berlin\n";

const char* const view_options_help =
    "  --include REGEX    only records in which the regular expression is found; several times:\n"
    "                     at least one of them\n"
    "  --exclude REGEX    no records in which it is found; several times: any of them\n"
    "  --match REGEX      of the records that --include lets through only those in which this\n"
    "                     one is found too\n"
    "  --highlight REGEX  colour its matches; several times: each in a colour of its own\n"
    "  --window ID        only records with this window id, from |wndid:ID in the text; several\n"
    "                     times: with one of these\n"
    "  --process WHO      only records of this process, by its id or name; several times: of\n"
    "                     one of these\n"
    "  --time MODE        show before each record its time: absolute, start (seconds since the\n"
    "                     first record), previous (seconds since the one shown before) or none\n"
    "  --input FROM       instead of the channel read a log file or a folder of log files;\n"
    "                     several times: all of them, in the order of their times. Log files\n"
    "                     that are written later are included. - is standard input, a record\n"
    "                     a line\n"
    "  --keep SIZE        memory for records, in bytes or with K, M or G (default 256M); when\n"
    "                     it is full the oldest records are dropped\n"
    "  --output FILE      also write the shown records to this file, replacing it\n";
std::vector<std::string> take_values(Options& options, std::string_view name)
{
    std::vector<std::string> values;
    while (std::optional<std::string> value = options.take_value(name))
        values.push_back(std::move(*value));
    return values;
}

namespace
{

std::vector<Pattern> patterns_of(const Options& options, const std::string& name,
                                 const std::vector<std::string>& texts)
{
    std::vector<Pattern> patterns;
    for (const std::string& text : texts)
        try
        {
            patterns.emplace_back(text);
        }
        catch (const BadPattern& problem)
        {
            options.refuse(name + " \"" + text + "\" is no regular expression: " + problem.what());
        }
    return patterns;
}

size_t size_of(const Options& options, const std::string& name, const std::string& text)
{
    constexpr size_t least = 64 << 10;
    size_t number = 0;
    const char* const end = text.data() + text.size();
    auto [stop, error] = std::from_chars(text.data(), end, number);
    unsigned shift = 0;
    if (error == std::errc() && stop + 1 == end)
    {
        constexpr std::string_view units = "KMG";
        const size_t unit = units.find(*stop);
        if (unit != std::string_view::npos)
        {
            shift = 10 * (static_cast<unsigned>(unit) + 1);
            ++stop;
        }
    }
    if (error != std::errc() || stop != end || number > SIZE_MAX >> shift ||
        number << shift < least)
        options.refuse(name + " takes a size of at least 64K, as 500K, 64M or 2G, not \"" + text +
                       "\"");
    return number << shift;
}

} // namespace

ViewOptions take_view_options(Options& options)
{
    ViewOptions view;
    view.include = take_values(options, "--include");
    view.exclude = take_values(options, "--exclude");
    view.highlight = take_values(options, "--highlight");
    view.filter.match = patterns_of(options, "--match", take_values(options, "--match"));
    view.filter.include = patterns_of(options, "--include", view.include);
    view.filter.exclude = patterns_of(options, "--exclude", view.exclude);
    view.highlights = Highlights(patterns_of(options, "--highlight", view.highlight));
    while (const auto window = options.take_number("--window", INT32_MIN, INT32_MAX))
        view.filter.windows.insert(static_cast<int32_t>(*window));
    for (const std::string& who : take_values(options, "--process"))
        view.filter.processes.push_back(wanted_process(who));
    if (const auto name = options.take_value("--time"))
    {
        view.time = time_mode_of(*name);
        if (!view.time)
            options.refuse("--time takes absolute, start, previous or none, not \"" + *name + "\"");
    }
    view.inputs = take_values(options, "--input");
    const bool has_logs = !view.inputs.empty() && view.inputs.front() != "-";
    if (view.inputs.size() > 1 &&
        std::find(view.inputs.begin(), view.inputs.end(), "-") != view.inputs.end())
        options.refuse("--input - can't be combined with other inputs");
    view.bounds = take_log_bounds(options);
    if (!has_logs && (view.bounds.since || view.bounds.until || view.bounds.tail))
        options.refuse("--since, --until and --tail are for log files, which --input names");
    view.keep = take_size(options, "--keep");
    view.output = options.take_value("--output");
    return view;
}

LogBounds take_log_bounds(Options& options)
{
    if (const auto zone = options.take_value("--zone"); zone && !use_zone(*zone))
        options.refuse("--zone takes a time zone that the system knows, as Europe/Berlin or "
                       "CET-1CEST, not \"" +
                       *zone + "\"");
    const auto take_time = [&](const std::string& name) -> std::optional<Time>
    {
        const std::optional<std::string> text = options.take_value(name);
        if (!text)
            return std::nullopt;
        const std::optional<Time> time = time_from(*text, current_time());
        if (!time)
            options.refuse(name + " takes a time, as \"2024-03-05 14:07\", 14:07 or 10m, not \"" +
                           *text + "\"");
        return time;
    };
    LogBounds bounds;
    bounds.since = take_time("--since");
    bounds.until = take_time("--until");
    constexpr int64_t most_tail = 10'000'000;
    if (const auto tail = options.take_number("--tail", 0, most_tail))
        bounds.tail = static_cast<uint64_t>(*tail);
    return bounds;
}

std::optional<size_t> take_size(Options& options, const std::string& name)
{
    if (const std::optional<std::string> text = options.take_value(name))
        return size_of(options, name, *text);
    return std::nullopt;
}

size_t store_limit(size_t keep)
{
    return keep - keep / 8;
}

size_t queue_limit(size_t keep)
{
    constexpr size_t least = 2 << 20; // bytes: a burst must have room, whatever is kept
    return std::clamp(keep / 16 * 3, least, RecordQueue::default_limit);
}

std::unique_ptr<Source> make_source(const ViewOptions& options)
{
    if (options.inputs.empty())
        return std::make_unique<Listener>([](TakeOverStep) {}, options.keep
                                                                   ? queue_limit(*options.keep)
                                                                   : RecordQueue::default_limit);
    if (options.inputs.front() == "-")
        return std::make_unique<LineSource>();
    return std::make_unique<LogSource>(LogInputs(options.inputs, false), options.bounds);
}

} // namespace trace
