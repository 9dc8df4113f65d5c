// The C library's functions over 16-bit text in memory, and their checked forms, which the compiler
// calls with _FORTIFY_SOURCE. The compiler must not replace a function's body by a call of the
// function itself: see CMakeLists.txt.
#include <cstdlib>
#include <cstring>
#include <cwchar>

#define PLINTH_PLATFORM_NO_RUNTIME_NAMES
#include <tchar.h>

namespace
{

const wchar_t* find_unit(const wchar_t* first, const wchar_t* last, wchar_t c)
{
    while (first != last && *first != c)
        ++first;
    return first == last ? nullptr : first;
}

} // namespace

extern "C"
{
    [[noreturn]] void __chk_fail();

    // Named by the linker options of the target, so that this file is part of every link. A
    // run-time that defines some of these names weakly, such as a sanitizer, then doesn't replace
    // them.
    extern const char plinth_wide_is_linked;
    const char plinth_wide_is_linked = 1;

    size_t wcslen(const wchar_t* text)
    {
        return plinth_crt_wcslen(text);
    }
    size_t wcsnlen(const wchar_t* text, size_t limit)
    {
        return plinth_crt_wcsnlen(text, limit);
    }

    wchar_t* wmemcpy(wchar_t* to, const wchar_t* from, size_t count)
    {
        std::memcpy(to, from, count * sizeof *from);
        return to;
    }
    wchar_t* wmempcpy(wchar_t* to, const wchar_t* from, size_t count)
    {
        return wmemcpy(to, from, count) + count;
    }
    wchar_t* wmemmove(wchar_t* to, const wchar_t* from, size_t count)
    {
        std::memmove(to, from, count * sizeof *from);
        return to;
    }
    wchar_t* wmemset(wchar_t* to, wchar_t c, size_t count)
    {
        return plinth_crt_wmemset(to, c, count);
    }
    int wmemcmp(const wchar_t* a, const wchar_t* b, size_t count)
    {
        for (; count; --count, ++a, ++b)
            if (*a != *b)
                return *a < *b ? -1 : 1;
        return 0;
    }
    wchar_t* wcscpy(wchar_t* to, const wchar_t* from)
    {
        return plinth_crt_wcscpy(to, from);
    }
    wchar_t* wcpcpy(wchar_t* to, const wchar_t* from)
    {
        return wcscpy(to, from) + wcslen(from);
    }
    wchar_t* wcsncpy(wchar_t* to, const wchar_t* from, size_t count)
    {
        return plinth_crt_wcsncpy(to, from, count);
    }
    wchar_t* wcpncpy(wchar_t* to, const wchar_t* from, size_t count)
    {
        return wcsncpy(to, from, count) + wcsnlen(from, count);
    }
    wchar_t* wcscat(wchar_t* to, const wchar_t* from)
    {
        return plinth_crt_wcscat(to, from);
    }
    wchar_t* wcsncat(wchar_t* to, const wchar_t* from, size_t count)
    {
        return plinth_crt_wcsncat(to, from, count);
    }
    // Both return the length of the whole result, as the C library's functions do.
    size_t wcslcpy(wchar_t* to, const wchar_t* from, size_t size)
    {
        const size_t length = wcslen(from);
        if (size > 0)
        {
            const size_t kept = length < size ? length : size - 1;
            wmemcpy(to, from, kept);
            to[kept] = L'\0';
        }
        return length;
    }
    size_t wcslcat(wchar_t* to, const wchar_t* from, size_t size)
    {
        const size_t length = wcsnlen(to, size);
        return length + wcslcpy(to + length, from, size - length);
    }
    wchar_t* wcsdup(const wchar_t* text)
    {
        const size_t size = wcslen(text) + 1;
        auto* const copy = static_cast<wchar_t*>(std::malloc(size * sizeof *text));
        return copy ? wmemcpy(copy, text, size) : nullptr;
    }

    int wcscmp(const wchar_t* a, const wchar_t* b)
    {
        return plinth_crt_wcscmp(a, b);
    }
    int wcsncmp(const wchar_t* a, const wchar_t* b, size_t count)
    {
        return plinth_crt_wcsncmp(a, b, count);
    }
    int wcscasecmp(const wchar_t* a, const wchar_t* b)
    {
        return plinth_crt_wcsicmp(a, b);
    }
    int wcsncasecmp(const wchar_t* a, const wchar_t* b, size_t count)
    {
        return plinth_crt_wcsnicmp(a, b, count);
    }
    int wcscasecmp_l(const wchar_t* a, const wchar_t* b, locale_t)
    {
        return wcscasecmp(a, b);
    }
    int wcsncasecmp_l(const wchar_t* a, const wchar_t* b, size_t count, locale_t)
    {
        return wcsncasecmp(a, b, count);
    }

    size_t wcsspn(const wchar_t* text, const wchar_t* set)
    {
        return plinth_crt_wcsspn(text, set);
    }
    size_t wcscspn(const wchar_t* text, const wchar_t* set)
    {
        return plinth_crt_wcscspn(text, set);
    }
    wchar_t* wcstok(wchar_t* text, const wchar_t* set, wchar_t** rest)
    {
        if (!text)
            text = *rest;
        if (!text)
            return nullptr;
        text += wcsspn(text, set);
        wchar_t* const end = text + wcscspn(text, set);
        *rest = *end ? end + 1 : nullptr;
        if (text == end)
            return nullptr;
        *end = L'\0';
        return text;
    }

    // The headers declare the searches twice, with and without const, under one symbol.
#define PLINTH_SEARCH(name, parameters, body)                                                      \
    wchar_t* plinth_wide_##name parameters __asm__(#name);                                         \
    wchar_t* plinth_wide_##name parameters                                                         \
    {                                                                                              \
        return const_cast<wchar_t*>(body);                                                         \
    }
    PLINTH_SEARCH(wmemchr, (const wchar_t* text, wchar_t c, size_t count),
                  find_unit(text, text + count, c))
    PLINTH_SEARCH(wcschr, (const wchar_t* text, wchar_t c), plinth_crt_wcschr(text, c))
    PLINTH_SEARCH(wcsrchr, (const wchar_t* text, wchar_t c), plinth_crt_wcsrchr(text, c))
    PLINTH_SEARCH(wcsstr, (const wchar_t* text, const wchar_t* part), plinth_crt_wcsstr(text, part))
    PLINTH_SEARCH(wcswcs, (const wchar_t* text, const wchar_t* part), plinth_crt_wcsstr(text, part))
    PLINTH_SEARCH(wcspbrk, (const wchar_t* text, const wchar_t* set), plinth_crt_wcspbrk(text, set))
    PLINTH_SEARCH(wcschrnul, (const wchar_t* text, wchar_t c),
                  text + (plinth_crt_wcschr(text, c) ? plinth_crt_wcschr(text, c) - text
                                                     : static_cast<ptrdiff_t>(wcslen(text))))

    // The checked forms: size is the target's size in characters that the compiler knows.
#define PLINTH_CHECK(size, needed)                                                                 \
    if ((needed) > (size))                                                                         \
    __chk_fail()

#define PLINTH_CHECKED(name)                                                                       \
    wchar_t* __##name##_chk(wchar_t* to, const wchar_t* from, size_t count, size_t size)           \
    {                                                                                              \
        PLINTH_CHECK(size, count);                                                                 \
        return name(to, from, count);                                                              \
    }
    PLINTH_CHECKED(wmemcpy)
    PLINTH_CHECKED(wmempcpy)
    PLINTH_CHECKED(wmemmove)
    PLINTH_CHECKED(wcsncpy)
    PLINTH_CHECKED(wcpncpy)
#undef PLINTH_CHECKED

    wchar_t* __wmemset_chk(wchar_t* to, wchar_t c, size_t count, size_t size)
    {
        PLINTH_CHECK(size, count);
        return wmemset(to, c, count);
    }
    wchar_t* __wcscpy_chk(wchar_t* to, const wchar_t* from, size_t size)
    {
        PLINTH_CHECK(size, wcslen(from) + 1);
        return wcscpy(to, from);
    }
    wchar_t* __wcpcpy_chk(wchar_t* to, const wchar_t* from, size_t size)
    {
        PLINTH_CHECK(size, wcslen(from) + 1);
        return wcpcpy(to, from);
    }
    wchar_t* __wcscat_chk(wchar_t* to, const wchar_t* from, size_t size)
    {
        PLINTH_CHECK(size, wcslen(to) + wcslen(from) + 1);
        return wcscat(to, from);
    }
    wchar_t* __wcsncat_chk(wchar_t* to, const wchar_t* from, size_t count, size_t size)
    {
        PLINTH_CHECK(size, wcslen(to) + wcsnlen(from, count) + 1);
        return wcsncat(to, from, count);
    }
    size_t __wcslcpy_chk(wchar_t* to, const wchar_t* from, size_t count, size_t size)
    {
        PLINTH_CHECK(size, count);
        return wcslcpy(to, from, count);
    }
    size_t __wcslcat_chk(wchar_t* to, const wchar_t* from, size_t count, size_t size)
    {
        PLINTH_CHECK(size, count);
        return wcslcat(to, from, count);
    }
}
