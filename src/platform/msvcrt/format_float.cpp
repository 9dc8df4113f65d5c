// std::to_chars gives the digits that printf gives in the C locale. Left to do are the flag '#',
// upper case, and precisions beyond what a double has.
#include "format_float.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace platform
{

namespace
{

// No double has more than 1,074 digits behind its point, or more than 767 significant ones.
constexpr int exact_precision = 1100;
static_assert(sizeof FloatText::text > 309 + 1 + exact_precision);

size_t form(FloatText& result, double value, std::chars_format format, int precision)
{
    const auto [end, error] =
        std::to_chars(result.text, result.text + sizeof result.text, value, format, precision);
    return error == std::errc() ? static_cast<size_t>(end - result.text) : 0;
}

// "%#g": the general form with its trailing zeros. The exponent that decides between the two styles
// is the one after rounding to the precision.
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
        // "%g" drops trailing zeros unless told otherwise.
        if (result.finite && (style != 'g' || alternate))
            result.zeros = static_cast<size_t>(precision - exact_precision);
        precision = exact_precision;
    }

    if (style == 'g' && alternate && result.finite)
        result.length = form_general_alternate(result, value, precision);
    else
        result.length = form(result, value,
                             style == 'e'   ? std::chars_format::scientific
                             : style == 'f' ? std::chars_format::fixed
                             : style == 'g' ? std::chars_format::general
                                            : std::chars_format::hex,
                             precision);

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
