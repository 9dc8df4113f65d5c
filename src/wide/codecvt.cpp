// The C++ library's conversion facets between bytes and 16-bit text.
//
// A stream over a file uses UTF-8 in every locale, and U+FFFD for anything that is no character.
// The facets that name an encoding, which std::wstring_convert uses, report an error instead. Both
// support pairs of surrogates. A character of two units may be split into halves, as in
// conversion.cpp.
#include <algorithm>
#include <codecvt>
#include <locale>

#include "utf.h"

using namespace plinth_wide;
using Facet = std::codecvt<wchar_t, char, std::mbstate_t>;
using Result = std::codecvt_base::result;

namespace
{

enum class Encoding : unsigned char
{
    utf8,
    utf16_big,
    utf16_little
};

struct Rules
{
    Encoding encoding = Encoding::utf8;
    bool lenient = false; // U+FFFD instead of an error
    bool reads_mark = false;
    bool writes_mark = false;
    char32_t highest = 0x10FFFF;
};

Rules rules_of(Encoding encoding, unsigned long highest, std::codecvt_mode mode)
{
    if (encoding != Encoding::utf8 && mode & std::little_endian)
        encoding = Encoding::utf16_little;
    return {encoding, false, (mode & std::consume_header) != 0, (mode & std::generate_header) != 0,
            static_cast<char32_t>(highest)};
}

// The position of a conversion.
template <class From, class To> struct Place
{
    const From* from;
    const From* const from_end;
    To* to;
    To* const to_end;

    std::size_t left() const { return static_cast<std::size_t>(from_end - from); }
    std::size_t room() const { return static_cast<std::size_t>(to_end - to); }
};

Decoded decode_utf16(const char* text, std::size_t length, bool little)
{
    const auto unit = [&](std::size_t at)
    {
        const auto first = static_cast<unsigned char>(text[at]);
        const auto second = static_cast<unsigned char>(text[at + 1]);
        return static_cast<char32_t>(little ? second << 8 | first : first << 8 | second);
    };
    if (length < 2)
        return {};
    const char32_t first = unit(0);
    if (is_low(first))
        return {replacement, 2, false};
    if (!is_high(first))
        return {first, 2, true};
    if (length < 4)
        return {};
    return is_low(unit(2)) ? Decoded{join(first, unit(2)), 4, true}
                           : Decoded{replacement, 2, false};
}

Decoded decode_by(const Rules& rules, const char* text, std::size_t length)
{
    Decoded c = rules.encoding == Encoding::utf8
                    ? decode(text, length)
                    : decode_utf16(text, length, rules.encoding == Encoding::utf16_little);
    if (c.value > rules.highest && c.length)
        c.valid = false;
    return c;
}

std::size_t encode_by(const Rules& rules, char32_t c, char* to)
{
    if (is_high(c) || is_low(c))
        c = replacement;
    if (rules.encoding == Encoding::utf8)
        return encode(c, to);
    const auto put = [&](char32_t unit, char* at)
    {
        const bool little = rules.encoding == Encoding::utf16_little;
        at[little ? 1 : 0] = static_cast<char>(unit >> 8);
        at[little ? 0 : 1] = static_cast<char>(unit & 0xFF);
    };
    if (c < 0x10000)
    {
        put(c, to);
        return 2;
    }
    put(high_of(c), to);
    put(low_of(c), to + 2);
    return 4;
}

// Kept in the state of a text: whether its first characters have been processed, and its byte
// order.
constexpr unsigned has_begun = 1;
constexpr unsigned is_little = 2;

// Skips the byte order mark at the beginning of a text. A mark of the other order changes the
// rules.
void pass_mark(Rules& rules, std::mbstate_t& state, Place<char, wchar_t>& at)
{
    if (!rules.reads_mark)
        return;
    const std::size_t size = rules.encoding == Encoding::utf8 ? 3 : 2;
    if (!(remembered(state) & has_begun) && at.left() >= size)
    {
        if (rules.encoding != Encoding::utf8 && at.from[0] == '\xFF' && at.from[1] == '\xFE')
            rules.encoding = Encoding::utf16_little;
        if (decode_by(rules, at.from, at.left()).value == 0xFEFF)
            at.from += size;
        remember(state, has_begun | (rules.encoding == Encoding::utf16_little ? is_little : 0));
    }
    if (remembered(state) & is_little)
        rules.encoding = Encoding::utf16_little;
}

// A stream passes a text in blocks, and a character of two units may be split between two of them:
// the first half then waits. All other callers pass the whole text, and a half at its end is a
// fault. Only a stream calls always_noconv before it converts.
thread_local const void* t_streams_facet = nullptr;

Result read(Rules rules, std::mbstate_t& state, Place<char, wchar_t>& at)
{
    pass_mark(rules, state, at);
    while (at.left() > 0)
    {
        if (at.room() == 0)
            return std::codecvt_base::partial;
        if (half_in(state) == Half::low_to_read)
        {
            *at.to++ = half_unit(state);
            clear_half(state);
            ++at.from;
            continue;
        }
        const Decoded c = decode_by(rules, at.from, at.left());
        if (c.length == 0)
            return std::codecvt_base::partial;
        if (!c.valid && !rules.lenient)
            return std::codecvt_base::error;
        if (c.value < 0x10000)
            *at.to++ = static_cast<wchar_t>(c.value);
        else
        {
            *at.to++ = high_of(c.value);
            set_half(state, Half::low_to_read, low_of(c.value));
        }
        at.from += c.value < 0x10000 ? c.length : c.length - 1;
    }
    return std::codecvt_base::ok;
}

// The bytes of a unit, after those of a waiting half that the unit doesn't complete. fault: the
// text is not valid, and the rules want an error rather than a replacement.
struct Written
{
    std::size_t length = 0;
    bool fault = false;
    char bytes[2 * longest];
};

Written write_unit(const Rules& rules, std::mbstate_t& state, char32_t unit)
{
    Written result;
    const auto put = [&](char32_t c)
    {
        result.fault |= !rules.lenient && (is_high(c) || is_low(c) || c > rules.highest);
        result.length += encode_by(rules, c, result.bytes + result.length);
    };
    const char32_t high = half_in(state) == Half::high_to_write ? half_unit(state) : 0;
    clear_half(state);
    const bool pair = high && is_low(unit);
    if (pair)
        put(join(high, unit));
    else if (high)
        put(high);
    if (is_high(unit))
        set_half(state, Half::high_to_write, static_cast<wchar_t>(unit));
    else if (!pair)
        put(unit);
    return result;
}

Result write(const Rules& rules, std::mbstate_t& state, Place<wchar_t, char>& at, bool blocks)
{
    if (rules.writes_mark && !(remembered(state) & has_begun) && at.left() > 0)
    {
        if (at.room() < longest)
            return std::codecvt_base::partial;
        at.to += encode_by(rules, 0xFEFF, at.to);
        remember(state, has_begun);
    }
    for (; at.left() > 0; ++at.from)
    {
        std::mbstate_t next = state;
        Written unit = write_unit(rules, next, *at.from);
        if (!blocks && at.left() == 1 && half_in(next) == Half::high_to_write)
        {
            clear_half(next);
            unit.fault |= !rules.lenient;
            unit.length += encode_by(rules, replacement, unit.bytes + unit.length);
        }
        if (unit.fault)
            return std::codecvt_base::error;
        if (unit.length > at.room())
            return std::codecvt_base::partial;
        at.to = std::copy_n(unit.bytes, unit.length, at.to);
        state = next;
    }
    return std::codecvt_base::ok;
}

// Handles a high surrogate without its other half at the end of a text.
Result finish(const Rules& rules, std::mbstate_t& state, Place<wchar_t, char>& at)
{
    if (half_in(state) != Half::high_to_write)
        return std::codecvt_base::noconv;
    if (!rules.lenient)
        return std::codecvt_base::error;
    if (at.room() < longest)
        return std::codecvt_base::partial;
    at.to += encode_by(rules, replacement, at.to);
    clear_half(state);
    return std::codecvt_base::ok;
}

// The number of bytes that become at most the given number of units.
int measure(const Rules& rules, std::mbstate_t& state, const char* from, const char* end,
            std::size_t most)
{
    Place<char, wchar_t> at{from, end, nullptr, nullptr};
    wchar_t units[64];
    while (most > 0 && at.left() > 0)
    {
        const std::size_t piece = std::min(most, std::size(units));
        Place<char, wchar_t> next{at.from, end, units, units + piece};
        const Result outcome = read(rules, state, next);
        const auto done = static_cast<std::size_t>(next.to - units);
        at.from = next.from;
        most -= done;
        if (outcome != std::codecvt_base::partial || done == 0)
            break;
    }
    return static_cast<int>(at.from - from);
}

constexpr Rules file_rules{Encoding::utf8, true};

} // namespace

