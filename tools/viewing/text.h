// Text between the program, which works on UTF-8 throughout, and the Windows interface.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <windows.h>

namespace trace
{

// A 16-bit text with its terminator. Not std::wstring: the C++ library's own wide classes are
// compiled for 32 bits on Linux.
using WideText = std::vector<wchar_t>;

WideText wide_from_utf8(std::string_view text);

// Both replace what is no character by U+FFFD.
std::string utf8_from_wide(const wchar_t* text, size_t length);
std::string utf8_from_wide(const wchar_t* text);

// Text in the active code page: the channel's texts, the program's arguments.
std::string utf8_from_narrow(std::string_view text);

// One character as UTF-8, behind what is there.
void append_utf8(std::string& out, unsigned code_point);

// A text for output: what a terminal would obey rather than show (control characters) as \xNN, and
// lines that end in \n.
std::string printable(std::string_view utf8);

// A path as people and other programs of this system write it.
std::string native_path(const wchar_t* path);

// The system's text for an error, with its number: "Access is denied. (5)".
std::string error_text(DWORD error);

} // namespace trace
