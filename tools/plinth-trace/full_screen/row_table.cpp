#include "full_screen/row_table.h"

#include <algorithm>

namespace trace::full_screen
{

namespace
{

constexpr size_t most_columns = 40; // of any column but the last; longer texts shift the rest
constexpr size_t gap = 2;           // between columns

// The style, reversed if the text is selected.
chtype selected(chtype style, bool is_selected)
{
    return is_selected ? style ^ A_REVERSE : style;
}

Marks marks_of(const TableRow& row, const Marking& marking)
{
    std::vector<chtype> styles = marking.styles;
    if (marking.has_hits)
        styles.front() = selected(styles.front(), row.is_selected);
    return {marking.patterns, std::move(styles), row.text};
}

} // namespace

void RowTable::set_headings(std::vector<std::string> headings)
{
    if (headings == m_headings)
        return;
    m_headings = std::move(headings);
    m_widths.clear();
    for (const std::string& heading : m_headings)
        m_widths.push_back(m_characters.columns_of(heading));
}

void RowTable::measure(const TableRow& row)
{
    if (row.is_loss)
        return;
    m_widths.resize(std::max(m_widths.size(), row.cells.size()));
    // Nothing follows the last column, so its width doesn't matter.
    for (size_t i = 0; i + 1 < row.cells.size(); ++i)
    {
        const Cell& cell = row.cells[i];
        const std::string_view text = cell.is_field ? cell.field : cell.fact;
        // A character has at most four bytes. Line ends are shown in one column each.
        const size_t width = m_characters.columns_of(text.substr(0, most_columns * 4));
        m_widths[i] = std::max(m_widths[i], std::min(width, most_columns));
    }
}

void RowTable::draw_heading(LinePainter& painter) const
{
    painter.put(" ", m_palette.heading());
    size_t column = 1;
    for (size_t i = 0; i < m_headings.size(); ++i)
    {
        painter.put(m_headings[i], m_palette.heading());
        column += m_widths[i] + gap;
        if (i + 1 < m_headings.size())
            painter.move_to(column, m_palette.heading());
    }
    painter.finish(m_palette.heading());
}

void RowTable::draw(LinePainter& painter, const TableRow& row, const Marking& marking) const
{
    const chtype own = row.is_loss ? m_palette.loss() : A_NORMAL;
    const chtype style = selected(own, row.is_selected);
    const chtype head = row.is_loss || row.is_selected ? style : m_palette.head();
    Marks marks = marks_of(row, marking);
    painter.put(row.is_bookmarked ? "*" : " ", style | A_BOLD);
    size_t column = 1;
    for (size_t i = 0; i < row.cells.size() && !painter.is_full(); ++i)
    {
        const bool is_last = i + 1 == row.cells.size();
        const Cell& cell = row.cells[i];
        if (cell.is_field)
            painter.put(cell.field, style, marks,
                        static_cast<size_t>(cell.field.data() - row.text.data()));
        else
            draw_fact(painter, cell, is_last ? 0 : m_widths[i], head);
        column += is_last ? 0 : m_widths[i] + gap;
        if (!is_last)
            painter.move_to(column, style);
    }
    painter.finish(style);
}

void RowTable::draw_fact(LinePainter& painter, const Cell& cell, size_t width, chtype style) const
{
    const size_t own = cell.is_right_aligned ? m_characters.columns_of(cell.fact) : width;
    if (own < width)
        painter.move_to(painter.column() + width - own, style);
    painter.put(cell.fact, style);
}

} // namespace trace::full_screen
