// The C library's conversions between UTF-8 and 16-bit text. The multibyte encoding is UTF-8 in
// every locale.
//
// A character of two units is read and written by halves. Reading the high surrogate takes all
// bytes except the last, reading the low one takes the last: loops that add up the bytes taken end
// at the right place. Writing a high surrogate keeps it in the state.
#include "utf.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#define PLINTH_PLATFORM_NO_RUNTIME_NAMES
#include <tchar.h>

using namespace plinth_wide;

namespace
{

constexpr size_t failed = static_cast<size_t>(-1);
constexpr size_t cut = static_cast<size_t>(-2); // the bytes end within a character

size_t no_character()
{
    errno = EILSEQ;
    return failed;
}

// Reads one unit. Bytes of a cut character are kept in the state, at most three.
size_t read_unit(wchar_t* unit, const char* text, size_t length, std::mbstate_t& state)
{
    if (half_in(state) == Half::low_to_read)
    {
        if (length == 0)
            return cut;
        *unit = half_unit(state);
        state = {};
        return 1;
    }
    char bytes[longest];
    const auto kept = static_cast<size_t>(state.__count);
    std::memcpy(bytes, state.__value.__wchb, kept);
    const size_t added = length < longest - kept ? length : longest - kept;
    std::memcpy(bytes + kept, text, added);
    if (kept + added == 0)
        return cut;
    const Decoded c = decode(bytes, kept + added);
    if (c.length == 0)
    {
        std::memcpy(state.__value.__wchb, bytes, kept + added);
        state.__count = static_cast<int>(kept + added);
        return cut;
    }
    state = {};
    if (!c.valid)
        return no_character();
    if (c.value < 0x10000)
    {
        *unit = static_cast<wchar_t>(c.value);
        return c.value ? c.length - kept : 0;
    }
    *unit = high_of(c.value);
    set_half(state, Half::low_to_read, low_of(c.value));
    return c.length - 1 - kept;
}

// Writes one unit, at most four bytes; a high surrogate writes none.
size_t write_unit(char* to, wchar_t unit, std::mbstate_t& state)
{
    const bool has_high = half_in(state) == Half::high_to_write;
    const wchar_t high = half_unit(state);
    if (has_high && is_low(unit))
    {
        state = {};
        return encode(join(high, unit), to);
    }
    if (has_high || is_low(unit))
    {
        state = {};
        return no_character();
    }
    if (is_high(unit))
    {
        set_half(state, Half::high_to_write, unit);
        return 0;
    }
    return encode(unit, to);
}

thread_local std::mbstate_t t_reading{};
thread_local std::mbstate_t t_writing{};

} // namespace

