// Conversion between the program's text, which is always UTF-8, and the Windows interface.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <windows.h>

namespace trace
{

// A 16-bit text with its terminator. Not std::wstring, because the C++ library's own wide classes
// are compiled for 32 bits on Linux.
using WideText = std::vector<wchar_t>;

WideText wide_from_utf8(std::string_view text);

// Both replace invalid characters by U+FFFD.
std::string utf8_from_wide(const wchar_t* text, size_t length);
std::string utf8_from_wide(const wchar_t* text);

// Whether no character is above U+007F: such a text is the same in UTF-8 and in every code page.
bool is_ascii(std::string_view text);

// Converts text in the active code page: the channel's texts, the program's arguments.
std::string utf8_from_narrow(std::string_view text);

// Appends one character as UTF-8.
void append_utf8(std::string& out, unsigned code_point);

// Deceptive characters are those that control a terminal, change the order of the text, or are
// invisible: system/harmless_text.h lists them. For output they are written as \xNN below 0x100 and
// \u{NNNN} above. Doing it twice changes nothing more.

// Appends one such character as a number.
void append_visible(std::string& out, uint32_t c);

// For the text of a record: tabs and line ends keep their meaning, and CR LF becomes
// .
std::string printable(std::string_view utf8);
void append_printable(std::string& out, std::string_view utf8);

// For texts without lines: the name of a process or a file, an argument, a message. Here a tab or a
// line end is deceptive, too.
std::string printable_name(std::string_view utf8);

// The text in quotation marks for JSON, where deceptive characters are written as \uNNNN, so that
// none is lost.
std::string json_text(std::string_view utf8);

// A path in the form that people and other programs of this system use.
std::string native_path(const wchar_t* path);

// The system's text for an error, with its number: "Access is denied. (5)".
std::string error_text(DWORD error);

} // namespace trace
