// What a viewer remembers: its views, each with what it shows and how, and the window's layout.
//
// The settings are a file of lines: "plinth-views 1", then "[view]" and "name = value" for each
// view. A name may occur several times. Settings that a viewer doesn't know, such as the layout of
// another viewer, are kept unchanged.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "filter.h"
#include "highlights.h"
#include "window_ids.h"

namespace trace
{

struct HighlightSetting
{
    std::string expression{};
    uint32_t colour = 0; // 0xRRGGBB

    bool operator==(const HighlightSetting&) const = default;
};

// Layout, fonts, widths: names and values that only the viewer that wrote them uses. Names consist
// of letters, digits, "-" and at least one dot, such as "window.geometry".
using OpaqueSettings = std::map<std::string, std::string>;

struct ViewSettings
{
    std::string name{};
    std::vector<std::string> match{}; // expressions, see Filter
    std::vector<std::string> include{};
    std::vector<std::string> exclude{};
    WindowIds windows{};
    std::vector<std::string> processes{}; // ids or names
    std::vector<std::string> excluded_processes{};
    std::vector<HighlightSetting> highlights{};
    std::vector<std::string> columns{}; // their names in their order; none: the viewer's own choice
    OpaqueSettings others{};

    bool operator==(const ViewSettings&) const = default;
};

struct ViewerSettings
{
    std::vector<ViewSettings> views{};
    OpaqueSettings others{}; // of the viewer as a whole

    bool operator==(const ViewerSettings&) const = default;
};

// The filter and highlights of the settings. Throws BadPattern, with the expression, if one is
// invalid.
Filter filter_of(const ViewSettings& settings);
Highlights highlights_of(const ViewSettings& settings);

std::string settings_text(const ViewerSettings& settings);

enum class SettingsState
{
    good,
    later, // of a later version
    damaged,
};

struct ParsedSettings
{
    SettingsState state = SettingsState::good;
    ViewerSettings settings{}; // if damaged, as much as could be read
    std::string problem{};     // with the line number; empty if all is good
};
ParsedSettings parse_settings(std::string_view text);

} // namespace trace
