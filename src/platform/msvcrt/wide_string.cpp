// String functions for 16-bit text, each as the runtime's function of that name.
#define PLINTH_PLATFORM_NO_RUNTIME_NAMES
#include <cstring>

#include <tchar.h>

#include "system/text.h"

using platform::wide_length;

namespace
{

int unit(wchar_t c)
{
    return static_cast<unsigned short>(c);
}

// A character as the runtime compares it without regard to case: in lower case, so that '_' comes
// before the letters, and by its "C" locale, which has no letters but A to Z. (Names of files are
// compared in upper case and in all scripts, see system/text.h.)
int folded(wchar_t c)
{
    return c >= L'A' && c <= L'Z' ? c + 32 : unit(c);
}

int lower(char c)
{
    const int u = static_cast<unsigned char>(c);
    return u >= 'A' && u <= 'Z' ? u + 32 : u;
}

} // namespace

extern "C"
{
    size_t plinth_crt_wcslen(const wchar_t* text)
    {
        return wide_length(text);
    }

    size_t plinth_crt_wcsnlen(const wchar_t* text, size_t limit)
    {
        return platform::wide_length_within(text, limit);
    }

    wchar_t* plinth_crt_wcscpy(wchar_t* to, const wchar_t* from)
    {
        std::memcpy(to, from, (wide_length(from) + 1) * sizeof *from);
        return to;
    }

    wchar_t* plinth_crt_wcsncpy(wchar_t* to, const wchar_t* from, size_t count)
    {
        size_t i = 0;
        for (; i < count && from[i]; ++i)
            to[i] = from[i];
        for (; i < count; ++i)
            to[i] = L'\0';
        return to;
    }

    wchar_t* plinth_crt_wcscat(wchar_t* to, const wchar_t* from)
    {
        plinth_crt_wcscpy(to + wide_length(to), from);
        return to;
    }

    wchar_t* plinth_crt_wcsncat(wchar_t* to, const wchar_t* from, size_t count)
    {
        const size_t length = plinth_crt_wcsnlen(from, count);
        wchar_t* const end = to + wide_length(to);
        std::memcpy(end, from, length * sizeof *from);
        end[length] = L'\0';
        return to;
    }

    int plinth_crt_wcscmp(const wchar_t* a, const wchar_t* b)
    {
        while (*a && *a == *b)
            ++a, ++b;
        return unit(*a) - unit(*b);
    }

    int plinth_crt_wcsncmp(const wchar_t* a, const wchar_t* b, size_t count)
    {
        for (; count; --count, ++a, ++b)
            if (*a != *b || !*a)
                return unit(*a) - unit(*b);
        return 0;
    }

    wchar_t* plinth_crt_wcschr(const wchar_t* text, wchar_t c)
    {
        for (;; ++text)
        {
            if (*text == c)
                return const_cast<wchar_t*>(text);
            if (!*text)
                return nullptr;
        }
    }

    wchar_t* plinth_crt_wcsrchr(const wchar_t* text, wchar_t c)
    {
        const wchar_t* found = nullptr;
        do
            if (*text == c)
                found = text;
        while (*text++);
        return const_cast<wchar_t*>(found);
    }

    wchar_t* plinth_crt_wcsstr(const wchar_t* text, const wchar_t* part)
    {
        const size_t length = wide_length(part);
        for (;; ++text)
        {
            if (plinth_crt_wcsncmp(text, part, length) == 0)
                return const_cast<wchar_t*>(text);
            if (!*text)
                return nullptr;
        }
    }

    size_t plinth_crt_wcsspn(const wchar_t* text, const wchar_t* set)
    {
        size_t length = 0;
        while (text[length] && plinth_crt_wcschr(set, text[length]))
            ++length;
        return length;
    }

    size_t plinth_crt_wcscspn(const wchar_t* text, const wchar_t* set)
    {
        size_t length = 0;
        while (text[length] && !plinth_crt_wcschr(set, text[length]))
            ++length;
        return length;
    }

    wchar_t* plinth_crt_wcspbrk(const wchar_t* text, const wchar_t* set)
    {
        text += plinth_crt_wcscspn(text, set);
        return *text ? const_cast<wchar_t*>(text) : nullptr;
    }

    wchar_t* plinth_crt_wcsnset(wchar_t* text, wchar_t c, size_t count)
    {
        for (size_t i = 0; i < count && text[i]; ++i)
            text[i] = c;
        return text;
    }

    int plinth_crt_wcsicmp(const wchar_t* a, const wchar_t* b)
    {
        return plinth_crt_wcsnicmp(a, b, SIZE_MAX);
    }

    int plinth_crt_wcsnicmp(const wchar_t* a, const wchar_t* b, size_t count)
    {
        for (; count; --count, ++a, ++b)
        {
            const int difference = folded(*a) - folded(*b);
            if (difference || !*a)
                return difference;
        }
        return 0;
    }

    int plinth_crt_strnicmp(const char* a, const char* b, size_t count)
    {
        for (; count; --count, ++a, ++b)
        {
            const int difference = lower(*a) - lower(*b);
            if (difference || !*a)
                return difference;
        }
        return 0;
    }

    int plinth_crt_stricmp(const char* a, const char* b)
    {
        return plinth_crt_strnicmp(a, b, SIZE_MAX);
    }

    wchar_t* plinth_crt_wmemcpy(wchar_t* to, const wchar_t* from, size_t count)
    {
        std::memcpy(to, from, count * sizeof *from);
        return to;
    }

    wchar_t* plinth_crt_wmemmove(wchar_t* to, const wchar_t* from, size_t count)
    {
        std::memmove(to, from, count * sizeof *from);
        return to;
    }

    wchar_t* plinth_crt_wmemset(wchar_t* to, wchar_t c, size_t count)
    {
        for (size_t i = 0; i < count; ++i)
            to[i] = c;
        return to;
    }

    // Both convert by the active code page, UTF-8, and write a terminator only where there is room.
    size_t plinth_crt_mbstowcs(wchar_t* to, const char* from, size_t count)
    {
        size_t written = 0;
        const size_t length = std::strlen(from);
        if (!to)
            return platform::wide_from_utf8(from, length, nullptr, 0);
        platform::wide_from_utf8(from, length, to, count, &written);
        if (written < count)
            to[written] = L'\0';
        return written;
    }

    size_t plinth_crt_wcstombs(char* to, const wchar_t* from, size_t count)
    {
        size_t written = 0;
        const size_t length = wide_length(from);
        if (!to)
            return platform::utf8_from_wide(from, length, nullptr, 0);
        platform::utf8_from_wide(from, length, to, count, &written);
        if (written < count)
            to[written] = '\0';
        return written;
    }
}
