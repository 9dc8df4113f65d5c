// UTF-8 and UTF-16, one character at a time, for all code in the archive that converts text.
#pragma once

#include <cstddef>
#include <cwchar>

namespace plinth_wide
{

constexpr char32_t replacement = 0xFFFD; // replaces whatever is no character
constexpr std::size_t longest = 4;       // bytes of one character

constexpr bool is_high(char32_t unit)
{
    return (unit & 0xFFFFFC00U) == 0xD800;
}
constexpr bool is_low(char32_t unit)
{
    return (unit & 0xFFFFFC00U) == 0xDC00;
}
constexpr bool is_continuation(unsigned char byte)
{
    return (byte & 0xC0) == 0x80;
}

constexpr char32_t join(char32_t high, char32_t low)
{
    return 0x10000 + ((high & 0x3FF) << 10) + (low & 0x3FF);
}
constexpr wchar_t high_of(char32_t c)
{
    return static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10));
}
constexpr wchar_t low_of(char32_t c)
{
    return static_cast<wchar_t>(0xDC00 + (c & 0x3FF));
}

// The result of decoding the bytes at a place.
struct Decoded
{
    char32_t value = replacement;
    std::size_t length = 0; // bytes taken; 0: the text ends within a character
    bool valid = false;
};

// The text must not be empty. Bytes that are no character are taken together if they could have
// begun one.
Decoded decode(const char* text, std::size_t length);

// Writes one character, at most four bytes, and returns how many. A surrogate becomes U+FFFD.
std::size_t encode(char32_t c, char* to);

// While a character is read or written by halves, its other half is in the caller's state, beside
// what a facet keeps there about the whole text.
enum class Half : int
{
    none = 0,
    low_to_read = -1,  // the high surrogate and all bytes except the last have been read
    high_to_write = -2 // the caller has written the high surrogate; no byte has been written
};
constexpr unsigned unit_bits = 16;
constexpr unsigned unit_mask = 0xFFFF;

inline Half half_in(const std::mbstate_t& state)
{
    return state.__count < 0 ? static_cast<Half>(state.__count) : Half::none;
}
inline wchar_t half_unit(const std::mbstate_t& state)
{
    return static_cast<wchar_t>(state.__value.__wch & unit_mask);
}
inline void set_half(std::mbstate_t& state, Half half, wchar_t unit)
{
    state.__count = static_cast<int>(half);
    state.__value.__wch = (state.__value.__wch & ~unit_mask) | unit;
}
inline void clear_half(std::mbstate_t& state)
{
    set_half(state, Half::none, 0);
}

inline unsigned remembered(const std::mbstate_t& state)
{
    return state.__value.__wch >> unit_bits;
}
inline void remember(std::mbstate_t& state, unsigned what)
{
    state.__value.__wch |= what << unit_bits;
}

} // namespace plinth_wide
