// Hostile formats. Every argument that a format can take is there and valid for every conversion: a
// pointer to a text that has an end in both widths (as a number, a width or a precision it is some
// large value), and a floating-point number for each register of such; behind the registers the
// pointers' bits serve as floating-point numbers, too. This is how the 64-bit Unix systems pass
// arguments.
#include <tchar.h>
#include <windows.h>

#include "fuzz_check.h"

using fuzz::check;

namespace
{

constexpr size_t argument_limit = 24;

// Ends the format before it could take more arguments than there are.
template <class Char> void bound_arguments(Char* format)
{
    size_t taken = 0;
    for (; *format; ++format)
        if ((*format == '%' || *format == '*') && ++taken > argument_limit)
            break;
    *format = 0;
}

template <class Char> using Print = int (*)(Char*, size_t, const Char*, ...);

template <class Char>
int print(Print<Char> function, Char* buffer, size_t size, const Char* format, const void* p)
{
    return function(buffer, size, format, 0.0, -1.5, 1e300, 5e-324, 0.1, 123456.789, -1e-9, 1e22, p,
                    p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p,
                    p, p);
}

int cut_wide(wchar_t* buffer, size_t, const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = wvsprintfW(buffer, format, arguments);
    va_end(arguments);
    return length;
}

int cut_narrow(char* buffer, size_t, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = wvsprintfA(buffer, format, arguments);
    va_end(arguments);
    return length;
}

template <class Char>
void try_format(fuzz::Input& input, Print<Char> bounded, Print<Char> cut, size_t size,
                const void* text)
{
    size_t length = input.size();
    const auto format = input.text<Char>(length);
    bound_arguments(format.get());

    constexpr size_t large = 2048;
    const auto whole = std::make_unique<Char[]>(large);
    const int whole_length = print(bounded, whole.get(), large, format.get(), text);
    const int measured = print<Char>(bounded, nullptr, 0, format.get(), text);
    check(whole_length < 0 || measured == whole_length,
          "the length without a buffer is the length");

    // In memory of exactly the size.
    const auto part = std::make_unique<Char[]>(size);
    const int part_length = print(bounded, part.get(), size, format.get(), text);
    const bool fits = whole_length >= 0 && static_cast<size_t>(whole_length) <= size;
    check(part_length == (fits ? whole_length : -1), "negative if and only if it does not fit");
    const size_t shown = fits ? static_cast<size_t>(whole_length) : size;
    check(std::equal(part.get(), part.get() + shown, whole.get()),
          "what is stored is the beginning");
    check(shown == size || part[shown] == 0, "there is a terminator where there is room");

    constexpr size_t cut_size = 1024;
    const auto cut_text = std::make_unique<Char[]>(cut_size);
    const int cut_length = print(cut, cut_text.get(), 0, format.get(), text);
    const size_t expected =
        whole_length < 0 ? cut_size - 1 : std::min(static_cast<size_t>(whole_length), cut_size - 1);
    check(cut_length == static_cast<int>(expected), "the rest is cut");
    check(std::equal(cut_text.get(), cut_text.get() + expected, whole.get()), "and only the rest");
    check(cut_text[expected] == 0, "a cut text has its terminator");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Input input(data, size);
    const bool wide = input.byte() & 1;
    const size_t capacity = size_t{1} + input.byte();
    size_t text_length = input.byte();
    const auto text = input.text<wchar_t>(text_length);
    if (wide)
        try_format<wchar_t>(input, _snwprintf, cut_wide, capacity, text.get());
    else
        try_format<char>(input, _snprintf, cut_narrow, capacity, text.get());
    return 0;
}
