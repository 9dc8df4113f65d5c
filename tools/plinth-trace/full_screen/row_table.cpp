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

// The marks of the first list, and the parts of the second list that they don't cover.
std::vector<Mark> laid_over(const std::vector<Mark>& above, const std::vector<Mark>& below)
{
    std::vector<Mark> all = above;
    for (const Mark& mark : below)
    {
        size_t start = mark.span.start;
        for (const Mark& cover : above)
        {
            if (cover.span.end <= start || cover.span.start >= mark.span.end)
                continue;
            if (cover.span.start > start)
                all.push_back({{start, cover.span.start}, mark.style});
            start = cover.span.end;
        }
        if (start < mark.span.end)
            all.push_back({{start, mark.span.end}, mark.style});
    }
    std::sort(all.begin(), all.end(),
              [](const Mark& a, const Mark& b) { return a.span.start < b.span.start; });
    return all;
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

std::vector<Mark> RowTable::marks_of(const TableRow& row, const Highlights& highlights,
                                     const std::vector<uint32_t>& colours) const
{
    std::vector<Mark> hits;
    for (const Span& span : row.hits)
        hits.push_back({span, selected(m_palette.hit(), row.is_selected)});
    std::vector<Mark> marks;
    for (const Highlight& place : highlights.in(row.text))
        if (place.colour < colours.size())
            marks.push_back({place.span, m_palette.highlight(colours[place.colour])});
    return hits.empty() ? marks : laid_over(hits, marks);
}

void RowTable::draw(LinePainter& painter, const TableRow& row, const Highlights& highlights,
                    const std::vector<uint32_t>& colours) const
{
    const chtype own = row.is_loss ? m_palette.loss() : A_NORMAL;
    const chtype style = selected(own, row.is_selected);
    const chtype head = row.is_loss || row.is_selected ? style : m_palette.head();
    const std::vector<Mark> marks = marks_of(row, highlights, colours);
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
