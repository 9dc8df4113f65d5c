// swscanf: the conversions that read numbers, words, characters and sets, with widths, sizes and
// suppressed assignment.
#define PLINTH_PLATFORM_NO_RUNTIME_NAMES
#include <climits>

#include <tchar.h>

#include "system/text.h"

namespace
{

bool is_space(wchar_t c)
{
    return c == L' ' || (c >= L'\t' && c <= L'\r');
}

struct Directive
{
    bool skip = false; // '*': read and not stored
    size_t width = SIZE_MAX;
    int bits = 32;
    bool narrow = false;
    wchar_t letter = 0;
};

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
            result.width = result.width > 100'000'000
                               ? result.width
                               : result.width * 10 + static_cast<size_t>(*at - L'0');
    }
    bool half = false;
    bool word = false;
    for (;; ++at)
    {
        if (*at == L'h')
        {
            result.bits = half ? 8 : 16;
            half = true;
        }
        else if (*at == L'l')
        {
            result.bits = word ? 64 : 32;
            word = true;
        }
        else if (*at == L'L')
            word = true;
        else if (*at == L'I' && at[1] == L'6' && at[2] == L'4')
        {
            result.bits = 64;
            at += 2;
        }
        else
            break;
    }
    result.letter = *at;
    if (*at)
        ++at;
    if (result.letter == L'S' || result.letter == L'C')
    {
        result.narrow = !word;
        result.letter = result.letter == L'S' ? L's' : L'c';
    }
    else
        result.narrow = half;
    if (word && result.bits == 32)
        result.bits = 33; // 'l': a double for floating point, 32 bits for integers
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
            return integer(directive, 10, true);
        case L'i':
            return integer(directive, 0, true);
        case L'u':
            return integer(directive, 10, false);
        case L'x':
        case L'X':
            return integer(directive, 16, false);
        case L'o':
            return integer(directive, 8, false);
        case L'e':
        case L'f':
        case L'g':
        case L'E':
        case L'G':
            return real(directive);
        case L's':
            skip_space();
            return text(
                directive, [](wchar_t c) { return !is_space(c); }, true);
        case L'c':
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

    // Up to width characters from here that a number may have, terminated.
    size_t number_text(const Directive& directive, char* to, size_t capacity) const
    {
        size_t length = 0;
        while (length < directive.width && length + 1 < capacity && m_text[length] > 0x20 &&
               m_text[length] < 0x7F)
        {
            to[length] = static_cast<char>(m_text[length]);
            ++length;
        }
        to[length] = '\0';
        return length;
    }

    bool integer(const Directive& directive, int radix, bool is_signed)
    {
        skip_space();
        char digits[128];
        number_text(directive, digits, sizeof digits);
        char* end = nullptr;
        const unsigned long long value =
            is_signed ? static_cast<unsigned long long>(std::strtoll(digits, &end, radix))
                      : std::strtoull(digits, &end, radix);
        if (end == digits)
            return false;
        m_text += end - digits;
        if (directive.skip)
            return true;
        switch (directive.bits)
        {
        case 8:
            *va_arg(m_arguments, uint8_t*) = static_cast<uint8_t>(value);
            break;
        case 16:
            *va_arg(m_arguments, uint16_t*) = static_cast<uint16_t>(value);
            break;
        case 64:
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
        wchar_t digits[512];
        size_t length = 0;
        while (length < directive.width && length + 1 < 512 && m_text[length] > 0x20)
        {
            digits[length] = m_text[length];
            ++length;
        }
        digits[length] = L'\0';
        wchar_t* end = nullptr;
        const double value = plinth_crt_wcstod(digits, &end);
        if (end == digits)
            return false;
        m_text += end - digits;
        if (directive.skip)
            return true;
        if (directive.bits > 32)
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
        if (directive.narrow)
        {
            char* const to = va_arg(m_arguments, char*);
            const size_t units = platform::utf8_from_wide(m_text, length, to, SIZE_MAX);
            if (terminate)
                to[units] = '\0';
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

extern "C" int plinth_crt_swscanf(const wchar_t* text, const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    Scanner scanner(text, arguments);
    const int stored = scanner.run(format);
    va_end(arguments);
    return stored;
}
