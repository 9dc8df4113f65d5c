// The runtime's bounded print functions. A result that does not fit is negative; one that fits
// exactly has no terminator.
#define PLINTH_PLATFORM_NO_RUNTIME_NAMES
#include <cerrno>
#include <climits>

#include <tchar.h>

#include "format.h"

namespace
{

template <class Char> int print(Char* buffer, size_t count, const Char* format, va_list arguments)
{
    // No buffer and no size requests the length.
    if (!format || (!buffer && count))
    {
        errno = EINVAL;
        return -1;
    }
    const size_t length = platform::format_text(buffer, count, format, arguments);
    if (length < count)
        buffer[length] = 0;
    if (length > INT_MAX || (buffer && length > count))
        return -1;
    return static_cast<int>(length);
}

} // namespace

extern "C" int plinth_crt_vsnwprintf(wchar_t* buffer, size_t count, const wchar_t* format,
                                     va_list arguments)
{
    return print(buffer, count, format, arguments);
}

extern "C" int plinth_crt_snwprintf(wchar_t* buffer, size_t count, const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = print(buffer, count, format, arguments);
    va_end(arguments);
    return length;
}

extern "C" int plinth_crt_vsnprintf(char* buffer, size_t count, const char* format,
                                    va_list arguments)
{
    return print(buffer, count, format, arguments);
}

extern "C" int plinth_crt_snprintf(char* buffer, size_t count, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = print(buffer, count, format, arguments);
    va_end(arguments);
    return length;
}
