// 16-bit text on the C library's streams, as UTF-8. The streams stay byte-oriented: narrow and wide
// calls may be mixed, and their output stays in order.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cwchar>

namespace plinth_wide
{

// Writes the units and returns how many were taken: fewer after an error of the stream. A high
// surrogate at the end is kept until the next call for this stream.
std::size_t write_units(std::FILE* stream, const wchar_t* text, std::size_t count);

// The next unit, or WEOF. Bytes that are no character are read as U+FFFD.
wint_t read_unit(std::FILE* stream);

// Puts back the unit that was read last, also half of a character. WEOF if that is impossible.
wint_t unread_unit(std::FILE* stream, wint_t unit);

} // namespace plinth_wide
