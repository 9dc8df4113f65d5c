// The program's arguments as wide text, and wide text in the form for printing.
#pragma once

#include <string>
#include <vector>

namespace demo
{

// With its terminator. Not std::wstring: this program does not use the C++ library's wide text.
using WideText = std::vector<wchar_t>;

// The program's arguments without its name.
std::vector<WideText> arguments_of(int count, const char* const* words);

// UTF-8.
std::string printed(const wchar_t* text);

} // namespace demo