extern "C"
{
    [[noreturn]] void __chk_fail();

    // Read by MB_CUR_MAX. The C library's own answer depends on the locale, and is 1 at first.
    size_t __ctype_get_mb_cur_max() noexcept
    {
        return longest;
    }

    size_t mbrtowc(wchar_t* to, const char* text, size_t length, mbstate_t* state)
    {
        std::mbstate_t& own = state ? *state : t_reading;
        if (!text)
        {
            own = {};
            return 0;
        }
        wchar_t unit = 0;
        const size_t taken = read_unit(&unit, text, length, own);
        if (to && taken != failed && taken != cut)
            *to = unit;
        return taken;
    }
    size_t mbrlen(const char* text, size_t length, mbstate_t* state)
    {
        thread_local std::mbstate_t measuring{};
        return mbrtowc(nullptr, text, length, state ? state : &measuring);
    }
    int mbtowc(wchar_t* to, const char* text, size_t length)
    {
        thread_local std::mbstate_t own{};
        if (!text)
        {
            own = {};
            return 0; // no bytes that change the meaning of later ones
        }
        const size_t taken = mbrtowc(to, text, length, &own);
        if (taken != cut)
            return static_cast<int>(taken);
        own = {};
        return -1;
    }
    int mblen(const char* text, size_t length)
    {
        if (!text)
            return 0;
        const Decoded c = length ? decode(text, length) : Decoded{};
        return c.valid ? (c.value ? static_cast<int>(c.length) : 0) : -1;
    }
    wint_t btowc(int c)
    {
        return c >= 0 && c < 0x80 ? static_cast<wint_t>(c) : WEOF;
    }
    int wctob(wint_t c)
    {
        return c < 0x80 ? static_cast<int>(c) : EOF;
    }

    size_t wcrtomb(char* to, wchar_t unit, mbstate_t* state)
    {
        std::mbstate_t& own = state ? *state : t_writing;
        if (!to)
        {
            own = {};
            return 1;
        }
        return write_unit(to, unit, own);
    }
    int wctomb(char* to, wchar_t unit)
    {
        thread_local std::mbstate_t own{};
        if (!to)
        {
            own = {};
            return 0;
        }
        return static_cast<int>(wcrtomb(to, unit, &own));
    }

    size_t mbstowcs(wchar_t* to, const char* text, size_t count)
    {
        return plinth_crt_mbstowcs(to, text, count);
    }
    size_t wcstombs(char* to, const wchar_t* text, size_t size)
    {
        return plinth_crt_wcstombs(to, text, size);
    }

    // In whole texts, as in the two functions above, U+FFFD replaces whatever is no character.
    size_t mbsnrtowcs(wchar_t* to, const char** text, size_t length, size_t count, mbstate_t* state)
    {
        std::mbstate_t& own = state ? *state : t_reading;
        std::mbstate_t counting = own;
        std::mbstate_t& now = to ? own : counting;
        const char* at = *text;
        size_t written = 0;
        while (!to || written < count)
        {
            wchar_t unit = 0;
            const size_t taken = read_unit(&unit, at, length, now);
            if (taken == cut)
            {
                at += length;
                break;
            }
            const size_t bytes = taken == failed ? 1 : taken;
            if (taken == failed)
                unit = replacement;
            if (to)
                to[written] = unit;
            if (taken == 0 && !unit)
            {
                if (to)
                    *text = nullptr;
                return written;
            }
            ++written;
            at += bytes;
            length -= bytes;
        }
        if (to)
            *text = at;
        return written;
    }
    size_t mbsrtowcs(wchar_t* to, const char** text, size_t count, mbstate_t* state)
    {
        return mbsnrtowcs(to, text, std::strlen(*text) + 1, count, state);
    }
    size_t wcsnrtombs(char* to, const wchar_t** text, size_t length, size_t size, mbstate_t* state)
    {
        std::mbstate_t& own = state ? *state : t_writing;
        std::mbstate_t now = own;
        const wchar_t* at = *text;
        size_t written = 0;
        for (; length; --length, ++at)
        {
            std::mbstate_t before = now;
            char bytes[longest];
            size_t count = write_unit(bytes, *at, now);
            if (count == failed)
                count = encode(replacement, bytes);
            if (to && written + count > size)
            {
                now = before;
                break;
            }
            if (to)
                std::memcpy(to + written, bytes, count);
            if (!*at)
            {
                if (to)
                    *text = nullptr;
                break;
            }
            written += count;
        }
        if (to)
        {
            own = now;
            if (*text)
                *text = at;
        }
        return written;
    }
    size_t wcsrtombs(char* to, const wchar_t** text, size_t size, mbstate_t* state)
    {
        return wcsnrtombs(to, text, plinth_crt_wcslen(*text) + 1, size, state);
    }

    // The checked forms; room is the size of the target that the compiler knows.
#define PLINTH_CHECK(room, needed)                                                                 \
    if ((needed) > (room))                                                                         \
    __chk_fail()
    size_t __mbstowcs_chk(wchar_t* to, const char* text, size_t count, size_t room)
    {
        PLINTH_CHECK(room, count);
        return mbstowcs(to, text, count);
    }
    size_t __wcstombs_chk(char* to, const wchar_t* text, size_t size, size_t room)
    {
        PLINTH_CHECK(room, size);
        return wcstombs(to, text, size);
    }
    size_t __mbsrtowcs_chk(wchar_t* to, const char** text, size_t count, mbstate_t* state,
                           size_t room)
    {
        PLINTH_CHECK(room, count);
        return mbsrtowcs(to, text, count, state);
    }
    size_t __wcsrtombs_chk(char* to, const wchar_t** text, size_t size, mbstate_t* state,
                           size_t room)
    {
        PLINTH_CHECK(room, size);
        return wcsrtombs(to, text, size, state);
    }
    size_t __mbsnrtowcs_chk(wchar_t* to, const char** text, size_t length, size_t count,
                            mbstate_t* state, size_t room)
    {
        PLINTH_CHECK(room, count);
        return mbsnrtowcs(to, text, length, count, state);
    }
    size_t __wcsnrtombs_chk(char* to, const wchar_t** text, size_t length, size_t size,
                            mbstate_t* state, size_t room)
    {
        PLINTH_CHECK(room, size);
        return wcsnrtombs(to, text, length, size, state);
    }
    size_t __wcrtomb_chk(char* to, wchar_t unit, mbstate_t* state, size_t room)
    {
        PLINTH_CHECK(room, longest);
        return wcrtomb(to, unit, state);
    }
    int __wctomb_chk(char* to, wchar_t unit, size_t room)
    {
        PLINTH_CHECK(room, longest);
        return wctomb(to, unit);
    }
}