// The members of one facet, all with its rules.
#define PLINTH_CODECVT(facet, rules)                                                               \
    Result facet::do_out(state_type& state, const wchar_t* from, const wchar_t* fromEnd,           \
                         const wchar_t*& fromNext, char* to, char* toEnd, char*& toNext) const     \
    {                                                                                              \
        Place<wchar_t, char> at{from, fromEnd, to, toEnd};                                         \
        const Result outcome = write(rules, state, at, t_streams_facet == this);                   \
        fromNext = at.from;                                                                        \
        toNext = at.to;                                                                            \
        return outcome;                                                                            \
    }                                                                                              \
    Result facet::do_unshift(state_type& state, char* to, char* toEnd, char*& toNext) const        \
    {                                                                                              \
        Place<wchar_t, char> at{nullptr, nullptr, to, toEnd};                                      \
        const Result outcome = finish(rules, state, at);                                           \
        toNext = at.to;                                                                            \
        return outcome;                                                                            \
    }                                                                                              \
    Result facet::do_in(state_type& state, const char* from, const char* fromEnd,                  \
                        const char*& fromNext, wchar_t* to, wchar_t* toEnd, wchar_t*& toNext)      \
        const                                                                                      \
    {                                                                                              \
        Place<char, wchar_t> at{from, fromEnd, to, toEnd};                                         \
        const Result outcome = read(rules, state, at);                                             \
        fromNext = at.from;                                                                        \
        toNext = at.to;                                                                            \
        return outcome;                                                                            \
    }                                                                                              \
    int facet::do_length(state_type& state, const char* from, const char* end, std::size_t most)   \
        const                                                                                      \
    {                                                                                              \
        return measure(rules, state, from, end, most);                                             \
    }                                                                                              \
    int facet::do_encoding() const throw()                                                         \
    {                                                                                              \
        return 0;                                                                                  \
    }                                                                                              \
    bool facet::do_always_noconv() const throw()                                                   \
    {                                                                                              \
        t_streams_facet = this;                                                                    \
        return false;                                                                              \
    }                                                                                              \
    int facet::do_max_length() const throw()                                                       \
    {                                                                                              \
        return static_cast<int>(longest);                                                          \
    }

namespace std
{

locale::id Facet::id;
Facet::codecvt(size_t references) : codecvt(_S_get_c_locale(), references) {}
Facet::codecvt(__c_locale, size_t references)
    : __codecvt_abstract_base(references), _M_c_locale_codecvt(_S_get_c_locale())
{
}
Facet::~codecvt()
{
    if (t_streams_facet == this)
        t_streams_facet = nullptr;
}
PLINTH_CODECVT(Facet, file_rules)

#define PLINTH_NAMED_CODECVT(name, encoding)                                                       \
    __##name##_base<wchar_t>::~__##name##_base() = default;                                        \
    PLINTH_CODECVT(__##name##_base<wchar_t>, rules_of(encoding, _M_maxcode, _M_mode))
PLINTH_NAMED_CODECVT(codecvt_utf8, Encoding::utf8)
PLINTH_NAMED_CODECVT(codecvt_utf8_utf16, Encoding::utf8)
PLINTH_NAMED_CODECVT(codecvt_utf16, Encoding::utf16_big)

template class codecvt_byname<wchar_t, char, mbstate_t>;

} // namespace std
