// Texts of records as cells, tips and titles have them.
#pragma once

#include <string_view>

#include <QString>

namespace trace_window
{

// In one line, with what would deceive written as numbers.
QString shownText(std::string_view utf8);

// With its lines, as far as a tip has room. A tip takes what looks like HTML for it, and would
// fetch its pictures: this doesn't.
QString tipText(std::string_view utf8);

// A message of one line, with the names that it holds made harmless.
QString lineOf(std::string_view utf8);

} // namespace trace_window
