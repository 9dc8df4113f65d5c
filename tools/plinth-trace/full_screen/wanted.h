// What a view of the full screen shows, in the form of settings (view_settings.h) and as the user
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

// The settings of the command line's view.
ViewSettings wanted_by(const ViewOptions& options);

// Several texts in one line, separated by ";;".
std::string joined(const std::vector<std::string>& texts);
// The same for expressions: a ";;" in an expression doesn't split it.
std::string joined_expressions(std::vector<std::string> expressions);
std::vector<std::string> divided(std::string_view line);

// Highlights keep their colours; new ones get the next colour of a small set.
std::vector<HighlightSetting> highlights_from(std::string_view line,
                                              const std::vector<HighlightSetting>& before);

// The colour, 0xRRGGBB, of the highlight at this index, unless the user has chosen one.
uint32_t colour_of_highlight(size_t index);

// Fails if a word is no window id.
WindowIds windows_from(std::string_view line);

// The columns that are shown; the terminal's own choice if the settings name none.
std::vector<Column> columns_of(const ViewSettings& settings);
void toggle_column(ViewSettings& settings, Column column);

} // namespace trace::full_screen
