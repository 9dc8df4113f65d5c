// Hostile formats. Every argument that a format can use is present and valid for every conversion:
// a pointer to a text that has an end in both widths (as a number, a width or a precision it is
// some large value), and a number for each floating-point register; after the registers, the
// pointers' bits also serve as floating-point numbers. This is how the 64-bit Unix systems pass
// arguments.
#include <tchar.h>
#include <windows.h>

#include "fuzz_target.h"

using fuzz::check;

namespace
{

// Cuts the format before it could use more arguments than there are.
template <class Char> void bound_arguments(std::vector<Char>& format)
{
    size_t left = 24;
    *std::find_if(format.begin(), format.end() - 1,
                  [&left](Char c) { return !c || ((c == '%' || c == '*') && left-- == 0); }) = 0;
}

template <class Char> using Print = int (*)(Char*, size_t, const Char*, ...);

template <class Char>
int print(Print<Char> function, Char* buffer, size_t size, const Char* format, const void* p)
{
    return function(buffer, size, format, 0.0, -1.5, 1e300, 5e-324, 0.1, 123456.789, -1e-9, 1e22, p,
                    p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p,
                    p, p);
}

template <class Char, int (*vprint)(Char*, const Char*, va_list)>
int cut(Char* buffer, size_t, const Char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = vprint(buffer, format, arguments);
    va_end(arguments);
    return length;
}

template <class Char>
void try_format(fuzz::Input& input, Print<Char> bounded, Print<Char> cut, size_t size,
                const void* text)
{
    auto format = input.text<Char>();
    bound_arguments(format);

    // All buffers except the first have exactly the size.
    std::vector<Char> whole(2048), part(size), shortened(1024);
    const int length = print(bounded, whole.data(), whole.size(), format.data(), text);
    check(length < 0 || print<Char>(bounded, nullptr, 0, format.data(), text) == length,
          "the length without a buffer is the length");

    const int part_length = print(bounded, part.data(), size, format.data(), text);
    const bool fits = length >= 0 && static_cast<size_t>(length) <= size;
    check(part_length == (fits ? length : -1), "negative if and only if it does not fit");
    const size_t shown = fits ? static_cast<size_t>(length) : size;
    check(std::equal(part.data(), part.data() + shown, whole.data()),
          "what is stored is the beginning");
    check(shown == size || part[shown] == 0, "there is a terminator where there is room");

    const int cut_length = print(cut, shortened.data(), 0, format.data(), text);
    check(cut_length >= 0 && static_cast<size_t>(cut_length) < shortened.size() &&
              shortened[static_cast<size_t>(cut_length)] == 0,
          "a cut text has its terminator");
    // The functions that cut support fewer formats.
    const size_t common =
        static_cast<size_t>(std::find(format.begin(), format.end(), Char('%')) - format.begin());
    check(std::equal(shortened.data(),
                     shortened.data() + std::min(common, static_cast<size_t>(cut_length)),
                     format.data()),
          "text is text");
}

} // namespace

void fuzz::run(Input input)
{
    const bool wide = input.byte() & 1;
    const size_t capacity = size_t{1} + input.byte();
    const auto text = input.text<wchar_t>(input.byte());
    if (wide)
        try_format<wchar_t>(input, _snwprintf, cut<wchar_t, wvsprintfW>, capacity, text.data());
    else
        try_format<char>(input, _snprintf, cut<char, wvsprintfA>, capacity, text.data());
}
