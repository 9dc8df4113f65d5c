#include "format.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "format_float.h"
#include "system/text.h"

namespace platform
{

namespace
{

enum class Size : unsigned char
{
    none,
    half_half, // hh: 8 bits
    half,      // h: 16 bits, or a narrow text
    word,      // l, w: 32 bits, or a wide text
    quad,      // ll, I64, j
    native,    // I, z, t: as large as a pointer
    extended   // L: a long double, which has 80 bits here
};

struct Conversion
{
    bool left = false;
    bool plus = false;
    bool space = false;
    bool alternate = false;
    bool zero = false;
    int width = 0;
    int precision = -1; // none given
    Size size = Size::none;
    char letter = 0;
};

constexpr int field_limit = 100'000'000; // of a width or precision; larger ones are invalid

template <class Char> class Sink
{
public:
    Sink(Char* buffer, size_t capacity) : m_buffer(buffer), m_capacity(capacity) {}

    void put(Char c)
    {
        if (m_length < m_capacity)
            m_buffer[m_length] = c;
        ++m_length;
    }
    void repeat(Char c, size_t count)
    {
        const size_t room = m_length < m_capacity ? m_capacity - m_length : 0;
        std::fill_n(m_buffer + std::min(m_length, m_capacity), std::min(count, room), c);
        m_length += count;
    }
    void text(const Char* from, size_t count)
    {
        const size_t room = m_length < m_capacity ? m_capacity - m_length : 0;
        std::copy_n(from, std::min(count, room), m_buffer + std::min(m_length, m_capacity));
        m_length += count;
    }
    void ascii(const char* from, size_t count)
    {
        const size_t room = m_length < m_capacity ? m_capacity - m_length : 0;
        Char* const to = m_buffer + std::min(m_length, m_capacity);
        for (size_t i = 0; i < std::min(count, room); ++i)
            to[i] = static_cast<Char>(static_cast<unsigned char>(from[i]));
        m_length += count;
    }
    size_t length() const { return m_length; }

private:
    Char* const m_buffer;
    const size_t m_capacity;
    size_t m_length = 0;
};

// An argument list by reference, even where va_list is an array.
struct Arguments
{
    va_list list;
    bool of_runtime; // false: for the user interface's functions, which know less
};

// ---------------------------------------------------------------------------------- directives --

template <class Char> int take_number(const Char*& at)
{
    int64_t value = 0;
    for (; *at >= '0' && *at <= '9'; ++at)
        value = std::min<int64_t>(value * 10 + (*at - '0'), field_limit);
    return static_cast<int>(value);
}

template <class Char> void take_flags(const Char*& at, Conversion& to, bool of_runtime)
{
    for (;; ++at)
        switch (*at)
        {
        case '-':
            to.left = true;
            break;
        case '+':
        case ' ':
            if (!of_runtime)
                return;
            (*at == '+' ? to.plus : to.space) = true;
            break;
        case '#':
            to.alternate = true;
            break;
        case '0':
            to.zero = true;
            break;
        default:
            return;
        }
}

template <class Char> Size take_size(const Char*& at, bool of_runtime)
{
    if (!of_runtime && *at != 'I')
    {
        const bool is_half = *at == 'h';
        if (!is_half && *at != 'l' && *at != 'w')
            return Size::none;
        ++at;
        return is_half ? Size::half : Size::word;
    }
    switch (*at)
    {
    case 'h':
        if (*++at != 'h')
            return Size::half;
        ++at;
        return Size::half_half;
    case 'l':
        if (*++at != 'l')
            return Size::word;
        ++at;
        return Size::quad;
    case 'w':
        ++at;
        return Size::word;
    case 'j':
        ++at;
        return Size::quad;
    case 'z':
    case 't':
        ++at;
        return Size::native;
    case 'L':
        ++at;
        return Size::extended;
    case 'I':
        if (at[1] == '6' && at[2] == '4')
        {
            at += 3;
            return Size::quad;
        }
        if (at[1] == '3' && at[2] == '2')
        {
            at += 3;
            return Size::word;
        }
        ++at;
        return Size::native;
    default:
        return Size::none;
    }
}

// Reads a directive after its '%'. The letter is 0 at the end of the format, or if the characters
// are no directive: they are then shown as text.
template <class Char> Conversion take_conversion(const Char*& at, Arguments& arguments)
{
    Conversion result;
    const bool of_runtime = arguments.of_runtime;
    take_flags(at, result, of_runtime);
    if (of_runtime && *at == '*')
    {
        ++at;
        const int width = va_arg(arguments.list, int);
        result.left |= width < 0;
        result.width = width < 0 ? (width < -field_limit ? field_limit : -width)
                                 : std::min(width, field_limit);
    }
    else
        result.width = take_number(at);
    if (*at == '.')
    {
        ++at;
        if (of_runtime && *at == '*')
        {
            ++at;
            result.precision = std::min(va_arg(arguments.list, int), field_limit);
        }
        else
            result.precision = take_number(at);
    }
    result.size = take_size(at, of_runtime);
    if (*at && (*at & ~0x7F) == 0)
        result.letter = static_cast<char>(*at++);
    return result;
}

// -------------------------------------------------------------------------------------- fields --

template <class Char> void pad(Sink<Char>& sink, Char c, int width, size_t length)
{
    if (width > 0 && static_cast<size_t>(width) > length)
        sink.repeat(c, static_cast<size_t>(width) - length);
}

// A number: sign or prefix, zeros, digits, in a field.
template <class Char>
void put_number(Sink<Char>& sink, const Conversion& how, const char* prefix, size_t prefix_length,
                size_t zeros, const char* digits, size_t count)
{
    const size_t length = prefix_length + zeros + count;
    if (!how.left)
        pad(sink, Char(' '), how.width, length);
    sink.ascii(prefix, prefix_length);
    sink.repeat(Char('0'), zeros);
    sink.ascii(digits, count);
    if (how.left)
        pad(sink, Char(' '), how.width, length);
}

uint64_t take_unsigned(Size size, Arguments& arguments)
{
    switch (size)
    {
    case Size::quad:
    case Size::native:
        return va_arg(arguments.list, uint64_t);
    case Size::half:
        return static_cast<uint16_t>(va_arg(arguments.list, unsigned));
    case Size::half_half:
        return static_cast<uint8_t>(va_arg(arguments.list, unsigned));
    default:
        return va_arg(arguments.list, unsigned);
    }
}

int64_t take_signed(Size size, Arguments& arguments)
{
    switch (size)
    {
    case Size::quad:
    case Size::native:
        return va_arg(arguments.list, int64_t);
    case Size::half:
        return static_cast<int16_t>(va_arg(arguments.list, int));
    case Size::half_half:
        return static_cast<int8_t>(va_arg(arguments.list, int));
    default:
        return va_arg(arguments.list, int);
    }
}

// Writes digits backwards from end and returns the first. radix is a constant, as a division by a
// constant is a few times faster than one by a variable.
template <unsigned radix> char* put_digits(char* end, uint64_t value, const char* symbols)
{
    for (; value; value /= radix)
        *--end = symbols[value % radix];
    return end;
}

template <class Char> void put_integer(Sink<Char>& sink, Conversion how, Arguments& arguments)
{
    char prefix[2];
    size_t prefix_length = 0;
    uint64_t value = 0;
    unsigned radix = 10;
    const char* symbols = "0123456789abcdef";
    switch (how.letter)
    {
    case 'd':
    case 'i':
    {
        const int64_t number = take_signed(how.size, arguments);
        value = number < 0 ? 0 - static_cast<uint64_t>(number) : static_cast<uint64_t>(number);
        if (number < 0)
            prefix[prefix_length++] = '-';
        else if (how.plus)
            prefix[prefix_length++] = '+';
        else if (how.space)
            prefix[prefix_length++] = ' ';
        break;
    }
    case 'p':
        // As the system shows pointers: all digits, upper case.
        how.size = Size::quad;
        how.precision = 16;
        symbols = "0123456789ABCDEF";
        radix = 16;
        value = take_unsigned(how.size, arguments);
        break;
    case 'X':
        symbols = "0123456789ABCDEF";
        [[fallthrough]];
    case 'x':
        radix = 16;
        value = take_unsigned(how.size, arguments);
        if (how.alternate && value)
        {
            prefix[prefix_length++] = '0';
            prefix[prefix_length++] = how.letter;
        }
        break;
    case 'o':
        radix = 8;
        value = take_unsigned(how.size, arguments);
        break;
    default:
        value = take_unsigned(how.size, arguments);
    }

    char digits[24];
    char* const end = digits + sizeof digits;
    char* first = radix == 10   ? put_digits<10>(end, value, symbols)
                  : radix == 16 ? put_digits<16>(end, value, symbols)
                                : put_digits<8>(end, value, symbols);
    size_t count = static_cast<size_t>(end - first);
    if (count == 0 && how.precision != 0)
    {
        *--first = '0';
        count = 1;
    }
    if (how.letter == 'o' && how.alternate && (count == 0 || *first != '0'))
    {
        *--first = '0';
        ++count;
    }
    size_t zeros = 0;
    if (how.precision >= 0)
        zeros = static_cast<size_t>(how.precision) > count
                    ? static_cast<size_t>(how.precision) - count
                    : 0;
    else if (how.zero && !how.left && static_cast<size_t>(how.width) > prefix_length + count)
        zeros = static_cast<size_t>(how.width) - prefix_length - count;
    put_number(sink, how, prefix, prefix_length, zeros, first, count);
}

template <class Char> void put_float(Sink<Char>& sink, const Conversion& how, Arguments& arguments)
{
    // A long double is shown with the digits of a double, which it is on the system.
    const double value = how.size == Size::extended
                             ? static_cast<double>(va_arg(arguments.list, long double))
                             : va_arg(arguments.list, double);
    FloatText digits;
    form_float(value, how.letter, how.precision, how.alternate, digits);
    char prefix[3];
    size_t prefix_length = 0;
    if (std::signbit(value))
        prefix[prefix_length++] = '-';
    else if (how.plus)
        prefix[prefix_length++] = '+';
    else if (how.space)
        prefix[prefix_length++] = ' ';
    for (const char* at = digits.prefix; *at; ++at)
        prefix[prefix_length++] = *at;

    const size_t length = prefix_length + digits.length + digits.zeros;
    const bool zero_filled = how.zero && !how.left && digits.finite;
    if (!how.left && !zero_filled)
        pad(sink, Char(' '), how.width, length);
    sink.ascii(prefix, prefix_length);
    if (zero_filled)
        pad(sink, Char('0'), how.width, length);
    sink.ascii(digits.text, digits.zeros_at);
    sink.repeat(Char('0'), digits.zeros);
    sink.ascii(digits.text + digits.zeros_at, digits.length - digits.zeros_at);
    if (how.left)
        pad(sink, Char(' '), how.width, length);
}

// How many units of a text count: as far as its end and the precision. Nothing is read beyond
// either.
template <class Unit> size_t bounded_length(const Unit* text, int precision)
{
    const size_t limit = precision < 0 ? SIZE_MAX : static_cast<size_t>(precision);
    if constexpr (sizeof(Unit) == sizeof(wchar_t))
        return wide_length_within(text, limit);
    else
        return precision < 0 ? std::strlen(text) : strnlen(text, limit);
}

template <class Char>
void put_own_text(Sink<Char>& sink, const Conversion& how, const Char* text, size_t length)
{
    if (!how.left)
        pad(sink, Char(how.zero ? '0' : ' '), how.width, length);
    sink.text(text, length);
    if (how.left)
        pad(sink, Char(' '), how.width, length);
}

size_t convert(const char* text, size_t length, wchar_t* to, size_t capacity, size_t* written)
{
    return wide_from_utf8(text, length, to, capacity, written);
}

size_t convert(const wchar_t* text, size_t length, char* to, size_t capacity, size_t* written)
{
    return utf8_from_wide(text, length, to, capacity, written);
}

// Where a text may be divided, at a place or shortly after it, so that no character is split. A
// UTF-8 character has at most three bytes after its first; each further one is an error of its own.
size_t part_behind(const char* text, size_t place, size_t length)
{
    size_t end = std::min(length, place);
    while (end < length && end < place + 3 &&
           (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
        ++end;
    return end;
}

size_t part_behind(const wchar_t* text, size_t place, size_t length)
{
    size_t end = std::min(length, place);
    if (end > 0 && end < length && (text[end - 1] & 0xFC00) == 0xD800)
        ++end;
    return end;
}

// A text's length without a character that the precision has cut in its middle.
size_t whole_characters(const char* text, size_t length)
{
    for (size_t behind = 1; behind <= 3 && behind <= length; ++behind)
    {
        const unsigned unit = static_cast<unsigned char>(text[length - behind]);
        if (unit >= 0xC0)
        {
            const size_t whole = unit < 0xE0 ? 2 : unit < 0xF0 ? 3 : 4;
            return behind < whole ? length - behind : length;
        }
        if (unit < 0x80)
            break;
    }
    return length;
}

size_t whole_characters(const wchar_t* text, size_t length)
{
    return length > 0 && (text[length - 1] & 0xFC00) == 0xD800 ? length - 1 : length;
}

// A text of the other width. Converted in pieces on the stack, so that no text is too long.
template <class Char, class Other>
void put_other_text(Sink<Char>& sink, const Conversion& how, const Other* text, size_t length)
{
    // Only a field needs to know the length in advance.
    const size_t shown =
        how.width > 0 ? convert(text, length, static_cast<Char*>(nullptr), 0, nullptr) : 0;
    if (!how.left)
        pad(sink, Char(how.zero ? '0' : ' '), how.width, shown);
    constexpr size_t piece = 64;
    for (size_t at = 0; at < length;)
    {
        const size_t end = part_behind(text, at + piece, length);
        Char buffer[(piece + 3) * 3]; // a 16-bit unit has at most three bytes
        size_t written = 0;
        convert(text + at, end - at, buffer, sizeof buffer / sizeof *buffer, &written);
        sink.text(buffer, written);
        at = end;
    }
    if (how.left)
        pad(sink, Char(' '), how.width, shown);
}

template <class Char> bool is_wide(const Conversion& how)
{
    const bool own = sizeof(Char) == sizeof(wchar_t);
    if (how.size == Size::half)
        return false;
    if (how.size == Size::word)
        return true;
    return how.letter == 's' || how.letter == 'c' ? own : !own;
}

template <class Char, class Unit>
void put_text(Sink<Char>& sink, const Conversion& how, const Unit* text)
{
    static constexpr Char null_text[] = {'(', 'n', 'u', 'l', 'l', ')', 0};
    if (!text)
        put_own_text(sink, how, null_text, bounded_length(null_text, how.precision));
    else if constexpr (sizeof(Char) == sizeof(Unit))
        put_own_text(sink, how, text, bounded_length(text, how.precision));
    else
    {
        size_t length = bounded_length(text, how.precision);
        if (how.precision >= 0 && length == static_cast<size_t>(how.precision))
            length = whole_characters(text, length);
        put_other_text(sink, how, text, length);
    }
}

template <class Char>
void put_character(Sink<Char>& sink, const Conversion& how, Arguments& arguments)
{
    const int value = va_arg(arguments.list, int);
    if (is_wide<Char>(how) == (sizeof(Char) == sizeof(wchar_t)))
    {
        const Char own = static_cast<Char>(value);
        put_own_text(sink, how, &own, 1);
    }
    else
    {
        using Other = std::conditional_t<sizeof(Char) == sizeof(wchar_t), char, wchar_t>;
        const Other other = static_cast<Other>(value);
        put_other_text(sink, how, &other, 1);
    }
}

template <class Char>
void put_conversion(Sink<Char>& sink, const Conversion& how, Arguments& arguments)
{
    if (!arguments.of_runtime && !std::strchr("cCdipsSuxX", how.letter))
    {
        sink.put(static_cast<Char>(how.letter));
        return;
    }
    switch (how.letter)
    {
    case 'd':
    case 'i':
    case 'u':
    case 'o':
    case 'x':
    case 'X':
    case 'p':
        put_integer(sink, how, arguments);
        break;
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
        put_float(sink, how, arguments);
        break;
    case 's':
    case 'S':
        if (is_wide<Char>(how))
            put_text(sink, how, va_arg(arguments.list, const wchar_t*));
        else
            put_text(sink, how, va_arg(arguments.list, const char*));
        break;
    case 'c':
    case 'C':
        put_character(sink, how, arguments);
        break;
    case 'n':
        va_arg(arguments.list, void*); // its argument is skipped; nothing is written
        break;
    default:
        sink.put(static_cast<Char>(how.letter)); // also "%%"
    }
}

// How many characters come before the next directive, or the end.
template <class Char> size_t plain_length(const Char* text)
{
    if constexpr (sizeof(Char) == sizeof(wchar_t))
        return wide_length_before(text, L'%');
    else
    {
        const Char* at = text;
        while (*at && *at != '%')
            ++at;
        return static_cast<size_t>(at - text);
    }
}

// "%d" without anything else, which is the commonest directive: a third of what the general way
// takes.
template <class Char> void put_plain_int(Sink<Char>& sink, int value)
{
    char digits[12];
    char* const end = digits + sizeof digits;
    const auto number = static_cast<uint32_t>(value);
    uint32_t rest = value < 0 ? 0 - number : number;
    char* first = end;
    do
        *--first = static_cast<char>('0' + rest % 10);
    while (rest /= 10);
    if (value < 0)
        *--first = '-';
    sink.ascii(first, static_cast<size_t>(end - first));
}

} // namespace

template <class Char>
size_t format_text(Char* buffer, size_t capacity, const Char* format, va_list list,
                   FormatFamily family)
{
    Sink<Char> sink(buffer, capacity);
    Arguments arguments;
    arguments.of_runtime = family == FormatFamily::runtime;
    va_copy(arguments.list, list);
    for (const Char* at = format; *at;)
    {
        const size_t plain = plain_length(at);
        sink.text(at, plain);
        at += plain;
        if (!*at)
            break;
        ++at;
        if (*at == 'd')
        {
            ++at;
            put_plain_int(sink, va_arg(arguments.list, int));
            continue;
        }
        const Conversion how = take_conversion(at, arguments);
        if (how.letter)
            put_conversion(sink, how, arguments);
    }
    va_end(arguments.list);
    return sink.length();
}

template size_t format_text<char>(char*, size_t, const char*, va_list, FormatFamily);
template size_t format_text<wchar_t>(wchar_t*, size_t, const wchar_t*, va_list, FormatFamily);

} // namespace platform
