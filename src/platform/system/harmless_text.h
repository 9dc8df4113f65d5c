// Which characters of unknown origin must not reach a terminal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace platform
{

// A character that a terminal obeys instead of showing it, that changes the order of the text
// beside it, or that is invisible: C0 and C1 controls and DEL, the line and paragraph separators,
// the directional marks, embeddings, overrides and isolates, zero-width and other invisible
// characters, variation selectors outside the emoji's two, and the tags of plane 14. Source: the
// general categories Cc, Zl, Zp and Cf of Unicode 15.0 (DerivedGeneralCategory.txt), and its
// Default_Ignorable_Code_Point (DerivedCoreProperties.txt). The joiners U+200C and U+200D are
// included, though some scripts use them: in a name, that is the smaller loss. So are the number
// and verse signs of Arabic, Syriac and Kaithi in Cf, though they are visible: they enclose the
// digits after them.
constexpr bool is_treacherous(uint32_t c)
{
    struct Range
    {
        uint32_t first;
        uint32_t last;
    };
    constexpr Range ranges[] = {
        {0x0000, 0x001F},   {0x007F, 0x009F},   {0x00AD, 0x00AD},   {0x034F, 0x034F},
        {0x0600, 0x0605},   {0x061C, 0x061C},   {0x06DD, 0x06DD},   {0x070F, 0x070F},
        {0x0890, 0x0891},   {0x08E2, 0x08E2},   {0x115F, 0x1160},   {0x17B4, 0x17B5},
        {0x180B, 0x180F},   {0x200B, 0x200F},   {0x2028, 0x202E},   {0x2060, 0x206F},
        {0x3164, 0x3164},   {0xFE00, 0xFE0D},   {0xFEFF, 0xFEFF},   {0xFFA0, 0xFFA0},
        {0xFFF0, 0xFFFB},   {0x110BD, 0x110BD}, {0x110CD, 0x110CD}, {0x13430, 0x1343F},
        {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF}};
    if (c >= 0x20 && c < 0x7F) [[likely]]
        return false;
    for (const Range& range : ranges)
        if (c >= range.first && c <= range.last)
            return true;
    return false;
}

// Reads the first character of a text in UTF-8 and its number of bytes. Invalid bytes (a stray
// byte, an over-long form, a surrogate) return false, and one byte.
constexpr bool next_character(std::string_view text, uint32_t& c, size_t& bytes)
{
    const auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned first = byte(0);
    bytes = first < 0x80 ? 1 : first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    c = bytes == 1 ? first : first & (0xFFu >> (bytes + 1));
    bool good = bytes > 0 && bytes <= text.size() && first < 0xF5;
    for (size_t i = 1; good && i < bytes; ++i)
    {
        good = (byte(i) & 0xC0) == 0x80;
        c = c << 6 | (byte(i) & 0x3Fu);
    }
    constexpr uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    if (good && c >= least[bytes] && c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF))
        return true;
    bytes = 1;
    c = first;
    return false;
}

} // namespace platform
