// The options that every viewer takes, and the source that they name.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "filter.h"
#include "line_format.h"
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
    std::optional<std::string> input{};  // none: the channel
    std::optional<size_t> keep{};        // bytes
    std::optional<std::string> output{}; // a file
};

// Takes --match, --include, --exclude, --highlight, --window, --process, --time, --input, --keep,
// --output.
ViewOptions take_view_options(Options& options);

// Their lines in a help text.
extern const char* const view_options_help;

// The source that --input names. Failure if it can't be had.
std::unique_ptr<Source> make_source(const std::optional<std::string>& input);

} // namespace trace
