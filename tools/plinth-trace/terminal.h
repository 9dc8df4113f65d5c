// Standard output and its colour: all that differs between terminals, and the one file with code of
// its own for each system.
#pragma once

#include <cstddef>
#include <string_view>

#include "interruption.h"
#include "note.h"

namespace trace
{

// To be called first: the code page of the console, the ways of being asked to end.
void prepare_terminal();

// Whether colours are shown: standard output is a terminal, and NO_COLOR is not set.
bool in_colour();

// Columns of the terminal that standard output is; 80 if it doesn't say.
size_t terminal_width();

// Whether standard output is a terminal, of whatever kind.
bool is_terminal();

enum class Before
{
    nothing,
    line_erased, // the one that the cursor is in
    screen_cleared,
};

// Writes the text, at once. Throws OutputClosed if nobody reads any more or the user wants the end
// and nobody reads, and Failure if it can't be written.
//
// This is the last place before a terminal: whatever a caller has forgotten to make harmless is
// made so here, but for line ends and tabs, and colours where they are shown. The line ends of a
// name are its caller's business.
void put(std::string_view text, Before before = Before::nothing);

// The same for what another program reads: each byte as it is. Not for terminals.
void put_bytes(std::string_view bytes);

} // namespace trace
