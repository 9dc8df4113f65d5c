// The printf and scanf families for 16-bit text, by the rules of the platform: %s is wide, l means
// 32 bits.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>

#define PLINTH_PLATFORM_NO_RUNTIME_NAMES
#include <tchar.h>

#include "streams.h"

using plinth_wide::write_units;

namespace
{

// std::to_wstring uses only the formats "%ld", "%lu" and "%Lf", with the compiler's types: 64-bit
// long and long double. Such calls are recognised by the whole format and the buffer size, which is
// always the same.
constexpr size_t room_for_long = 4 * sizeof(long);
constexpr size_t room_for_long_double = __LDBL_MAX_10_EXP__ + 20;

bool is(const wchar_t* format, const char* directive)
{
    for (; *directive; ++directive, ++format)
        if (*format != static_cast<wchar_t>(*directive))
            return false;
    return !*format;
}

const char* native_directive(size_t room, const wchar_t* format)
{
    if (format[0] != L'%')
        return nullptr;
    if (room == room_for_long)
        return is(format, "%ld") ? "%ld" : is(format, "%lu") ? "%lu" : nullptr;
    return room == room_for_long_double && is(format, "%Lf") ? "%Lf" : nullptr;
}

int print_native(wchar_t* to, size_t room, const char* directive, va_list arguments)
{
    auto* const narrow = reinterpret_cast<char*>(to); // its digits are spread out from the end
    const int length = std::vsnprintf(narrow, room, directive, arguments);
    if (length < 0 || static_cast<size_t>(length) >= room)
        return -1;
    for (int i = length; i >= 0; --i)
    {
        const char c = narrow[i];
        to[i] = static_cast<unsigned char>(c);
    }
    return length;
}

int print(FILE* stream, const wchar_t* format, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    wchar_t small[256];
    std::unique_ptr<wchar_t[]> large;
    wchar_t* text = small;
    const int length = plinth_crt_vsnwprintf(nullptr, 0, format, arguments);
    if (length >= 0 && static_cast<size_t>(length) > std::size(small))
    {
        large.reset(new (std::nothrow) wchar_t[static_cast<size_t>(length)]);
        text = large.get();
    }
    const auto count = static_cast<size_t>(length < 0 ? 0 : length);
    if (text && count)
        plinth_crt_vsnwprintf(text, count, format, again);
    va_end(again);
    return length >= 0 && text && write_units(stream, text, count) == count ? length : -1;
}

// Like the C library's function: always terminated, and negative if the text doesn't fit.
int print(wchar_t* to, size_t room, const wchar_t* format, va_list arguments)
{
    if (room == 0)
        return -1;
    const int length = plinth_crt_vsnwprintf(to, room, format, arguments);
    if (length >= 0 && static_cast<size_t>(length) < room)
        return length;
    to[room - 1] = L'\0';
    return -1;
}

} // namespace

// Defines a function with an argument list, and the one that is called with the arguments
// themselves.
#define PLINTH_PAIR(list_name, name, parameters, last, list_call, call)                            \
    int list_name(PLINTH_UNPACK parameters, va_list arguments)                                     \
    {                                                                                              \
        return list_call;                                                                          \
    }                                                                                              \
    int name(PLINTH_UNPACK parameters, ...)                                                        \
    {                                                                                              \
        va_list arguments;                                                                         \
        va_start(arguments, last);                                                                 \
        const int result = call;                                                                   \
        va_end(arguments);                                                                         \
        return result;                                                                             \
    }
#define PLINTH_UNPACK(...) __VA_ARGS__

extern "C"
{
    [[noreturn]] void __chk_fail();

    // std::to_wstring calls the first one; applications also the second.
    PLINTH_PAIR(vswprintf, swprintf, (wchar_t * to, size_t room, const wchar_t* format), format,
                native_directive(room, format)
                    ? print_native(to, room, native_directive(room, format), arguments)
                    : print(to, room, format, arguments),
                print(to, room, format, arguments))
    PLINTH_PAIR(vfwprintf, fwprintf, (FILE * stream, const wchar_t* format), format,
                print(stream, format, arguments), print(stream, format, arguments))
    PLINTH_PAIR(vwprintf, wprintf, (const wchar_t* format), format,
                print(stdout, format, arguments), print(stdout, format, arguments))
    // The headers map the plain names to other symbols; all are defined here.
#define PLINTH_SCAN(prefix)                                                                        \
    int plinth_wide##prefix##list(const wchar_t*, const wchar_t*,                                  \
                                  va_list) __asm__(#prefix "vswscanf");                            \
    int plinth_wide##prefix##scan(const wchar_t*, const wchar_t*, ...) __asm__(#prefix "swscanf"); \
    PLINTH_PAIR(plinth_wide##prefix##list, plinth_wide##prefix##scan,                              \
                (const wchar_t* text, const wchar_t* format), format,                              \
                plinth_crt_vswscanf(text, format, arguments),                                      \
                plinth_crt_vswscanf(text, format, arguments))
    PLINTH_SCAN()
    PLINTH_SCAN(__isoc99_)
    PLINTH_SCAN(__isoc23_)

    // The checked forms: size is the size of the target that the compiler knows.
    PLINTH_PAIR(__vswprintf_chk, __swprintf_chk,
                (wchar_t * to, size_t room, int, size_t size, const wchar_t* format), format,
                (size < room ? __chk_fail() : void(), vswprintf(to, room, format, arguments)),
                (size < room ? __chk_fail() : void(), print(to, room, format, arguments)))
    PLINTH_PAIR(__vfwprintf_chk, __fwprintf_chk, (FILE * stream, int, const wchar_t* format),
                format, print(stream, format, arguments), print(stream, format, arguments))
    PLINTH_PAIR(__vwprintf_chk, __wprintf_chk, (int, const wchar_t* format), format,
                print(stdout, format, arguments), print(stdout, format, arguments))
}
