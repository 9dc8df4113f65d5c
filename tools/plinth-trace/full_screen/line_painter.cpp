#include "full_screen/line_painter.h"

#include <algorithm>

namespace trace::full_screen
{

namespace
{

constexpr size_t tab_width = 8;

} // namespace

chtype Marks::style_at(size_t at, chtype other)
{
    if (at >= m_walk.end())
        m_colour = m_walk.colour_at(at);
    return m_colour ? m_styles[*m_colour] : other;
}

LinePainter::LinePainter(Characters& characters, int line, size_t width, size_t skip)
    : m_characters(characters), m_line(line), m_width(width), m_skip(skip)
{
}

void LinePainter::put(std::string_view part, chtype style)
{
    m_text_start = m_column;
    while (!part.empty() && !is_full())
        put_next(part, style);
}

void LinePainter::put(std::string_view part, chtype style, Marks& marks, size_t start)
{
    m_text_start = m_column;
    const size_t size = part.size();
    while (!part.empty() && !is_full())
        put_next(part, marks.style_at(start + size - part.size(), style));
}

// Takes the first character off the part.
void LinePainter::put_next(std::string_view& part, chtype style)
{
    if (part.front() != '\t' && part.front() != '\n')
        return add(m_characters.take(part), style);
    if (part.front() == '\t')
        put_tab(style);
    else
        add(m_characters.is_utf8() ? Glyph{"\u21b5", 1} : Glyph{"|", 1}, style | A_DIM);
    part.remove_prefix(1);
}

void LinePainter::put_tab(chtype style)
{
    const size_t inside = m_column - m_text_start;
    move_to(m_text_start + (inside / tab_width + 1) * tab_width, style);
}

void LinePainter::move_to(size_t column, chtype style)
{
    for (size_t blanks = column > m_column ? column - m_column : 1; blanks > 0 && !is_full();
         --blanks)
        add({" ", 1}, style);
}

void LinePainter::finish(chtype style)
{
    if (m_is_finished)
        return;
    move_to(m_skip + m_width, style);
    flush();
    m_is_finished = true;
}

void LinePainter::add(Glyph glyph, chtype style)
{
    const size_t end = m_column + glyph.columns;
    if (glyph.columns > 0 && (style != m_style || m_run.empty()))
    {
        flush();
        m_style = style;
        m_run_start = std::max(m_column, m_skip);
    }
    if (m_column >= m_skip && end <= m_skip + m_width)
    {
        if (glyph.columns > 0 || !m_run.empty())
            m_run += glyph.bytes;
    }
    else if (end > m_skip)
    {
        // Cut at an edge: shows the visible part of a written-out character, and blanks for a wide
        // one.
        const size_t from = m_column < m_skip ? m_skip - m_column : 0;
        const size_t count = std::min(end, m_skip + m_width) - std::max(m_column, m_skip);
        m_run += glyph.bytes.size() == glyph.columns ? std::string(glyph.bytes.substr(from, count))
                                                     : std::string(count, ' ');
    }
    m_column = end;
}

void LinePainter::flush()
{
    if (m_run.empty())
        return;
    attrset(static_cast<int>(m_style));
    mvaddnstr(m_line, static_cast<int>(m_run_start - m_skip), m_run.data(),
              static_cast<int>(m_run.size()));
    m_run.clear();
}

} // namespace trace::full_screen
