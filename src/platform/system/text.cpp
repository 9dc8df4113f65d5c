// UTF-16 and UTF-8. One decoder and one encoder for each form, bounds-checked.
#include "text.h"

namespace platform
{

namespace
{

constexpr char32_t replacement = 0xFFFD;

// Takes one character from a 16-bit text; at is moved behind it. at < length.
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

// The same from UTF-8. A bad sequence is one replacement for its longest good beginning.
char32_t take_utf8(const char* text, size_t length, size_t& at)
{
    const auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned lead = byte(at++);
    if (lead < 0x80)
        return lead;
    // The second byte's range keeps out over-long forms, surrogates and what is beyond U+10FFFF.
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

// The loop of both directions: units that fit are stored, all are counted.
template <class Unit, class Take, class Put>
size_t convert(size_t length, Unit* to, size_t capacity, size_t* written, Take take, Put put)
{
    size_t needed = 0;
    size_t stored = 0;
    bool full = to == nullptr;
    for (size_t at = 0; at < length;)
    {
        Unit units[sizeof(char32_t) / sizeof(Unit)];
        const size_t count = put(take(at), units);
        if (!full && stored + count <= capacity)
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

} // namespace

size_t wide_length(const wchar_t* text)
{
    const wchar_t* end = text;
    while (*end)
        ++end;
    return static_cast<size_t>(end - text);
}

size_t utf8_from_wide(const wchar_t* text, size_t length, char* to, size_t capacity,
                      size_t* written)
{
    return convert(
        length, to, capacity, written, [&](size_t& at) { return take_wide(text, length, at); },
        [](char32_t c, char(&out)[4]) { return put_utf8(c, out); });
}

size_t wide_from_utf8(const char* text, size_t length, wchar_t* to, size_t capacity,
                      size_t* written)
{
    return convert(
        length, to, capacity, written, [&](size_t& at) { return take_utf8(text, length, at); },
        [](char32_t c, wchar_t(&out)[2]) { return put_wide(c, out); });
}

bool is_utf8(const char* text, size_t length)
{
    for (size_t at = 0; at < length;)
    {
        const size_t start = at;
        // A replacement that stands in the text itself takes three bytes, and is good.
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

// Simple folding to upper case for the scripts that have it in whole blocks, as the file system
// and the runtime compare names; independent of any locale.
wchar_t fold_case(wchar_t c)
{
    const unsigned u = static_cast<unsigned short>(c);
    const auto minus = [u](unsigned by) { return static_cast<wchar_t>(u - by); };
    if (u < 0x80)
        return u >= 'a' && u <= 'z' ? minus(32) : c;
    if (u >= 0xE0 && u <= 0xFE && u != 0xF7)
        return minus(32); // Latin-1
    if (u == 0xFF)
        return static_cast<wchar_t>(0x178);
    if ((u >= 0x100 && u <= 0x137) || (u >= 0x14A && u <= 0x177))
        return u == 0x131 ? c : static_cast<wchar_t>(u & ~1u); // Latin Extended-A, pairs
    if ((u >= 0x139 && u <= 0x148) || (u >= 0x179 && u <= 0x17E))
        return u % 2 == 0 ? minus(1) : c;
    if (u >= 0x3B1 && u <= 0x3C9 && u != 0x3C2)
        return minus(32); // Greek
    if (u >= 0x430 && u <= 0x44F)
        return minus(32); // Cyrillic
    if (u >= 0x450 && u <= 0x45F)
        return minus(80);
    if (u >= 0x561 && u <= 0x586)
        return minus(48); // Armenian
    return c;
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
