// The user interface's own print functions: at most 1,024 characters, terminator included; the rest
// is cut. They know fewer formats: see msvcrt/format.h.
#include <algorithm>

#include <windows.h>

#include "msvcrt/format.h"

namespace
{

constexpr size_t output_limit = 1024;

template <class Char> int print(Char* buffer, const Char* format, va_list arguments)
{
    const size_t whole = platform::format_text(buffer, output_limit - 1, format, arguments,
                                               platform::FormatFamily::user_interface);
    const size_t length = std::min(whole, output_limit - 1);
    buffer[length] = 0;
    return static_cast<int>(length);
}

} // namespace

extern "C" int wvsprintfW(LPWSTR buffer, LPCWSTR format, va_list arguments)
{
    return print(buffer, format, arguments);
}

extern "C" int wvsprintfA(LPSTR buffer, LPCSTR format, va_list arguments)
{
    return print(buffer, format, arguments);
}

extern "C" int wsprintfW(LPWSTR buffer, LPCWSTR format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = print(buffer, format, arguments);
    va_end(arguments);
    return length;
}
