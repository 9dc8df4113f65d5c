// UTF-16 and UTF-8. One decoder and one encoder for each form, bounds-checked.
#include "text.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace platform
{

namespace
{

constexpr char32_t replacement = 0xFFFD;

// Reads one character from a 16-bit text; at is moved past it. at < length.
char32_t take_wide(const wchar_t* text, size_t length, size_t& at)
{
    const unsigned first = static_cast<unsigned short>(text[at++]);
    if (first < 0xD800 || first > 0xDFFF)
        return first;
    if (first > 0xDBFF || at == length)
        return replacement;
    const unsigned second = static_cast<unsigned short>(text[at]);
    if (second < 0xDC00 || second > 0xDFFF)
        return replacement;
    ++at;
    return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
}

// The same from UTF-8. An invalid sequence is one replacement for its longest valid beginning.
char32_t take_utf8(const char* text, size_t length, size_t& at)
{
    const auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned lead = byte(at++);
    if (lead < 0x80)
        return lead;
    // The range of the second byte excludes over-long forms, surrogates and characters beyond
    // U+10FFFF.
    unsigned low = 0x80;
    unsigned high = 0xBF;
    int more = 0;
    char32_t value = 0;
    if (lead >= 0xC2 && lead <= 0xDF)
    {
        more = 1;
        value = lead & 0x1F;
    }
    else if (lead >= 0xE0 && lead <= 0xEF)
    {
        more = 2;
        value = lead & 0x0F;
        low = lead == 0xE0 ? 0xA0 : 0x80;
        high = lead == 0xED ? 0x9F : 0xBF;
    }
    else if (lead >= 0xF0 && lead <= 0xF4)
    {
        more = 3;
        value = lead & 0x07;
        low = lead == 0xF0 ? 0x90 : 0x80;
        high = lead == 0xF4 ? 0x8F : 0xBF;
    }
    else
        return replacement;
    for (; more > 0; --more)
    {
        if (at == length || byte(at) < low || byte(at) > high)
            return replacement;
        value = (value << 6) | (byte(at++) & 0x3F);
        low = 0x80;
        high = 0xBF;
    }
    return value;
}

size_t put_utf8(char32_t c, char (&out)[4])
{
    if (c < 0x80)
    {
        out[0] = static_cast<char>(c);
        return 1;
    }
    if (c < 0x800)
    {
        out[0] = static_cast<char>(0xC0 | (c >> 6));
        out[1] = static_cast<char>(0x80 | (c & 0x3F));
        return 2;
    }
    if (c < 0x10000)
    {
        out[0] = static_cast<char>(0xE0 | (c >> 12));
        out[1] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out[2] = static_cast<char>(0x80 | (c & 0x3F));
        return 3;
    }
    out[0] = static_cast<char>(0xF0 | (c >> 18));
    out[1] = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out[2] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out[3] = static_cast<char>(0x80 | (c & 0x3F));
    return 4;
}

size_t put_wide(char32_t c, wchar_t (&out)[2])
{
    if (c < 0x10000)
    {
        out[0] = static_cast<wchar_t>(c);
        return 1;
    }
    out[0] = static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10));
    out[1] = static_cast<wchar_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
    return 2;
}

// How many ASCII characters a text begins with, in steps of four: most texts are only ASCII.
template <class From> size_t ascii_run(const From* text, size_t length)
{
    constexpr uint64_t ascii = sizeof(From) == 1 ? 0x7F7F7F7F : 0x007F007F007F007F;
    size_t count = 0;
    for (; count + 4 <= length; count += 4)
    {
        uint64_t four = 0;
        std::memcpy(&four, text + count, 4 * sizeof(From));
        if (four & ~ascii)
            break;
    }
    return count;
}

// The loop of both directions: units that fit are stored, all are counted.
template <class From, class Unit, class Take, class Put>
size_t convert(const From* text, size_t length, Unit* to, size_t capacity, size_t* written,
               Take take, Put put)
{
    const size_t run = ascii_run(text, length);
    size_t stored = to ? std::min(run, capacity) : 0;
    for (size_t i = 0; i < stored; ++i)
        to[i] = static_cast<Unit>(text[i]);
    size_t needed = run;
    bool full = stored < run;
    for (size_t at = run; at < length;) // NOLINT(bugprone-infinite-loop): take moves at on
    {
        Unit units[sizeof(char32_t) / sizeof(Unit)];
        const size_t count = put(take(text, length, at), units);
        if (to && !full && count <= capacity - stored)
            for (size_t i = 0; i < count; ++i)
                to[stored++] = units[i];
        else
            full = true;
        needed += count;
    }
    if (written)
        *written = stored;
    return needed;
}

