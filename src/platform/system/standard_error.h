// Texts for the program's standard error.
#pragma once

#include <string_view>

namespace platform
{

// Writes the whole text. What can't be written is lost: nobody could be told. A pipe that nobody
// reads any more doesn't end the program: its SIGPIPE is taken back. Not for a path that must be
// short: costs four system calls.
void write_standard_error(std::string_view text);

} // namespace platform
