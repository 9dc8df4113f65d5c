// The two forms of a log's bytes: one byte for each character, or UTF-16 behind a byte order mark.
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

// Bytes of a character; in UTF-16 of a unit.
inline size_t unit_size(LogForm form)
{
    return form == LogForm::wide ? 2 : 1;
}

// Stands in an outline for a unit that is no ASCII character, and for the first half of a pair.
inline constexpr char outline_other = '\x80';
inline constexpr char outline_pair = '\x81';

// Adds one byte for each whole unit of UTF-16: ASCII as it is. Line ends and stamps are found in
// it.
void append_outline(std::string& outline, std::string_view utf16);

// The text as UTF-8. What is no character becomes U+FFFD.
std::string utf8_of(LogForm form, std::string_view bytes);

} // namespace trace