// Blocks of letters with a folded form. In most scripts the small letters follow their capitals at
// a fixed distance; in others capitals and small letters alternate.
struct CaseBlock
{
    unsigned short first;
    unsigned short last;
    short distance; // to the capital, of every letter
    short step;     // 1: every letter; 2: every other one, beginning with the first
};

constexpr CaseBlock case_blocks[] = {
    {0x00E0, 0x00F6, -32, 1}, {0x00F8, 0x00FE, -32, 1}, {0x00FF, 0x00FF, 121, 1},
    {0x0101, 0x012F, -1, 2},  {0x0133, 0x0137, -1, 2},  {0x013A, 0x0148, -1, 2},
    {0x014B, 0x0177, -1, 2},  {0x017A, 0x017E, -1, 2},  {0x01CE, 0x01DC, -1, 2},
    {0x01DF, 0x01EF, -1, 2},  {0x01F9, 0x021F, -1, 2},  {0x0223, 0x0233, -1, 2},
    {0x03AC, 0x03AC, -38, 1}, {0x03AD, 0x03AF, -37, 1}, {0x03B1, 0x03C1, -32, 1},
    {0x03C2, 0x03C2, -31, 1}, {0x03C3, 0x03CB, -32, 1}, {0x03CC, 0x03CC, -64, 1},
    {0x03CD, 0x03CE, -63, 1}, {0x0430, 0x044F, -32, 1}, {0x0450, 0x045F, -80, 1},
    {0x0461, 0x0481, -1, 2},  {0x048B, 0x04BF, -1, 2},  {0x04C2, 0x04CE, -1, 2},
    {0x04CF, 0x04CF, -15, 1}, {0x04D1, 0x052F, -1, 2},  {0x0561, 0x0586, -48, 1},
    {0x1E01, 0x1E95, -1, 2},  {0x1EA1, 0x1EFF, -1, 2},  {0xFF41, 0xFF5A, -32, 1},
};

} // namespace

size_t utf8_from_wide(const wchar_t* text, size_t length, char* to, size_t capacity,
                      size_t* written)
{
    return convert(text, length, to, capacity, written, take_wide, put_utf8);
}

size_t wide_from_utf8(const char* text, size_t length, wchar_t* to, size_t capacity,
                      size_t* written)
{
    return convert(text, length, to, capacity, written, take_utf8, put_wide);
}

bool is_utf8(const char* text, size_t length)
{
    for (size_t at = 0; at < length;)
    {
        const size_t start = at;
        // A replacement character in the text itself has three bytes, and is valid.
        if (take_utf8(text, length, at) == replacement &&
            std::string_view(text + start, at - start) != "\xEF\xBF\xBD")
            return false;
    }
    return true;
}

std::string to_utf8(const wchar_t* text)
{
    return to_utf8(text, wide_length(text));
}

std::string to_utf8(const wchar_t* text, size_t length)
{
    std::string result(utf8_from_wide(text, length, nullptr, 0), '\0');
    utf8_from_wide(text, length, result.data(), result.size());
    return result;
}

DWORD copy_to_caller(std::string_view text, wchar_t* buffer, DWORD size)
{
    const size_t needed = wide_from_utf8(text.data(), text.size(), nullptr, 0);
    if (!buffer || needed + 1 > size)
        return static_cast<DWORD>(needed + 1);
    wide_from_utf8(text.data(), text.size(), buffer, size);
    buffer[needed] = L'\0';
    return static_cast<DWORD>(needed);
}

// Simple folding to upper case, as the file system and the runtime compare names; independent of
// any locale.
wchar_t fold_case(wchar_t c)
{
    if (c < 0x80)
        return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - 32) : c;
    const CaseBlock* const block =
        std::lower_bound(std::begin(case_blocks), std::end(case_blocks), c,
                         [](const CaseBlock& b, wchar_t key) { return b.last < key; });
    if (block == std::end(case_blocks) || c < block->first || (c - block->first) % block->step != 0)
        return c;
    return static_cast<wchar_t>(c + block->distance);
}

int compare_folded(const wchar_t* a, const wchar_t* b)
{
    for (;; ++a, ++b)
    {
        const int left = static_cast<unsigned short>(fold_case(*a));
        const int right = static_cast<unsigned short>(fold_case(*b));
        if (left != right)
            return left - right;
        if (left == 0)
            return 0;
    }
}

} // namespace platform
