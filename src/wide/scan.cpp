// wscanf and related functions. The units that a directive can use are taken from the stream one by
// one, as the C library does; the runtime's swscanf then converts them. Finding the end of a text
// needs one unit too many; it is put back for the next reader.
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cwchar>
#include <cwctype>
#include <new>
#include <vector>

#define PLINTH_PLATFORM_NO_RUNTIME_NAMES
#include <tchar.h>

#include "streams.h"

using plinth_wide::read_unit;
using plinth_wide::unread_unit;

namespace
{

using Text = std::vector<wchar_t>; // has a terminator only where a comment or code adds one

bool is_one_of(wint_t unit, const char* set)
{
    for (; *set; ++set)
        if (unit == static_cast<wint_t>(*set))
            return true;
    return false;
}

bool is_digit(wint_t unit, unsigned radix)
{
    const wint_t value = unit >= L'0' && unit <= L'9' ? unit - L'0' : (unit | 0x20) - L'a' + 10;
    return value < radix;
}

// One directive of a format, without its '%' and its '*'.
struct Directive
{
    bool skip = false; // '*': converted and not stored
    size_t width = SIZE_MAX;
    wchar_t letter = 0;
    Text text;

    explicit Directive(const wchar_t*& at)
    {
        if (*at == L'*')
        {
            skip = true;
            ++at;
        }
        const wchar_t* const first = at;
        if (is_digit(*at, 10))
            for (width = 0; is_digit(*at, 10); ++at)
                width = width < SIZE_MAX / 100 ? width * 10 + (*at - L'0') : width;
        while (*at && is_one_of(*at, "hlLjztwI0123456789"))
            ++at;
        letter = *at;
        at += *at != 0;
        if (letter == L'[')
        {
            at += *at == L'^';
            at += *at == L']';
            while (*at && *at != L']')
                ++at;
            at += *at != 0;
        }
        text.assign(first, at);
    }

    // The format for swscanf, which ends in "%n".
    Text format(bool stored) const
    {
        Text result{L'%'};
        if (!stored)
            result.push_back(L'*');
        result.insert(result.end(), text.begin(), text.end());
        for (const wchar_t c : {L'%', L'n', L'\0'})
            result.push_back(c);
        return result;
    }

    // How many units of the text the directive uses.
    size_t used(Text item) const
    {
        int count = 0;
        item.push_back(L'\0');
        plinth_crt_swscanf(item.data(), format(false).data(), &count);
        return static_cast<size_t>(count);
    }
};

// Whether a number that begins with the item may continue with the unit.
class Number
{
public:
    explicit Number(wchar_t letter) : m_real(is_one_of(letter, "aefgAEFG"))
    {
        if (is_one_of(letter, "xXo"))
            m_radix = letter == L'o' ? 8 : 16;
        m_prefix = m_real || is_one_of(letter, "ixX");
        m_any_radix = letter == L'i';
    }

    bool takes(wint_t unit)
    {
        if (m_count == 0 && is_one_of(unit, "+-") && !m_signed)
        {
            m_signed = true;
            return true;
        }
        const bool good = m_word ? takes_of_word(unit) : takes_of_digits(unit);
        m_count += good;
        return good;
    }

private:
    bool takes_of_word(wint_t unit)
    {
        return m_word[m_count] && (unit | 0x20) == static_cast<wint_t>(m_word[m_count]);
    }

    bool takes_of_digits(wint_t unit)
    {
        const wint_t small = unit | 0x20;
        if (m_after_exponent && is_one_of(unit, "+-"))
        {
            m_after_exponent = false;
            return true;
        }
        if (is_digit(unit, m_exponent ? 10 : m_radix))
        {
            m_after_exponent = false;
            m_zero = m_count == 0 && unit == L'0';
            if (m_zero && m_any_radix)
                m_radix = 8; // unless an "x" follows
            m_digits = true;
            return true;
        }
        if (small == L'x' && m_prefix && m_zero)
        {
            m_zero = m_digits = false;
            m_prefix = false;
            m_radix = 16;
            return true;
        }
        return m_real && takes_of_real(unit, small);
    }

    bool takes_of_real(wint_t unit, wint_t small)
    {
        if (unit == L'.' && !m_point && !m_exponent)
        {
            m_point = true;
            return true;
        }
        if (small == static_cast<wint_t>(m_radix == 16 ? L'p' : L'e') && m_digits && !m_exponent)
        {
            m_exponent = m_after_exponent = true;
            return true;
        }
        if (m_count == 0 && is_one_of(small, "in"))
            m_word = small == L'i' ? "infinity" : "nan";
        return m_word != nullptr;
    }

    const bool m_real;
    bool m_prefix;    // "0x" may follow
    bool m_any_radix; // the first characters decide the radix
    unsigned m_radix = 10;
    const char* m_word = nullptr; // the word ("nan" ...) that it is instead of digits
    size_t m_count = 0;           // without the sign
    bool m_signed = false;
    bool m_zero = false; // it is "0" until now
    bool m_digits = false;
    bool m_point = false;
    bool m_exponent = false;
    bool m_after_exponent = false; // the exponent's letter was the last unit
};

class Scan
{
public:
    Scan(std::FILE* stream, va_list arguments) : m_stream(stream)
    {
        ::flockfile(stream);
        va_copy(m_arguments, arguments);
    }
    ~Scan()
    {
        if (m_has_next && m_next != WEOF)
            unread_unit(m_stream, m_next);
        va_end(m_arguments);
        ::funlockfile(m_stream);
    }
    Scan(const Scan&) = delete;
    Scan& operator=(const Scan&) = delete;

