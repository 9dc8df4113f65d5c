// The two forms of a log's bytes: one byte for each character, or UTF-16 after a byte order mark.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace trace
{

enum class LogForm
{
    ansi,
    wide,
};

// Bytes of a character, or of a unit of UTF-16.
inline size_t unit_size(LogForm form)
{
    return form == LogForm::wide ? 2 : 1;
}

// In an outline: a unit that is no ASCII character, or the first half of a pair.
inline constexpr char outline_other = '\x80';
inline constexpr char outline_pair = '\x81';

// Adds one byte for each whole unit of UTF-16: an ASCII character stays as it is. Used to find line
// ends and stamps.
void append_outline(std::string& outline, std::string_view utf16);

// The text as UTF-8. Invalid characters become U+FFFD.
std::string utf8_of(LogForm form, std::string_view bytes);

} // namespace trace
