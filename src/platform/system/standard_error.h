// Texts for the program's standard error.
#pragma once

#include <string_view>

namespace platform
{

// Writes the whole text. What can't be written is lost, as there is no other place to report it. A
// closed pipe doesn't end the program: its SIGPIPE is removed. Not for code that must be fast:
// costs four system calls.
void write_standard_error(std::string_view text);

} // namespace platform
