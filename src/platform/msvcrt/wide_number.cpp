// Numbers in 16-bit text. Reading saturates, as the runtime does; digits are ASCII.
#define PLINTH_PLATFORM_NO_RUNTIME_NAMES
#include <cerrno>
#include <climits>

#include <tchar.h>

#include "number.h"

using namespace platform;

namespace
{

// Reads a number and the space before it; end is the place after it, or the text's beginning if
// there is none.
ParsedInteger read_integer(const wchar_t* text, const wchar_t*& end, int radix)
{
    end = text;
    if (radix != 0 && (radix < 2 || radix > 36))
    {
        errno = EINVAL;
        return {};
    }
    const wchar_t* start = text;
    while (is_space(*start))
        ++start;
    const ParsedInteger result = parse_integer(start, SIZE_MAX, static_cast<unsigned>(radix));
    if (result.length)
        end = start + result.length;
    return result;
}

long long saturate(const ParsedInteger& parsed, long long low, long long high)
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
        // Only decimal numbers have a sign; others show the bits.
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
        return plinth_crt_wcstol(text, nullptr, 10);
    }

    long long plinth_crt_wtoi64(const wchar_t* text)
    {
        const wchar_t* end;
        return saturate(read_integer(text, end, 10), LLONG_MIN, LLONG_MAX);
    }

    int plinth_crt_wcstol(const wchar_t* text, wchar_t** end, int radix)
    {
        const wchar_t* stop;
        const ParsedInteger parsed = read_integer(text, stop, radix);
        if (end)
            *end = const_cast<wchar_t*>(stop);
        return static_cast<int>(saturate(parsed, INT_MIN, INT_MAX));
    }

    unsigned plinth_crt_wcstoul(const wchar_t* text, wchar_t** end, int radix)
    {
        const wchar_t* stop;
        const ParsedInteger parsed = read_integer(text, stop, radix);
        if (end)
            *end = const_cast<wchar_t*>(stop);
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
        const wchar_t* start = text;
        while (is_space(*start))
            ++start;
        double value = 0;
        const size_t length = parse_double(start, SIZE_MAX, value);
        if (end)
            *end = const_cast<wchar_t*>(length ? start + length : text);
        return value;
    }
}
