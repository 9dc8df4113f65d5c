#include "full_screen/place.h"

#include <algorithm>

namespace trace::full_screen
{

namespace
{

// A row and a number of rows from it, limited to existing rows.
size_t moved(size_t row, ptrdiff_t by, size_t rows)
{
    if (by < 0)
        return row - std::min(row, static_cast<size_t>(-by));
    return row + std::min(static_cast<size_t>(by), rows - 1 - row);
}

} // namespace

Place::Shown Place::shown(const View& view, size_t height) const
{
    const size_t rows = view.rows();
    if (rows == 0 || height == 0)
        return {};
    Shown shown;
    shown.count = std::min(rows, height);
    shown.selected = rows - 1;
    size_t line = shown.count - 1;
    if (!m_follows && m_number)
    {
        shown.selected = view.nearest_row(*m_number).value_or(rows - 1);
        line = std::min(m_line, height - 1);
    }
    shown.top = std::min(shown.selected - std::min(line, shown.selected), rows - shown.count);
    return shown;
}

std::optional<uint64_t> Place::selected(const View& view) const
{
    const Shown now = shown(view, 1);
    return now.count ? std::optional(view.number(now.selected)) : std::nullopt;
}

void Place::keep(const View& view, size_t row, size_t line)
{
    m_number = view.number(row);
    m_line = line;
    m_follows = false;
}

void Place::move(const View& view, size_t height, ptrdiff_t rows)
{
    const Shown now = shown(view, height);
    if (!now.count || (m_follows && rows > 0))
        return;
    const size_t to = moved(now.selected, rows, view.rows());
    const size_t last = now.top + height - 1;
    const size_t top = to < now.top ? to : to > last ? to - (height - 1) : now.top;
    keep(view, to, to - top);
}

void Place::scroll(const View& view, size_t height, ptrdiff_t rows)
{
    const Shown now = shown(view, height);
    if (!now.count || (m_follows && rows > 0))
        return;
    const size_t top = std::min(moved(now.top, rows, view.rows()), view.rows() - now.count);
    // At either end of the list only the selection moves.
    const size_t to =
        top == now.top ? moved(now.selected, rows, view.rows()) : now.selected - now.top + top;
    keep(view, to, to - top);
}

void Place::go_to(const View& view, size_t height, uint64_t number)
{
    const Shown now = shown(view, height);
    const std::optional<size_t> row = view.nearest_row(number);
    if (!row)
        return;
    const bool is_in_sight = *row >= now.top && *row < now.top + now.count;
    keep(view, *row, is_in_sight ? *row - now.top : height / 2);
    m_number = number;
}

void Place::go_to_line(const View& view, size_t height, size_t line)
{
    const Shown now = shown(view, height);
    if (line < now.count)
        keep(view, now.top + line, line);
}

void Place::set_follows(const View& view, size_t height, bool wanted)
{
    if (const Shown now = shown(view, height); !wanted && m_follows && now.count)
        keep(view, now.selected, now.selected - now.top);
    m_follows = wanted;
}

} // namespace trace::full_screen
