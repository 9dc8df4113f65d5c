// The program's arguments, in whatever alphabet.
#pragma once

#include <string>
#include <vector>

namespace trace
{

// As UTF-8, without the program's name.
std::vector<std::string> arguments_of(int count, const char* const* words);

} // namespace trace
