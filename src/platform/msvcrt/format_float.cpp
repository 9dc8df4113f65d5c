// std::to_chars returns the digits that printf prints in the C locale. This file adds the flag '#',
// upper case, and precisions beyond a double's digits.
#include "format_float.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace platform
{

namespace
{

// No double has more than 1,074 digits after its point, or more than 767 significant ones.
constexpr int exact_precision = 1100;
static_assert(sizeof FloatText::text > 309 + 1 + exact_precision);

// The fixed form of an ordinary number with few decimals, several times faster than the general
// way: the number is scaled to an integer, whose digits are taken. Returns 0 if the number isn't
// ordinary, or so close to the middle between two results that the product's rounding could choose
// the wrong one.
size_t form_ordinary(FloatText& result, double value, int precision)
{
    static constexpr uint64_t powers[] = {1, 10, 100, 1'000, 10'000, 100'000, 1'000'000};
    constexpr double largest = 1e10; // the product's error is below 2e-6 here
    constexpr double margin = 1e-5;
    if (static_cast<size_t>(precision) >= std::size(powers))
        return 0;
    const uint64_t one = powers[precision];
    const double scaled = value * static_cast<double>(one);
    if (!(scaled < largest))
        return 0;
    const auto whole = static_cast<int64_t>(scaled);
    const double rest = scaled - static_cast<double>(whole);
    if (std::fabs(rest - 0.5) < margin)
        return 0;
    uint64_t number = static_cast<uint64_t>(whole) + (rest > 0.5 ? 1 : 0);
    size_t length = static_cast<size_t>(precision) + (precision > 0 ? 2 : 1);
    for (uint64_t limit = 10 * one; number >= limit; limit *= 10)
        ++length;
    char* at = result.text + length;
    for (int i = 0; i < precision; ++i, number /= 10)
        *--at = static_cast<char>('0' + number % 10);
    if (precision > 0)
        *--at = '.';
    for (; at != result.text; number /= 10)
        *--at = static_cast<char>('0' + number % 10);
    return length;
}

size_t form(FloatText& result, double value, std::chars_format format, int precision)
{
    const auto [end, error] =
        std::to_chars(result.text, result.text + sizeof result.text, value, format, precision);
    return error == std::errc() ? static_cast<size_t>(end - result.text) : 0;
}

// "%#g": the general form with its trailing zeros. The style depends on the exponent after rounding
// to the precision.
size_t form_general_alternate(FloatText& result, double value, int precision)
{
    precision = std::max(precision, 1);
    const size_t length = form(result, value, std::chars_format::scientific, precision - 1);
    const char* const sign =
        static_cast<const char*>(std::memchr(result.text, 'e', length)) + 1; // then 2 or 3 digits
    int exponent = 0;
    std::from_chars(sign + 1, result.text + length, exponent);
    if (*sign == '-')
        exponent = -exponent;
    if (exponent < -4 || exponent >= precision)
        return length;
    return form(result, value, std::chars_format::fixed, precision - 1 - exponent);
}

size_t form_exactly(FloatText& result, double value, char style, int precision, bool alternate)
{
    if (style == 'g' && alternate && result.finite)
        return form_general_alternate(result, value, precision);
    return form(result, value,
                style == 'e'   ? std::chars_format::scientific
                : style == 'f' ? std::chars_format::fixed
                : style == 'g' ? std::chars_format::general
                               : std::chars_format::hex,
                precision);
}

} // namespace

void form_float(double value, char letter, int precision, bool alternate, FloatText& result)
{
    const char style = static_cast<char>(letter | 0x20);
    const bool upper = letter != style;
    value = std::fabs(value);
    result.finite = std::isfinite(value);
    result.prefix = style != 'a' || !result.finite ? "" : upper ? "0X" : "0x";
    result.zeros = 0;
    if (precision < 0)
        precision = style == 'a' ? 13 : 6; // 13 hexadecimal digits are a whole mantissa
    if (precision > exact_precision)
    {
        // "%g" drops trailing zeros unless the flag '#' keeps them.
        if (result.finite && (style != 'g' || alternate))
            result.zeros = static_cast<size_t>(precision - exact_precision);
        precision = exact_precision;
    }

    result.length = style == 'f' ? form_ordinary(result, value, precision) : 0;
    if (result.length == 0)
        result.length = form_exactly(result, value, style, precision, alternate);

    char* const end = result.text + result.length;
    char* const exponent =
        result.finite && style != 'f' ? std::find(result.text, end, style == 'a' ? 'p' : 'e') : end;
    result.zeros_at = static_cast<size_t>(exponent - result.text);
    if (alternate && result.finite && !std::memchr(result.text, '.', result.length))
    {
        std::memmove(exponent + 1, exponent, static_cast<size_t>(end - exponent));
        *exponent = '.';
        ++result.zeros_at;
        ++result.length;
    }
    if (upper)
        std::transform(result.text, result.text + result.length, result.text,
                       [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
}

} // namespace platform
