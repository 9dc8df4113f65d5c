// Where the parts of the full screen are, for each size that a terminal can have.
#pragma once

#include <algorithm>
#include <cstddef>

namespace trace::full_screen
{

// Numbers of lines, from 0 at the top, and how many lines each part has. Parts that don't fit are
// left out.
struct Layout
{
    size_t lines = 1;
    size_t columns = 1;
    bool has_heading = false; // in line 0
    size_t rows_at = 0;
    size_t rows = 1;
    size_t details_at = 0;
    size_t details = 0;
    bool has_status = false; // above the last line, or in it
    size_t status_at = 0;
    bool has_bottom = false; // a last line of its own for help and messages
    size_t bottom_at = 0;    // a message covers what else is in this line
    bool has_bar = false;    // a scroll bar in the last column

    size_t text_columns() const { return columns - (has_bar ? 1 : 0); }
};

inline Layout layout_of(size_t lines, size_t columns, bool wants_details)
{
    constexpr size_t least_for_bottom = 3;
    constexpr size_t least_for_heading = 5;
    constexpr size_t least_for_details = 10;
    constexpr size_t least_for_bar = 30; // columns
    Layout layout;
    layout.lines = std::max<size_t>(lines, 1);
    layout.columns = std::max<size_t>(columns, 1);
    layout.has_bar = layout.columns >= least_for_bar;
    layout.has_heading = layout.lines >= least_for_heading;
    layout.has_status = layout.lines > 1;
    layout.has_bottom = layout.lines >= least_for_bottom;
    layout.details = wants_details && layout.lines >= least_for_details ? layout.lines / 3 : 0;
    layout.rows_at = layout.has_heading ? 1 : 0;
    layout.bottom_at = layout.lines - 1;
    layout.status_at = layout.lines - (layout.has_bottom ? 2 : 1);
    const size_t end = layout.has_status ? layout.status_at : layout.lines;
    layout.rows = end - layout.details - layout.rows_at;
    layout.details_at = end - layout.details;
    return layout;
}

} // namespace trace::full_screen
