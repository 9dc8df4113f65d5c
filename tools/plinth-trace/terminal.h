// Standard output and its colour: all that differs between terminals. terminal.cpp has a part for
// each system.
#pragma once

#include <cstddef>
#include <string_view>

#include "interruption.h"
#include "note.h"

namespace trace
{

// To be called first: sets the code page of the console and the handling of interruptions.
void prepare_terminal();

// Whether colours are shown: standard output is a terminal, and NO_COLOR is not set.
bool in_colour();

// Columns of the terminal on standard output; 80 if unknown.
size_t terminal_width();

// Whether standard output is a terminal, of whatever kind.
bool is_terminal();

enum class Before
{
    nothing,
    line_erased, // the one that the cursor is in
    screen_cleared,
};

// Writes the text at once. Throws OutputClosed if the reader has closed the output, or if the user
// wants the end and the reader doesn't read, and Failure if the text can't be written.
//
// This is the last place before a terminal: it makes harmless what callers have missed, except line
// ends and tabs, and colours if they are shown. The line ends in a name are up to the caller.
void put(std::string_view text, Before before = Before::nothing);

// The same for output that another program reads: each byte as it is. Not for terminals.
void put_bytes(std::string_view bytes);

} // namespace trace
