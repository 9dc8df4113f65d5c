// The parser of numbers. Digits are ASCII.
#include "number.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <locale.h>
#include <memory>
#include <new>
#include <string>

namespace platform
{

namespace
{

// The value of a digit in any radix up to 36, or 99.
unsigned digit_value(wchar_t c)
{
    if (c >= L'0' && c <= L'9')
        return static_cast<unsigned>(c - L'0');
    if (c >= L'a' && c <= L'z')
        return static_cast<unsigned>(c - L'a') + 10;
    if (c >= L'A' && c <= L'Z')
        return static_cast<unsigned>(c - L'A') + 10;
    return 99;
}

// A text that appears to end at its limit.
class Bounded
{
public:
    Bounded(const wchar_t* text, size_t limit) : m_text(text), m_limit(limit) {}
    // Called in ascending order, so that nothing after a terminator is read.
    wchar_t operator[](size_t at) const { return at < m_limit ? m_text[at] : L'\0'; }
    wchar_t lower(size_t at) const
    {
        const wchar_t c = (*this)[at];
        return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + 32) : c;
    }
    bool has(size_t at, const char* word) const
    {
        for (; *word; ++word, ++at)
            if (lower(at) != static_cast<wchar_t>(*word))
                return false;
        return true;
    }
    size_t digits(size_t at, unsigned radix) const
    {
        size_t count = 0;
        while (digit_value((*this)[at + count]) < radix)
            ++count;
        return count;
    }

private:
    const wchar_t* const m_text;
    const size_t m_limit;
};

bool is_sign(wchar_t c)
{
    return c == L'-' || c == L'+';
}

// How many characters from here make a number, 0 if none do.
size_t double_length(const Bounded& text)
{
    const size_t start = is_sign(text[0]) ? 1 : 0;
    for (const char* word : {"infinity", "inf", "nan"})
        if (text.has(start, word))
            return start + std::char_traits<char>::length(word);
    const bool hex =
        text.has(start, "0x") &&
        (text.digits(start + 2, 16) || (text[start + 2] == L'.' && text.digits(start + 3, 16)));
    const unsigned radix = hex ? 16 : 10;
    size_t at = start + (hex ? 2 : 0);
    const size_t whole = text.digits(at, radix);
    at += whole;
    size_t fraction = 0;
    if (text[at] == L'.')
    {
        fraction = text.digits(at + 1, radix);
        if (whole + fraction)
            at += 1 + fraction;
    }
    if (whole + fraction == 0)
        return 0;
    if (text.lower(at) == (hex ? L'p' : L'e'))
    {
        const size_t sign = is_sign(text[at + 1]) ? 1 : 0;
        if (const size_t exponent = text.digits(at + 1 + sign, 10))
            at += 1 + sign + exponent;
    }
    return at;
}

} // namespace

ParsedInteger parse_integer(const wchar_t* characters, size_t limit, unsigned radix)
{
    const Bounded text(characters, limit);
    ParsedInteger result;
    size_t at = 0;
    if (is_sign(text[at]))
        result.negative = text[at++] == L'-';
    if ((radix == 0 || radix == 16) && text.has(at, "0x") && digit_value(text[at + 2]) < 16)
    {
        radix = 16;
        at += 2;
    }
    else if (radix == 0)
        radix = text[at] == L'0' ? 8 : 10;
    for (unsigned digit; (digit = digit_value(text[at])) < radix; result.length = ++at)
    {
        result.overflow |=
            __builtin_mul_overflow(result.magnitude, uint64_t{radix}, &result.magnitude);
        result.overflow |=
            __builtin_add_overflow(result.magnitude, uint64_t{digit}, &result.magnitude);
    }
    return result;
}

size_t parse_double(const wchar_t* text, size_t limit, double& value)
{
    const size_t length = double_length(Bounded(text, limit));
    if (length == 0)
        return 0;
    // All characters of a number are ASCII. The C library reads them, in a locale of our own: the
    // process's may have another decimal point. Only a number longer than any that was written from
    // a double needs heap memory.
    static const locale_t c_locale = newlocale(LC_ALL_MASK, "C", nullptr);
    char small[1200];
    std::unique_ptr<char[]> large;
    char* digits = small;
    if (length >= sizeof small)
    {
        large.reset(new (std::nothrow) char[length + 1]);
        if (!large)
        {
            errno = ENOMEM;
            return 0;
        }
        digits = large.get();
    }
    for (size_t i = 0; i < length; ++i)
        digits[i] = static_cast<char>(text[i]);
    digits[length] = '\0';
    value = strtod_l(digits, nullptr, c_locale);
    return length;
}

} // namespace platform
