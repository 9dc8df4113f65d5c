// The list of records, its heading and its scroll bar.
#include <algorithm>

#include "full_screen/curses.h"
#include "full_screen/line_painter.h"
#include "full_screen/viewer.h"

namespace trace::full_screen
{

namespace
{

constexpr size_t date_length = sizeof "2024-03-05 " - 1;

} // namespace

std::vector<std::string> Viewer::headings() const
{
    std::vector<std::string> headings;
    for (const Column column : columns_of(m_wanted))
        headings.emplace_back(heading_of(column));
    return headings;
}

void Viewer::draw_list(const Layout& layout)
{
    m_table.set_headings(headings());
    const Place::Shown shown = m_place.shown(m_view, layout.rows);
    std::vector<TableRow> rows(shown.count);
    for (size_t i = 0; i < shown.count; ++i)
    {
        fill(rows[i], shown.top + i);
        rows[i].is_selected = shown.top + i == shown.selected;
        m_table.measure(rows[i]);
    }
    if (layout.has_heading)
    {
        LinePainter painter(m_characters, 0, layout.columns, m_skip);
        m_table.draw_heading(painter);
    }
    const Marking marks = marking();
    for (size_t i = 0; i < shown.count; ++i)
    {
        LinePainter painter(m_characters, static_cast<int>(layout.rows_at + i),
                            layout.text_columns(), m_skip);
        m_table.draw(painter, rows[i], marks);
    }
    if (layout.has_bar && m_view.rows() > layout.rows)
        draw_bar(layout, shown);
}

// Hits of the search are over the highlights.
Marking Viewer::marking() const
{
    Marking marks;
    if (m_search.pattern())
    {
        marks.has_hits = true;
        marks.patterns.push_back(*m_search.pattern());
        marks.styles.push_back(m_palette.hit());
    }
    const std::vector<Pattern>& patterns = m_highlights.patterns();
    for (size_t i = 0; i < std::min(patterns.size(), m_wanted.highlights.size()); ++i)
    {
        marks.patterns.push_back(patterns[i]);
        marks.styles.push_back(m_palette.highlight(m_wanted.highlights[i].colour));
    }
    return marks;
}

void Viewer::fill(TableRow& row, size_t number_of_row)
{
    const uint64_t number = m_view.number(number_of_row);
    const RecordView record = m_view.record(number_of_row);
    row.is_loss = record.is_loss();
    row.is_bookmarked = m_bookmarks.has(number);
    row.text = text_of(record, m_is_raw ? TextForm::raw : TextForm::plain, row.storage);
    const ColumnStyle style = column_style(number_of_row);
    for (const Column column : columns_of(m_wanted))
        if (column == Column::text)
            add_text(row);
        else
            row.cells.push_back({.fact = fact(column, number, record, style),
                                 .is_right_aligned = column != Column::process});
}

std::string Viewer::fact(Column column, uint64_t number, const RecordView& record,
                         const ColumnStyle& style) const
{
    std::string text = cell_text(column, number, record, style);
    if (column == Column::time && style.time == TimeMode::absolute && !m_has_date)
        text.erase(0, date_length);
    return text;
}

void Viewer::add_text(TableRow& row) const
{
    if (m_is_raw || row.is_loss)
    {
        row.cells.push_back({.field = row.text, .is_field = true});
        return;
    }
    const Fields fields(row.text);
    for (size_t i = 0; i < fields.size(); ++i)
        row.cells.push_back({.field = fields[i], .is_field = true});
}

ColumnStyle Viewer::column_style(size_t row) const
{
    ColumnStyle style{.time = m_time, .base = {.start = m_view.store().start()}};
    if (row > 0 && m_time == TimeMode::previous)
        style.base.previous = m_view.record(row - 1).time;
    if (m_delta_from && *m_delta_from >= m_view.store().first())
        style.chosen = m_view.store()[*m_delta_from].time;
    return style;
}

// The visible part is shown in reverse, hits of the search by a mark.
void Viewer::draw_bar(const Layout& layout, const Place::Shown& shown)
{
    const std::vector<size_t> hits =
        m_search.pattern() ? m_search.marks(layout.rows) : std::vector<size_t>(layout.rows);
    const size_t rows = m_view.rows();
    const size_t first = shown.top * layout.rows / rows;
    const size_t last = (shown.top + shown.count - 1) * layout.rows / rows;
    for (size_t i = 0; i < layout.rows; ++i)
    {
        const bool is_seen = i >= first && i <= last;
        const bool is_hit = i < hits.size() && hits[i] > 0;
        attrset(static_cast<int>(is_hit    ? m_palette.hit()
                                 : is_seen ? A_REVERSE
                                           : static_cast<chtype>(A_NORMAL)));
        mvaddstr(static_cast<int>(layout.rows_at + i), static_cast<int>(layout.columns - 1),
                 is_hit ? "=" : " ");
    }
}

} // namespace trace::full_screen
