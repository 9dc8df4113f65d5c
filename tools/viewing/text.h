// Text between the program, which works on UTF-8 throughout, and the Windows interface.
#pragma once

#include <cstddef>
#include <cstdint>
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

// No character is above U+007F: it is the same in UTF-8 and in every code page.
bool is_ascii(std::string_view text);

// Text in the active code page: the channel's texts, the program's arguments.
std::string utf8_from_narrow(std::string_view text);

// One character as UTF-8, behind what is there.
void append_utf8(std::string& out, unsigned code_point);

// What a terminal would obey rather than show, what turns the order of the text and what nobody
// sees is treacherous: system/harmless_text.h lists it. For output it is written as \xNN below
// 0x100 and \u{NNNN} above. Done twice, it changes nothing more.

// One of them written out, behind what is there.
void append_visible(std::string& out, uint32_t c);

// The text of a record: tabs and line ends keep their meaning, and CR LF becomes \n.
std::string printable(std::string_view utf8);
void append_printable(std::string& out, std::string_view utf8);

// What has no lines: the name of a process or a file, an argument, a message. A tab or a line end
// in it is treacherous, too.
std::string printable_name(std::string_view utf8);

// The text in quotation marks for JSON, where what is treacherous is \uNNNN and is not lost.
std::string json_text(std::string_view utf8);

// A path as people and other programs of this system write it.
std::string native_path(const wchar_t* path);

// The system's text for an error, with its number: "Access is denied. (5)".
std::string error_text(DWORD error);

} // namespace trace
