// swscanf: the conversions that read numbers, words, characters and sets, with widths, sizes and
// suppressed assignment.
#define PLINTH_PLATFORM_NO_RUNTIME_NAMES
#include <algorithm>

#include <tchar.h>

#include "number.h"
#include "system/text.h"

using namespace platform;

namespace
{

enum class Size : unsigned char
{
    none,
    half_half, // 8 bits
    half,      // 16 bits, or a narrow text
    word,      // l: 32 bits, a double, or a wide text
    quad,      // 64 bits, or a double
    extended   // L: a long double, which has 80 bits here
};

struct Directive
{
    bool skip = false;       // '*': read but not stored
    size_t width = SIZE_MAX; // none given
    Size size = Size::none;
    wchar_t letter = 0;

    bool is_narrow() const
    {
        const bool other = letter == L'S' || letter == L'C';
        return size == Size::half || (other && size != Size::word);
    }
};

constexpr size_t width_limit = 100'000'000; // larger ones are invalid

Size take_size(const wchar_t*& at)
{
    switch (*at)
    {
    case L'h':
        if (*++at != L'h')
            return Size::half;
        ++at;
        return Size::half_half;
    case L'l':
        if (*++at != L'l')
            return Size::word;
        ++at;
        return Size::quad;
    case L'w':
        ++at;
        return Size::word;
    case L'L':
        ++at;
        return Size::extended;
    case L'I':
        if (at[1] == L'3' && at[2] == L'2')
        {
            at += 3;
            return Size::word;
        }
        at += at[1] == L'6' && at[2] == L'4' ? 3 : 1;
        return Size::quad;
    case L'j':
    case L'z':
    case L't':
        ++at;
        return Size::quad;
    default:
        return Size::none;
    }
}

Directive take_directive(const wchar_t*& at)
{
    Directive result;
    if (*at == L'*')
    {
        result.skip = true;
        ++at;
    }
    if (*at >= L'0' && *at <= L'9')
    {
        result.width = 0;
        for (; *at >= L'0' && *at <= L'9'; ++at)
            result.width =
                std::min(result.width * 10 + static_cast<size_t>(*at - L'0'), width_limit);
    }
    result.size = take_size(at);
    result.letter = *at;
    if (*at)
        ++at;
    return result;
}

class Scanner
{
public:
    Scanner(const wchar_t* text, va_list arguments) : m_text(text), m_start(text)
    {
        va_copy(m_arguments, arguments);
    }
    ~Scanner() { va_end(m_arguments); }

    int run(const wchar_t* format)
    {
        for (const wchar_t* at = format; *at;)
        {
            if (is_space(*at))
            {
                skip_space();
                ++at;
            }
            else if (*at != L'%' || at[1] == L'%')
            {
                at += *at == L'%';
                if (*m_text != *at)
                    return result();
                ++m_text;
                ++at;
            }
            else
            {
                ++at;
                const Directive directive = take_directive(at);
                if (!convert(directive, at))
                    return result();
            }
        }
        return m_stored;
    }

private:
    int result() const { return m_stored == 0 && !*m_text ? EOF : m_stored; }

    void skip_space()
    {
        while (is_space(*m_text))
            ++m_text;
    }

    bool convert(const Directive& directive, const wchar_t*& format)
    {
        switch (directive.letter)
        {
        case L'd':
        case L'u':
            return integer(directive, 10);
        case L'i':
            return integer(directive, 0);
        case L'x':
        case L'X':
            return integer(directive, 16);
        case L'o':
            return integer(directive, 8);
        case L'a':
        case L'e':
        case L'f':
        case L'g':
        case L'A':
        case L'E':
        case L'F':
        case L'G':
            return real(directive);
        case L's':
        case L'S':
            skip_space();
            return text(
                directive, [](wchar_t c) { return !is_space(c); }, true);
        case L'c':
        case L'C':
        {
            Directive one = directive;
            if (one.width == SIZE_MAX)
                one.width = 1;
            return text(
                one, [](wchar_t) { return true; }, false);
        }
        case L'[':
            return set(directive, format);
        case L'n':
            if (!directive.skip)
                *va_arg(m_arguments, int*) = static_cast<int>(m_text - m_start);
            return true;
        default:
            return false;
        }
    }

