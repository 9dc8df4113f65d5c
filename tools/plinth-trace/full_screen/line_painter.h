// Writes one line of the screen from left to right: the part that lies between two columns.
//
// Nothing of a text reaches the terminal but by Characters, which makes it harmless.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "full_screen/characters.h"
#include "full_screen/curses.h"
#include "pattern.h"

namespace trace::full_screen
{

// A place in a text that is shown otherwise.
struct Mark
{
    Span span;
    chtype style;
};

class LinePainter
{
public:
    // line: of the screen. skip: the columns that are out of sight on the left.
    LinePainter(Characters& characters, int line, size_t width, size_t skip);
    ~LinePainter() { finish(A_NORMAL); }
    LinePainter(const LinePainter&) = delete;
    LinePainter& operator=(const LinePainter&) = delete;

    // A part of a text that begins so many bytes behind the text's start, from which the marks
    // count. They are in their order and don't meet.
    void put(std::string_view part, chtype style, const std::vector<Mark>& marks = {},
             size_t start = 0);

    // Blanks up to a column; text that is already beyond it is divided from what comes by one
    // blank.
    void move_to(size_t column, chtype style);

    // Fills the rest of the line.
    void finish(chtype style);

    // No more can be seen.
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
    size_t m_column = 0; // of what is put next, counted with those out of sight
    size_t m_text_start = 0;
    std::string m_run; // of one style, not written yet
    size_t m_run_start = 0;
    chtype m_style = A_NORMAL;
    bool m_is_finished = false;
};

} // namespace trace::full_screen