    int run(const wchar_t* at)
    {
        while (*at)
        {
            if (::iswspace(*at))
            {
                skip_space();
                ++at;
                continue;
            }
            if (*at != L'%' || at[1] == L'%')
            {
                at += *at == L'%';
                if (peek() != *at)
                    return result(false);
                take();
                ++at;
                continue;
            }
            const Directive directive(++at);
            bool taken = false;
            if (!convert(directive, taken))
                return result(taken);
        }
        return m_stored;
    }

private:
    // EOF if the stream ended before anything was converted.
    int result(bool taken) { return m_stored == 0 && !taken && peek() == WEOF ? EOF : m_stored; }

    wint_t peek()
    {
        if (!m_has_next)
            m_next = read_unit(m_stream);
        m_has_next = true;
        return m_next;
    }
    wchar_t take()
    {
        m_has_next = false;
        ++m_count;
        return static_cast<wchar_t>(m_next);
    }

    void skip_space()
    {
        while (peek() != WEOF && ::iswspace(peek()))
            take();
    }

    template <class Accepts> Text take_while(size_t width, Accepts accepts)
    {
        Text item;
        while (item.size() < width && peek() != WEOF && accepts(peek()))
            item.push_back(take());
        return item;
    }

    Text take_item(const Directive& directive)
    {
        const wchar_t letter = directive.letter;
        if (is_one_of(letter, "cC"))
            return take_while(directive.width == SIZE_MAX ? 1 : directive.width,
                              [](wint_t) { return true; });
        if (letter == L'[')
        {
            Directive one = directive;
            one.width = 1;
            return take_while(directive.width, [&](wint_t unit)
                              { return directive.used({static_cast<wchar_t>(unit)}) == 1; });
        }
        skip_space();
        if (is_one_of(letter, "sS"))
            return take_while(directive.width, [](wint_t unit) { return !::iswspace(unit); });
        Number number(letter);
        return take_while(directive.width, [&](wint_t unit) { return number.takes(unit); });
    }

    // taken: whether units were taken from the stream, even if they didn't match.
    bool convert(const Directive& directive, bool& taken)
    {
        if (directive.letter == L'n')
        {
            if (!directive.skip)
                *va_arg(m_arguments, int*) = m_count;
            return true;
        }
        if (!is_one_of(directive.letter, "duixXoaefgAEFGsScC["))
            return false;
        Text item = take_item(directive);
        // Units that were taken are lost even if they are no complete number, such as "1e+".
        taken = !item.empty();
        if (!taken || directive.used(item) != item.size())
            return false;
        if (directive.skip)
            return true;
        int used = 0;
        item.push_back(L'\0');
        void* const target = va_arg(m_arguments, void*);
        m_stored += plinth_crt_swscanf(item.data(), directive.format(true).data(), target, &used);
        return true;
    }

    std::FILE* const m_stream;
    va_list m_arguments;
    wint_t m_next = WEOF;
    bool m_has_next = false;
    int m_count = 0; // units taken
    int m_stored = 0;
};

int scan(std::FILE* stream, const wchar_t* format, va_list arguments)
{
    try
    {
        return Scan(stream, arguments).run(format);
    }
    catch (const std::bad_alloc&)
    {
        errno = ENOMEM;
        return EOF;
    }
}

} // namespace

// The headers map the plain names to other symbols; all are defined here.
#define PLINTH_SCAN_STREAM(prefix)                                                                 \
    extern "C"                                                                                     \
    {                                                                                              \
        int plinth_wide##prefix##vfscan(FILE*, const wchar_t*,                                     \
                                        va_list) __asm__(#prefix "vfwscanf");                      \
        int plinth_wide##prefix##vscan(const wchar_t*, va_list) __asm__(#prefix "vwscanf");        \
        int plinth_wide##prefix##fscan(FILE*, const wchar_t*, ...) __asm__(#prefix "fwscanf");     \
        int plinth_wide##prefix##tscan(const wchar_t*, ...) __asm__(#prefix "wscanf");             \
    }                                                                                              \
    int plinth_wide##prefix##vfscan(FILE* stream, const wchar_t* format, va_list arguments)        \
    {                                                                                              \
        return scan(stream, format, arguments);                                                    \
    }                                                                                              \
    int plinth_wide##prefix##vscan(const wchar_t* format, va_list arguments)                       \
    {                                                                                              \
        return scan(stdin, format, arguments);                                                     \
    }                                                                                              \
    int plinth_wide##prefix##fscan(FILE* stream, const wchar_t* format, ...)                       \
    {                                                                                              \
        va_list arguments;                                                                         \
        va_start(arguments, format);                                                               \
        const int stored = scan(stream, format, arguments);                                        \
        va_end(arguments);                                                                         \
        return stored;                                                                             \
    }                                                                                              \
    int plinth_wide##prefix##tscan(const wchar_t* format, ...)                                     \
    {                                                                                              \
        va_list arguments;                                                                         \
        va_start(arguments, format);                                                               \
        const int stored = scan(stdin, format, arguments);                                         \
        va_end(arguments);                                                                         \
        return stored;                                                                             \
    }
PLINTH_SCAN_STREAM()
PLINTH_SCAN_STREAM(__isoc99_)
PLINTH_SCAN_STREAM(__isoc23_)
