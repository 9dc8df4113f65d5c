// The check that PLINTH_TRACE does: it reads a format at compile time, and the types of the
// arguments. Not for direct use.
#ifndef PLINTH_W32_SYSTEM_INTERNAL_FORMAT_CHECK_H
#define PLINTH_W32_SYSTEM_INTERNAL_FORMAT_CHECK_H

#include <cstddef>
#include <type_traits>

#include "../diagnostics.h"

namespace plinth
{

// Never defined: a constant expression that calls one of these fails to compile, and the compiler
// shows the name.
namespace trace_format_fault
{
void ThereAreFewerArgumentsThanDirectives();
void ThereAreMoreArgumentsThanDirectives();
void ThisDirectiveNeedsWideText();
void ThisDirectiveNeedsNarrowText();
void ThisDirectiveNeedsAnIntegerOfUpTo32Bits();
void ThisDirectiveNeedsAnIntegerOf64Bits();
void ThisDirectiveNeedsAFloatOrADouble();
void ThisDirectiveNeedsAPointer();
void ThisIsNoDirective();
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

template <class Argument> consteval Kind KindOf()
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

    constexpr void Read()
    {
        for (; *m_at; ++m_at)
        {
            if (*m_at != L'%')
                continue;
            if (*++m_at != L'%')
                Directive();
        }
        if (m_taken != m_count)
            trace_format_fault::ThereAreMoreArgumentsThanDirectives();
    }

private:
    enum class Size
    {
        none,
        half,
        word,
        quad
    };

    static constexpr bool IsOneOf(wchar_t c, const wchar_t* set)
    {
        for (; *set; ++set)
            if (c == *set)
                return true;
        return false;
    }

    constexpr Kind Take()
    {
        if (m_taken == m_count)
            trace_format_fault::ThereAreFewerArgumentsThanDirectives();
        return m_kinds[m_taken++];
    }

    constexpr void Need32Bits()
    {
        if (Take() != Kind::integer_32)
            trace_format_fault::ThisDirectiveNeedsAnIntegerOfUpTo32Bits();
    }

    constexpr void Number()
    {
        if (*m_at == L'*')
        {
            Need32Bits();
            ++m_at;
        }
        while (*m_at >= L'0' && *m_at <= L'9')
            ++m_at;
    }

    constexpr bool Skip(wchar_t c)
    {
        if (*m_at != c)
            return false;
        ++m_at;
        return true;
    }

    constexpr Size ReadSize()
    {
        constexpr Size pointer_size = sizeof(void*) > sizeof(int) ? Size::quad : Size::word;
        if (Skip(L'h'))
            return Skip(L'h'), Size::half;
        if (Skip(L'l'))
            return Skip(L'l') ? Size::quad : Size::word;
        if (Skip(L'w'))
            return Size::word;
        if (Skip(L'j'))
            return Size::quad;
        if (Skip(L'z') || Skip(L't'))
            return pointer_size;
        if (!Skip(L'I'))
            return Skip(L'L'), Size::none;
        if (m_at[0] == L'6' && m_at[1] == L'4')
            return m_at += 2, Size::quad;
        if (m_at[0] == L'3' && m_at[1] == L'2')
            return m_at += 2, Size::word;
        return pointer_size;
    }

    constexpr void Text(bool wide)
    {
        const Kind kind = Take();
        if (wide && kind != Kind::wide_text)
            trace_format_fault::ThisDirectiveNeedsWideText();
        if (!wide && kind != Kind::narrow_text)
            trace_format_fault::ThisDirectiveNeedsNarrowText();
    }

    constexpr void Pointer()
    {
        const Kind kind = Take();
        if (kind != Kind::pointer && kind != Kind::wide_text && kind != Kind::narrow_text)
            trace_format_fault::ThisDirectiveNeedsAPointer();
    }

    constexpr void Integer(Size size)
    {
        if (size != Size::quad)
            Need32Bits();
        else if (Take() != Kind::integer_64)
            trace_format_fault::ThisDirectiveNeedsAnIntegerOf64Bits();
    }

    constexpr void Directive()
    {
        while (IsOneOf(*m_at, L"-+ #0"))
            ++m_at;
        Number();
        if (Skip(L'.'))
            Number();
        const Size given = ReadSize();
        const wchar_t letter = *m_at;
        if (IsOneOf(letter, L"diuoxX"))
            Integer(given);
        else if (IsOneOf(letter, L"eEfFgGaA"))
        {
            if (Take() != Kind::floating)
                trace_format_fault::ThisDirectiveNeedsAFloatOrADouble();
        }
        else if (IsOneOf(letter, L"cC"))
            Need32Bits();
        else if (letter == L's' || letter == L'S')
            Text(given == Size::none ? letter == L's' : given != Size::half);
        else if (letter == L'p')
            Pointer();
        else
            trace_format_fault::ThisIsNoDirective();
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
        constexpr Kind kinds[] = {KindOf<Arguments>()..., Kind::none};
        Reader(format, kinds, sizeof...(Arguments)).Read();
    }
    const wchar_t* text;
};

template <class... Arguments>
inline void Write(Checked<std::type_identity_t<Arguments>...> format, Arguments... arguments)
{
    DiagOutputExW(format.text, arguments...);
}

} // namespace trace_format

} // namespace plinth

#endif