    bool integer(const Directive& directive, unsigned radix)
    {
        skip_space();
        const ParsedInteger parsed = parse_integer(m_text, directive.width, radix);
        if (parsed.length == 0)
            return false;
        m_text += parsed.length;
        if (directive.skip)
            return true;
        // A number beyond 64 bits saturates; a smaller variable gets the low bits.
        const uint64_t magnitude = parsed.overflow ? UINT64_MAX : parsed.magnitude;
        const uint64_t value = parsed.negative ? 0 - magnitude : magnitude;
        switch (directive.size)
        {
        case Size::half_half:
            *va_arg(m_arguments, uint8_t*) = static_cast<uint8_t>(value);
            break;
        case Size::half:
            *va_arg(m_arguments, uint16_t*) = static_cast<uint16_t>(value);
            break;
        case Size::quad:
        case Size::extended:
            *va_arg(m_arguments, uint64_t*) = value;
            break;
        default:
            *va_arg(m_arguments, uint32_t*) = static_cast<uint32_t>(value);
        }
        ++m_stored;
        return true;
    }

    bool real(const Directive& directive)
    {
        skip_space();
        double value = 0;
        const size_t length = parse_double(m_text, directive.width, value);
        if (length == 0)
            return false;
        m_text += length;
        if (directive.skip)
            return true;
        if (directive.size == Size::extended)
            *va_arg(m_arguments, long double*) = value;
        else if (directive.size == Size::word || directive.size == Size::quad)
            *va_arg(m_arguments, double*) = value;
        else
            *va_arg(m_arguments, float*) = static_cast<float>(value);
        ++m_stored;
        return true;
    }

    template <class Accepts> bool text(const Directive& directive, Accepts accepts, bool terminate)
    {
        size_t length = 0;
        while (length < directive.width && m_text[length] && accepts(m_text[length]))
            ++length;
        if (length == 0 || (!terminate && length < directive.width))
            return false;
        if (!directive.skip)
        {
            store(directive, length, terminate);
            ++m_stored;
        }
        m_text += length;
        return true;
    }

    void store(const Directive& directive, size_t length, bool terminate)
    {
        if (directive.is_narrow())
        {
            // The width is the caller's room: it limits the bytes, too.
            char* const to = va_arg(m_arguments, char*);
            size_t written = 0;
            utf8_from_wide(m_text, length, to, directive.width, &written);
            if (terminate)
                to[written] = '\0';
            return;
        }
        wchar_t* const to = va_arg(m_arguments, wchar_t*);
        plinth_crt_wmemcpy(to, m_text, length);
        if (terminate)
            to[length] = L'\0';
    }

    bool set(const Directive& directive, const wchar_t*& format)
    {
        const bool inverted = *format == L'^';
        format += inverted;
        const wchar_t* const first = format;
        if (*format == L']')
            ++format;
        while (*format && *format != L']')
            ++format;
        const wchar_t* const last = format;
        if (*format)
            ++format;
        return text(
            directive,
            [=](wchar_t c)
            {
                bool found = false;
                for (const wchar_t* at = first; at < last; ++at)
                    if (at + 2 < last && at[1] == L'-')
                    {
                        found |= c >= at[0] && c <= at[2];
                        at += 2;
                    }
                    else
                        found |= c == *at;
                return found != inverted;
            },
            true);
    }

    const wchar_t* m_text;
    const wchar_t* const m_start;
    va_list m_arguments;
    int m_stored = 0;
};

} // namespace

extern "C" int plinth_crt_vswscanf(const wchar_t* text, const wchar_t* format, va_list arguments)
{
    Scanner scanner(text, arguments);
    return scanner.run(format);
}

extern "C" int plinth_crt_swscanf(const wchar_t* text, const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int stored = plinth_crt_vswscanf(text, format, arguments);
    va_end(arguments);
    return stored;
}
