// The check behind PLINTH_TRACE: reads a format when it is compiled, and what its arguments are.
// Not for use by itself.
#ifndef PLINTH_W32_SYSTEM_INTERNAL_FORMAT_CHECK_H
#define PLINTH_W32_SYSTEM_INTERNAL_FORMAT_CHECK_H

#include <cstddef>
#include <type_traits>

#include "../diagnostics.h"

namespace plinth
{

// Never defined: a constant expression that calls one of these is an error, which shows its name.
namespace trace_format_fault
{
void there_are_fewer_arguments_than_directives();
void there_are_more_arguments_than_directives();
void this_directive_needs_wide_text();
void this_directive_needs_narrow_text();
void this_directive_needs_an_integer_of_up_to_32_bits();
void this_directive_needs_an_integer_of_64_bits();
void this_directive_needs_a_float_or_a_double();
void this_directive_needs_a_pointer();
void this_is_no_directive();
} // namespace trace_format_fault

namespace trace_format
{

enum class Kind
{
    none,
    integer_32,
    integer_64,
    floating,
    wide_text,
    narrow_text,
    pointer
};

template <class Argument> consteval Kind kind_of()
{
    using Plain = std::remove_cv_t<Argument>;
    using Target = std::remove_cv_t<std::remove_pointer_t<Plain>>;
    if constexpr (std::is_integral_v<Plain> || std::is_enum_v<Plain>)
        return sizeof(Plain) <= sizeof(int) ? Kind::integer_32 : Kind::integer_64;
    else if constexpr (std::is_same_v<Plain, float> || std::is_same_v<Plain, double>)
        return Kind::floating;
    else if constexpr (std::is_pointer_v<Plain> && std::is_same_v<Target, wchar_t>)
        return Kind::wide_text;
    else if constexpr (std::is_pointer_v<Plain> && std::is_same_v<Target, char>)
        return Kind::narrow_text;
    else if constexpr (std::is_pointer_v<Plain> || std::is_null_pointer_v<Plain>)
        return Kind::pointer;
    else
        return Kind::none;
}

// Reads the directives of a format and takes one argument's kind for each.
class Reader
{
public:
    constexpr Reader(const wchar_t* format, const Kind* kinds, std::size_t count)
        : m_at(format), m_kinds(kinds), m_count(count)
    {
    }

    constexpr void read()
    {
        for (; *m_at; ++m_at)
        {
            if (*m_at != L'%')
                continue;
            if (*++m_at != L'%')
                directive();
        }
        if (m_taken != m_count)
            trace_format_fault::there_are_more_arguments_than_directives();
    }

private:
    enum class Size
    {
        none,
        half,
        word,
        quad
    };

    static constexpr bool is_one_of(wchar_t c, const wchar_t* set)
    {
        for (; *set; ++set)
            if (c == *set)
                return true;
        return false;
    }

    constexpr Kind take()
    {
        if (m_taken == m_count)
            trace_format_fault::there_are_fewer_arguments_than_directives();
        return m_kinds[m_taken++];
    }

    constexpr void need_32_bits()
    {
        if (take() != Kind::integer_32)
            trace_format_fault::this_directive_needs_an_integer_of_up_to_32_bits();
    }

    constexpr void number()
    {
        if (*m_at == L'*')
        {
            need_32_bits();
            ++m_at;
        }
        while (*m_at >= L'0' && *m_at <= L'9')
            ++m_at;
    }

    constexpr bool skip(wchar_t c)
    {
        if (*m_at != c)
            return false;
        ++m_at;
        return true;
    }

    constexpr Size size()
    {
        constexpr Size pointer_size = sizeof(void*) > sizeof(int) ? Size::quad : Size::word;
        if (skip(L'h'))
            return skip(L'h'), Size::half;
        if (skip(L'l'))
            return skip(L'l') ? Size::quad : Size::word;
        if (skip(L'w'))
            return Size::word;
        if (skip(L'j'))
            return Size::quad;
        if (skip(L'z') || skip(L't'))
            return pointer_size;
        if (!skip(L'I'))
            return skip(L'L'), Size::none;
        if (m_at[0] == L'6' && m_at[1] == L'4')
            return m_at += 2, Size::quad;
        if (m_at[0] == L'3' && m_at[1] == L'2')
            return m_at += 2, Size::word;
        return pointer_size;
    }

    constexpr void text(bool wide)
    {
        const Kind kind = take();
        if (wide && kind != Kind::wide_text)
            trace_format_fault::this_directive_needs_wide_text();
        if (!wide && kind != Kind::narrow_text)
            trace_format_fault::this_directive_needs_narrow_text();
    }

    constexpr void pointer()
    {
        const Kind kind = take();
        if (kind != Kind::pointer && kind != Kind::wide_text && kind != Kind::narrow_text)
            trace_format_fault::this_directive_needs_a_pointer();
    }

    constexpr void integer(Size size)
    {
        if (size != Size::quad)
            need_32_bits();
        else if (take() != Kind::integer_64)
            trace_format_fault::this_directive_needs_an_integer_of_64_bits();
    }

    constexpr void directive()
    {
        while (is_one_of(*m_at, L"-+ #0"))
            ++m_at;
        number();
        if (skip(L'.'))
            number();
        const Size given = size();
        const wchar_t letter = *m_at;
        if (is_one_of(letter, L"diuoxX"))
            integer(given);
        else if (is_one_of(letter, L"eEfFgGaA"))
        {
            if (take() != Kind::floating)
                trace_format_fault::this_directive_needs_a_float_or_a_double();
        }
        else if (is_one_of(letter, L"cC"))
            need_32_bits();
        else if (letter == L's' || letter == L'S')
            text(given == Size::none ? letter == L's' : given != Size::half);
        else if (letter == L'p')
            pointer();
        else
            trace_format_fault::this_is_no_directive();
    }

    const wchar_t* m_at;
    const Kind* m_kinds;
    std::size_t m_count;
    std::size_t m_taken = 0;
};

// A format that fits arguments of these types.
template <class... Arguments> struct Checked
{
    consteval Checked(const wchar_t* format) : text(format)
    {
        constexpr Kind kinds[] = {kind_of<Arguments>()..., Kind::none};
        Reader(format, kinds, sizeof...(Arguments)).read();
    }
    const wchar_t* text;
};

template <class... Arguments>
inline void write(Checked<std::type_identity_t<Arguments>...> format, Arguments... arguments)
{
    DiagOutputExW(format.text, arguments...);
}

} // namespace trace_format

} // namespace plinth

#endif
