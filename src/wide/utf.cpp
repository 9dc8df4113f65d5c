#include "utf.h"

namespace plinth_wide
{

namespace
{

// What the first byte of a character decides: the length, and the bounds of the second byte, which
// exclude overlong forms, surrogates and values above U+10FFFF.
struct Lead
{
    unsigned char first, last;
    unsigned char length;
    unsigned char low, high;
};

constexpr Lead leads[] = {
    {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF}, {0xE1, 0xEC, 3, 0x80, 0xBF},
    {0xED, 0xED, 3, 0x80, 0x9F}, {0xEE, 0xEF, 3, 0x80, 0xBF}, {0xF0, 0xF0, 4, 0x90, 0xBF},
    {0xF1, 0xF3, 4, 0x80, 0xBF}, {0xF4, 0xF4, 4, 0x80, 0x8F},
};

const Lead* find_lead(unsigned char byte)
{
    for (const Lead& lead : leads)
        if (byte >= lead.first && byte <= lead.last)
            return &lead;
    return nullptr;
}

} // namespace

Decoded decode(const char* text, std::size_t length)
{
    const auto* const bytes = reinterpret_cast<const unsigned char*>(text);
    if (bytes[0] < 0x80)
        return {bytes[0], 1, true};
    const Lead* const lead = find_lead(bytes[0]);
    if (!lead)
        return {replacement, 1, false};
    char32_t value = bytes[0] & (0xFFU >> (lead->length + 1));
    for (std::size_t i = 1; i < lead->length; ++i)
    {
        if (i == length)
            return {};
        if (bytes[i] < (i == 1 ? lead->low : 0x80) || bytes[i] > (i == 1 ? lead->high : 0xBF))
            return {replacement, i, false};
        value = value << 6 | (bytes[i] & 0x3FU);
    }
    return {value, lead->length, true};
}

std::size_t encode(char32_t c, char* to)
{
    if (c < 0x80)
    {
        *to = static_cast<char>(c);
        return 1;
    }
    if (is_high(c) || is_low(c) || c > 0x10FFFF)
        c = replacement;
    const std::size_t length = c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
    for (std::size_t i = length - 1; i > 0; --i, c >>= 6)
        to[i] = static_cast<char>(0x80 | (c & 0x3F));
    to[0] = static_cast<char>((0xF00U >> length & 0xFFU) | c);
    return length;
}

} // namespace plinth_wide
