// Writes one line of the screen from left to right: the part between two columns.
//
// All text passes through Characters, which makes it harmless, before it reaches the terminal.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "full_screen/characters.h"
#include "full_screen/curses.h"
#include "highlights.h"

namespace trace::full_screen
{

// Where a text is shown in other styles: those of patterns that it is searched for.
class Marks
{
public:
    // The style of each pattern. The text outlives the marks.
    Marks(const std::vector<Pattern>& patterns, std::vector<chtype> styles, std::string_view text)
        : m_walk(patterns, text), m_styles(std::move(styles))
    {
    }

    // The style of this byte, or `other`. Each byte is at or after the one of the call before.
    chtype style_at(size_t at, chtype other);

private:
    HighlightWalk m_walk;
    std::vector<chtype> m_styles;
    std::optional<size_t> m_colour{};
};

class LinePainter
{
public:
    // line: number of the line on the screen. skip: hidden columns on the left.
    LinePainter(Characters& characters, int line, size_t width, size_t skip);
    ~LinePainter() { finish(A_NORMAL); }
    LinePainter(const LinePainter&) = delete;
    LinePainter& operator=(const LinePainter&) = delete;

    void put(std::string_view part, chtype style);

    // The same with marks: the part begins `start` bytes after the text's start.
    void put(std::string_view part, chtype style, Marks& marks, size_t start);

    // Writes blanks up to a column. If the text is already beyond it, one blank separates it from
    // the next.
    void move_to(size_t column, chtype style);

    // Fills the rest of the line.
    void finish(chtype style);

    // Whether the visible part of the line is full.
    bool is_full() const { return m_column >= m_skip + m_width; }
    size_t column() const { return m_column; }

private:
    void put_next(std::string_view& part, chtype style);
    void put_tab(chtype style);
    void add(Glyph glyph, chtype style);
    void flush();

    Characters& m_characters;
    const int m_line;
    const size_t m_width;
    const size_t m_skip;
    size_t m_column = 0; // of what is put next, including hidden ones
    size_t m_text_start = 0;
    std::string m_run; // text of one style that is not written yet
    size_t m_run_start = 0;
    chtype m_style = A_NORMAL;
    bool m_is_finished = false;
};

} // namespace trace::full_screen
