// What a view of the full screen wants, as the settings have it (view_settings.h), and as the user
// types it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "record_columns.h"
#include "view_options.h"
#include "view_settings.h"

namespace trace::full_screen
{

// That of the command line.
ViewSettings wanted_by(const ViewOptions& options);

// Several texts in one line, divided by ";;".
std::string joined(const std::vector<std::string>& texts);
// Of expressions: a ";;" in one doesn't divide it.
std::string joined_expressions(std::vector<std::string> expressions);
std::vector<std::string> divided(std::string_view line);

// Highlights keep their colours; new ones get the next of a few.
std::vector<HighlightSetting> highlights_from(std::string_view line,
                                              const std::vector<HighlightSetting>& before);

// Of the highlight with this place in its list, where nobody has chosen one: 0xRRGGBB.
uint32_t colour_of_highlight(size_t index);

// Failure for what is no window id.
WindowIds windows_from(std::string_view line);

// The columns that are shown; those of the terminal's own choice if the settings name none.
std::vector<Column> columns_of(const ViewSettings& settings);
void toggle_column(ViewSettings& settings, Column column);

} // namespace trace::full_screen
