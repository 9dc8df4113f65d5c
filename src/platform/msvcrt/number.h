// Reading numbers from 16-bit text: one parser for wcstol and its like and for swscanf.
#pragma once

#include <cstddef>

namespace platform
{

inline bool is_space(wchar_t c)
{
    return c == L' ' || (c >= L'\t' && c <= L'\r');
}

struct ParsedInteger
{
    unsigned long long magnitude = 0;
    bool negative = false;
    bool overflow = false; // of 64 bits
    size_t length = 0;     // characters taken, 0 if there is no number
};

// Both read at most limit characters, from the sign on: no space is skipped. A radix of 0 takes it
// from the prefix; it is otherwise 2 to 36.
ParsedInteger parse_integer(const wchar_t* text, size_t limit, unsigned radix);

// The characters taken, 0 if there is no number. The decimal point is a dot in every locale. A
// number beyond the range is infinite or 0 and sets errno.
size_t parse_double(const wchar_t* text, size_t limit, double& value);

} // namespace platform
