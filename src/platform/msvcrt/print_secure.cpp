// The runtime's print functions that always terminate: swprintf_s and _vsnwprintf_s.
//
// Errors for which the runtime ends a program, no room and null pointers, only fail here: the
// result is negative, errno is the reason, and the buffer holds the empty text.
#define PLINTH_PLATFORM_NO_RUNTIME_NAMES
#include <algorithm>
#include <cerrno>
#include <climits>

#include <tchar.h>

#include "format.h"

namespace
{

int refuse(wchar_t* buffer, size_t size, int error)
{
    if (buffer && size != 0)
        *buffer = L'\0';
    errno = error;
    return -1;
}

// limit: the most characters to write; a longer text is cut there, and the result is negative.
int print(wchar_t* buffer, size_t size, size_t limit, const wchar_t* format, va_list arguments)
{
    if (!buffer || size == 0 || !format)
        return refuse(buffer, size, EINVAL);
    const bool may_cut = limit == _TRUNCATE || limit < size;
    const size_t room = std::min(limit, size - 1);
    const size_t length = platform::format_text(buffer, room, format, arguments);
    if (length > room && !may_cut)
        return refuse(buffer, size, ERANGE);
    buffer[std::min(length, room)] = L'\0';
    return length > room || length > INT_MAX ? -1 : static_cast<int>(length);
}

} // namespace

extern "C" int plinth_crt_vsnwprintf_s(wchar_t* buffer, size_t size, size_t count,
                                       const wchar_t* format, va_list arguments)
{
    return print(buffer, size, count, format, arguments);
}

extern "C" int plinth_crt_swprintf_s(wchar_t* buffer, size_t size, const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = print(buffer, size, size, format, arguments);
    va_end(arguments);
    return length;
}
