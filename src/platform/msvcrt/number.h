// Reading numbers from 16-bit text: one parser for wcstol and its like and for swscanf.
#pragma once

#include <cstddef>

namespace platform
{

// The characters that the runtime's iswspace counts as space, of all scripts and in every locale:
// pasted numbers may contain non-breaking, thin and wide spaces.
inline bool is_space(wchar_t c)
{
    if (c < 0x80)
        return c == L' ' || (c >= L'\t' && c <= L'\r');
    return c == 0x85 || c == 0xA0 || c == 0x1680 || (c >= 0x2000 && c <= 0x200A) || c == 0x2028 ||
           c == 0x2029 || c == 0x202F || c == 0x205F || c == 0x3000;
}

struct ParsedInteger
{
    unsigned long long magnitude = 0;
    bool negative = false;
    bool overflow = false; // of 64 bits
    size_t length = 0;     // characters read, 0 if there is no number
};

// Both read at most limit characters, from the sign on: no space is skipped. A radix of 0 takes it
// from the prefix; it is otherwise 2 to 36.
ParsedInteger parse_integer(const wchar_t* text, size_t limit, unsigned radix);

// Returns the characters read, 0 if there is no number. The decimal point is a dot in every locale.
// A number beyond the range is infinite or 0 and sets errno.
size_t parse_double(const wchar_t* text, size_t limit, double& value);

} // namespace platform
