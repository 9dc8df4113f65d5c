// The options that every viewer takes, and the source that they name.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "filter.h"
#include "line_format.h"
#include "log_bounds.h"
#include "options.h"
#include "source.h"

namespace trace
{

struct ViewOptions
{
    Filter filter{};
    std::vector<std::string> include{}; // the texts of the filter's patterns, for editing
    std::vector<std::string> exclude{};
    std::vector<std::string> highlight{};
    Highlights highlights{};
    std::optional<TimeMode> time{};
    std::vector<std::string> inputs{};   // empty: the channel
    LogBounds bounds{};                  // of log files
    std::optional<size_t> keep{};        // bytes
    std::optional<std::string> output{}; // a file
};

// Takes --match, --include, --exclude, --highlight, --window, --process, --time, --input, --since,
// --until, --tail, --zone, --keep, --output.
ViewOptions take_view_options(Options& options);

// The lines of these options in a help text, without those of the bounds.
extern const char* const view_options_help;

// Takes --since, --until, --tail and --zone; the zone then holds for the whole program.
LogBounds take_log_bounds(Options& options);
extern const char* const log_bounds_help;

std::vector<std::string> take_values(Options& options, std::string_view name);

// Bytes, or a number of kibi-, mebi- or gibibytes; at least 64 KiB.
std::optional<size_t> take_size(Options& options, const std::string& name);

// How --keep is divided: the store's limit, and the limit of records that wait for it. Both
// together, with their overhead, stay below 1.1 times --keep.
size_t store_limit(size_t keep);
size_t queue_limit(size_t keep);

// The source that --input names. Fails if it can't be opened.
std::unique_ptr<Source> make_source(const ViewOptions& options);

} // namespace trace
