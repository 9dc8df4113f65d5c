// Texts of records as cells, tips and titles show them.
#pragma once

#include <string_view>

#include <QString>

namespace trace_window
{

// In one line; characters that could deceive the reader are written as numbers.
QString shownText(std::string_view utf8);

// With line breaks, cut to what fits into a tip. A tip would take text that looks like HTML for
// HTML, and would load its pictures: the result of this function is always plain text.
QString tipText(std::string_view utf8);

// A message of one line, with the names that it holds made harmless.
QString lineOf(std::string_view utf8);

} // namespace trace_window
