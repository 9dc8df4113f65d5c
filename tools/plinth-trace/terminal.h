// Standard output and error, colour, and the wish to end: all that differs between terminals, and
// the one file with code of its own for each system.
#pragma once

#include <cstddef>
#include <string_view>

namespace trace
{

// To be called first: the code page of the console, the ways of being asked to end.
void prepare_terminal();

// Ctrl-C, or a polite request of the system to end, has come.
bool interrupted();

// Whether colours are shown: standard output is a terminal, and NO_COLOR is not set.
bool in_colour();

// Columns of the terminal that standard output is; 80 if it doesn't say.
size_t terminal_width();

// Writes the text and flushes it: who reads through a pipe sees it at once. Throws OutputClosed if
// nobody reads any more, and Failure if it can't be written.
void put(std::string_view text);

// A remark on standard error, with the program's name and a line end.
void note(std::string_view text);

} // namespace trace
