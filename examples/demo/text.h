// The program's words as wide text, and wide text as it is printed.
#pragma once

#include <string>
#include <vector>

namespace demo
{

// With its terminator. Not std::wstring: this program does without the C++ library's wide text.
using WideText = std::vector<wchar_t>;

// The program's arguments without its name.
std::vector<WideText> arguments_of(int count, const char* const* words);

// UTF-8.
std::string printed(const wchar_t* text);

} // namespace demo
