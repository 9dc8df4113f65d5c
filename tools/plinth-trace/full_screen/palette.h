// The styles of the screen: in colour if the terminal has colours and the user wants them, else
// without.
#pragma once

#include <cstdint>

#include "full_screen/curses.h"

namespace trace::full_screen
{

class Palette
{
public:
    // To be made after the terminal session.
    Palette();

    chtype heading() const { return m_heading; }
    chtype status() const { return A_REVERSE; }
    chtype head() const { return m_head; } // of a record: number, time, writer
    chtype loss() const { return m_loss; }
    chtype hit() const { return m_hit; } // of a search
    chtype problem() const { return m_loss; }
    // The background that is most like the colour, 0xRRGGBB.
    chtype highlight(uint32_t colour) const;

private:
    bool m_has_colours = false;
    chtype m_heading = A_BOLD;
    chtype m_head = A_NORMAL;
    chtype m_loss = A_BOLD;
    chtype m_hit = A_REVERSE | A_BOLD;
};

} // namespace trace::full_screen
