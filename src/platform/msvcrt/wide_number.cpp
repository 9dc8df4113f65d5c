// Numbers in 16-bit text. Reading saturates, as the runtime does; digits are ASCII.
#define PLINTH_PLATFORM_NO_RUNTIME_NAMES
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string>

#include <tchar.h>

namespace
{

bool is_space(wchar_t c)
{
    return c == L' ' || (c >= L'\t' && c <= L'\r');
}

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

struct Parsed
{
    unsigned long long magnitude = 0;
    bool negative = false;
    bool overflow = false; // of 64 bits
    const wchar_t* end = nullptr;
};

Parsed parse_integer(const wchar_t* text, int radix)
{
    Parsed result;
    result.end = text;
    const wchar_t* at = text;
    while (is_space(*at))
        ++at;
    if (*at == L'-' || *at == L'+')
        result.negative = *at++ == L'-';
    const bool hex = at[0] == L'0' && (at[1] | 0x20) == L'x' && digit_value(at[2]) < 16;
    if (hex && (radix == 0 || radix == 16))
    {
        radix = 16;
        at += 2;
    }
    else if (radix == 0)
        radix = *at == L'0' ? 8 : 10;
    for (unsigned digit; (digit = digit_value(*at)) < static_cast<unsigned>(radix); ++at)
    {
        result.end = at + 1;
        result.overflow |= __builtin_mul_overflow(
            result.magnitude, static_cast<unsigned long long>(radix), &result.magnitude);
        result.overflow |= __builtin_add_overflow(
            result.magnitude, static_cast<unsigned long long>(digit), &result.magnitude);
    }
    return result;
}

long long saturate(const Parsed& parsed, long long low, long long high)
{
    const unsigned long long limit = parsed.negative ? 0ull - static_cast<unsigned long long>(low)
                                                     : static_cast<unsigned long long>(high);
    if (parsed.overflow || parsed.magnitude > limit)
    {
        errno = ERANGE;
        return parsed.negative ? low : high;
    }
    return static_cast<long long>(parsed.negative ? 0ull - parsed.magnitude : parsed.magnitude);
}

} // namespace

extern "C"
{
    wchar_t* plinth_crt_itow(int value, wchar_t* buffer, int radix)
    {
        if (radix < 2 || radix > 36)
        {
            errno = EINVAL;
            buffer[0] = L'\0';
            return buffer;
        }
        // Only decimal numbers have a sign; the others show the bits.
        const bool negative = radix == 10 && value < 0;
        unsigned rest = negative ? 0u - static_cast<unsigned>(value) : static_cast<unsigned>(value);
        wchar_t digits[32];
        size_t count = 0;
        do
            digits[count++] = static_cast<wchar_t>(
                "0123456789abcdefghijklmnopqrstuvwxyz"[rest % static_cast<unsigned>(radix)]);
        while (rest /= static_cast<unsigned>(radix));
        wchar_t* at = buffer;
        if (negative)
            *at++ = L'-';
        while (count)
            *at++ = digits[--count];
        *at = L'\0';
        return buffer;
    }

    int plinth_crt_wtoi(const wchar_t* text)
    {
        return static_cast<int>(saturate(parse_integer(text, 10), INT_MIN, INT_MAX));
    }

    long long plinth_crt_wtoi64(const wchar_t* text)
    {
        return saturate(parse_integer(text, 10), LLONG_MIN, LLONG_MAX);
    }

    int plinth_crt_wcstol(const wchar_t* text, wchar_t** end, int radix)
    {
        const Parsed parsed = parse_integer(text, radix);
        if (end)
            *end = const_cast<wchar_t*>(parsed.end);
        return static_cast<int>(saturate(parsed, INT_MIN, INT_MAX));
    }

    unsigned plinth_crt_wcstoul(const wchar_t* text, wchar_t** end, int radix)
    {
        const Parsed parsed = parse_integer(text, radix);
        if (end)
            *end = const_cast<wchar_t*>(parsed.end);
        if (parsed.overflow || parsed.magnitude > UINT_MAX)
        {
            errno = ERANGE;
            return UINT_MAX;
        }
        const unsigned value = static_cast<unsigned>(parsed.magnitude);
        return parsed.negative ? 0u - value : value;
    }

    double plinth_crt_wcstod(const wchar_t* text, wchar_t** end)
    {
        // All characters of a number are ASCII: copy as far as they go and let the C library read.
        // It reads by the process's locale, whose decimal point may be another one; strtod_l with
        // the C locale keeps to the dot.
        static locale_t const c_locale = newlocale(LC_ALL_MASK, "C", nullptr);
        const wchar_t* start = text;
        while (is_space(*start))
            ++start;
        std::string number;
        for (const wchar_t* at = start; *at > 0x20 && *at < 0x7F; ++at)
            number += static_cast<char>(*at);
        char* stop = nullptr;
        const double value = strtod_l(number.c_str(), &stop, c_locale);
        const size_t used = static_cast<size_t>(stop - number.c_str());
        if (end)
            *end = const_cast<wchar_t*>(used ? start + used : text);
        return value;
    }
}
