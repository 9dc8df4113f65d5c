// Reads numbers from 16-bit text. A number is ASCII, so the C library reads a narrow copy of it,
// with the types of this system, where long has 64 bits, and by the program's locale.
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>

#include <wchar.h>

namespace
{

constexpr bool is_space(wchar_t c)
{
    return c == L' ' || (c >= L'\t' && c <= L'\r');
}
constexpr bool can_be_in_number(wchar_t c)
{
    return c > L' ' && c < 0x7F;
}

// read(text, &end) is the narrow function.
template <class Number, class Read>
Number read_number(const wchar_t* text, wchar_t** end, Read read)
{
    const wchar_t* const first = [text]
    {
        const wchar_t* at = text;
        while (is_space(*at))
            ++at;
        return at;
    }();
    size_t length = 0;
    while (can_be_in_number(first[length]))
        ++length;
    // Almost all numbers fit; only longer ones need the heap.
    char small[128];
    std::unique_ptr<char[]> large;
    char* copy = small;
    if (length >= sizeof small)
    {
        large.reset(new (std::nothrow) char[length + 1]);
        copy = large.get();
    }
    if (end)
        *end = const_cast<wchar_t*>(text);
    if (!copy)
    {
        errno = ENOMEM;
        return {};
    }
    for (size_t i = 0; i < length; ++i)
        copy[i] = static_cast<char>(first[i]);
    copy[length] = '\0';
    char* stop = copy;
    const Number value = read(copy, &stop);
    if (end && stop != copy)
        *end = const_cast<wchar_t*>(first) + (stop - copy);
    return value;
}

} // namespace

// The same function under each name that a header of the C library uses for it.
#define PLINTH_INTEGER(type, wide, narrow)                                                         \
    type wide(const wchar_t* text, wchar_t** end, int radix)                                       \
    {                                                                                              \
        return read_number<type>(                                                                  \
            text, end, [=](const char* copy, char** stop) { return narrow(copy, stop, radix); });  \
    }                                                                                              \
    type __isoc23_##wide(const wchar_t* text, wchar_t** end, int radix)                            \
    {                                                                                              \
        return wide(text, end, radix);                                                             \
    }                                                                                              \
    type wide##_l(const wchar_t* text, wchar_t** end, int radix, locale_t)                         \
    {                                                                                              \
        return wide(text, end, radix);                                                             \
    }                                                                                              \
    type __##wide##_internal(const wchar_t* text, wchar_t** end, int radix, int)                   \
    {                                                                                              \
        return wide(text, end, radix);                                                             \
    }
#define PLINTH_REAL(type, wide, narrow)                                                            \
    type wide(const wchar_t* text, wchar_t** end)                                                  \
    {                                                                                              \
        return read_number<type>(text, end, narrow);                                               \
    }                                                                                              \
    type wide##_l(const wchar_t* text, wchar_t** end, locale_t place)                              \
    {                                                                                              \
        return read_number<type>(text, end,                                                        \
                                 [=](const char* copy, char** stop)                                \
                                 { return narrow##_l(copy, stop, place); });                       \
    }

extern "C"
{
    PLINTH_INTEGER(long, wcstol, std::strtol)
    PLINTH_INTEGER(unsigned long, wcstoul, std::strtoul)
    PLINTH_INTEGER(long long, wcstoll, std::strtoll)
    PLINTH_INTEGER(unsigned long long, wcstoull, std::strtoull)
    PLINTH_REAL(float, wcstof, ::strtof)
    PLINTH_REAL(double, wcstod, ::strtod)
    PLINTH_REAL(long double, wcstold, ::strtold)

    // The types of the greatest width, and the names for older programs.
    intmax_t wcstoimax(const wchar_t* text, wchar_t** end, int radix)
    {
        return wcstol(text, end, radix);
    }
    uintmax_t wcstoumax(const wchar_t* text, wchar_t** end, int radix)
    {
        return wcstoul(text, end, radix);
    }
    long long wcstoq(const wchar_t* text, wchar_t** end, int radix)
    {
        return wcstoll(text, end, radix);
    }
    unsigned long long wcstouq(const wchar_t* text, wchar_t** end, int radix)
    {
        return wcstoull(text, end, radix);
    }
    intmax_t __isoc23_wcstoimax(const wchar_t* text, wchar_t** end, int radix)
    {
        return wcstol(text, end, radix);
    }
    uintmax_t __isoc23_wcstoumax(const wchar_t* text, wchar_t** end, int radix)
    {
        return wcstoul(text, end, radix);
    }

    // The types named by their bits.
#define PLINTH_SAME(type, bits, wide)                                                              \
    type plinth_wide_wcstof##bits(const wchar_t* text, wchar_t** end) __asm__("wcstof" #bits);     \
    type plinth_wide_wcstof##bits(const wchar_t* text, wchar_t** end)                              \
    {                                                                                              \
        return wide(text, end);                                                                    \
    }
    PLINTH_SAME(float, 32, wcstof)
    PLINTH_SAME(double, 32x, wcstod)
    PLINTH_SAME(double, 64, wcstod)
    PLINTH_SAME(long double, 64x, wcstold)
}
