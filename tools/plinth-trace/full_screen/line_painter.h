// Writes one line of the screen from left to right: the part between two columns.
//
// All text passes through Characters, which makes it harmless, before it reaches the terminal.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "full_screen/characters.h"
#include "full_screen/curses.h"
#include "pattern.h"

namespace trace::full_screen
{

// A place in a text that is shown in another style.
struct Mark
{
    Span span;
    chtype style;
};

class LinePainter
{
public:
    // line: number of the line on the screen. skip: hidden columns on the left.
    LinePainter(Characters& characters, int line, size_t width, size_t skip);
    ~LinePainter() { finish(A_NORMAL); }
    LinePainter(const LinePainter&) = delete;
    LinePainter& operator=(const LinePainter&) = delete;

    // part: the part of a text that begins `start` bytes after the text's start. Marks count from
    // the text's start; they are sorted and don't overlap.
    void put(std::string_view part, chtype style, const std::vector<Mark>& marks = {},
             size_t start = 0);

    // Writes blanks up to a column. If the text is already beyond it, one blank separates it from
    // the next.
    void move_to(size_t column, chtype style);

    // Fills the rest of the line.
    void finish(chtype style);

    // Whether the visible part of the line is full.
    bool is_full() const { return m_column >= m_skip + m_width; }
    size_t column() const { return m_column; }

private:
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
