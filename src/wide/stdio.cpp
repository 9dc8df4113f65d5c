#include "streams.h"

#include <atomic>
#include <mutex>
#include <vector>

#include <stdio_ext.h>
#include <wchar.h>

#include "utf.h"

namespace plinth_wide
{

namespace
{

// The half of a character that a stream must still write, or return to its reader. For a half to
// read, the character's last byte is still in the stream: if another byte follows, the stream has
// been moved, and the half is dropped.
struct Pending
{
    std::FILE* stream;
    Half half;
    wchar_t unit;
    unsigned char last;
};

class Halves
{
public:
    void keep(const Pending& pending)
    {
        const std::lock_guard guard(m_lock);
        m_list.push_back(pending);
        m_count.store(m_list.size());
    }
    bool take(std::FILE* stream, Half half, Pending& result)
    {
        if (m_count.load() == 0)
            return false;
        const std::lock_guard guard(m_lock);
        for (auto at = m_list.begin(); at != m_list.end(); ++at)
            if (at->stream == stream && at->half == half)
            {
                result = *at;
                m_list.erase(at);
                m_count.store(m_list.size());
                return true;
            }
        return false;
    }

private:
    std::mutex m_lock; // guards m_list; no other lock is taken under it
    std::vector<Pending> m_list;
    std::atomic<std::size_t> m_count = 0; // of m_list, so that an empty list needs no lock
};

Halves& halves()
{
    static Halves* const all = new Halves; // streams are used until the very end of the process
    return *all;
}

class Locked
{
public:
    explicit Locked(std::FILE* stream) : m_stream(stream) { ::flockfile(stream); }
    ~Locked() { ::funlockfile(m_stream); }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

private:
    std::FILE* const m_stream;
};

// Writes UTF-8 in pieces, so that a long text needs no memory of its own.
class Bytes
{
public:
    // cppcheck-suppress uninitMemberVar ; filled up to m_used
    explicit Bytes(std::FILE* stream) : m_stream(stream) {}
    void put(char32_t c)
    {
        if (m_used + longest > sizeof m_bytes)
            flush();
        m_used += encode(c, m_bytes + m_used);
    }
    bool flush()
    {
        m_good = m_good && ::fwrite_unlocked(m_bytes, 1, m_used, m_stream) == m_used;
        m_used = 0;
        return m_good;
    }

private:
    std::FILE* const m_stream;
    std::size_t m_used = 0;
    bool m_good = true;
    char m_bytes[512];
};

// Reads the bytes of one character; a byte that doesn't belong to it is put back.
Decoded read_character(std::FILE* stream, int first, unsigned char& last)
{
    char bytes[longest] = {static_cast<char>(first)};
    for (std::size_t count = 1;; ++count)
    {
        Decoded c = decode(bytes, count);
        if (c.length > 0)
        {
            if (c.length < count)
                ::ungetc(static_cast<unsigned char>(bytes[count - 1]), stream);
            last = static_cast<unsigned char>(bytes[c.length - 1]);
            return c;
        }
        const int next = ::getc_unlocked(stream);
        if (next == EOF)
            return {replacement, count, false};
        bytes[count] = static_cast<char>(next);
    }
}

} // namespace

std::size_t write_units(std::FILE* stream, const wchar_t* text, std::size_t count)
{
    const Locked lock(stream);
    Bytes bytes(stream);
    Pending before{};
    char32_t high = halves().take(stream, Half::high_to_write, before) ? before.unit : 0;
    for (std::size_t i = 0; i < count; ++i)
    {
        const char32_t unit = text[i];
        if (high && is_low(unit))
        {
            bytes.put(join(high, unit));
            high = 0;
            continue;
        }
        if (high)
            bytes.put(replacement);
        high = is_high(unit) ? unit : 0;
        if (!high)
            bytes.put(unit);
    }
    if (high)
        halves().keep({stream, Half::high_to_write, static_cast<wchar_t>(high), 0});
    return bytes.flush() ? count : 0;
}

wint_t read_unit(std::FILE* stream)
{
    const Locked lock(stream);
    const int first = ::getc_unlocked(stream);
    if (first == EOF)
        return WEOF;
    Pending pending{};
    if (halves().take(stream, Half::low_to_read, pending) && first == pending.last)
        return pending.unit;
    unsigned char last = 0;
    const Decoded c = read_character(stream, first, last);
    if (c.value < 0x10000)
        return c.value;
    ::ungetc(last, stream);
    halves().keep({stream, Half::low_to_read, low_of(c.value), last});
    return high_of(c.value);
}

namespace
{

wint_t put_back(std::FILE* stream, char32_t c, wint_t unit)
{
    char bytes[longest];
    for (std::size_t left = encode(c, bytes); left > 0; --left)
        if (::ungetc(static_cast<unsigned char>(bytes[left - 1]), stream) == EOF)
            return WEOF;
    return unit;
}

// A low half: the last byte of its character is put back, and the half is stored for it.
wint_t put_low_back(std::FILE* stream, wint_t unit)
{
    const auto last = static_cast<unsigned char>(0x80 | (unit & 0x3F));
    if (::ungetc(last, stream) == EOF)
        return WEOF;
    halves().keep({stream, Half::low_to_read, static_cast<wchar_t>(unit), last});
    return unit;
}

} // namespace

wint_t unread_unit(std::FILE* stream, wint_t unit)
{
    if (unit == WEOF)
        return WEOF;
    const Locked lock(stream);
    Pending low{};
    if (!halves().take(stream, Half::low_to_read, low))
    {
        if (is_low(unit))
            return put_low_back(stream, unit);
        return is_high(unit) ? WEOF : put_back(stream, unit, unit);
    }
    // In the middle of a character only its first half can be put back.
    if (is_high(unit) && ::getc_unlocked(stream) == low.last)
        return put_back(stream, join(unit, low.unit), unit);
    if (!is_high(unit))
        halves().keep(low);
    return WEOF;
}

} // namespace plinth_wide

using plinth_wide::read_unit;
using plinth_wide::unread_unit;
using plinth_wide::write_units;

namespace
{

wint_t put_unit(wchar_t unit, FILE* stream)
{
    return write_units(stream, &unit, 1) == 1 ? unit : WEOF;
}

wchar_t* get_line(wchar_t* to, int size, FILE* stream)
{
    int count = 0;
    while (count < size - 1)
    {
        const wint_t unit = read_unit(stream);
        if (unit == WEOF)
            break;
        to[count++] = static_cast<wchar_t>(unit);
        if (unit == L'\n')
            break;
    }
    if (size < 1 || (count == 0 && size > 1) || ::ferror(stream))
        return nullptr;
    to[count] = L'\0';
    return to;
}

int put_text(const wchar_t* text, FILE* stream)
{
    const size_t length = ::wcslen(text);
    return write_units(stream, text, length) == length ? 1 : -1;
}

} // namespace

#undef getwc
#undef putwc
#undef getwchar
#undef putwchar

extern "C"
{
    [[noreturn]] void __chk_fail();

    // The streams always have bytes: otherwise the C library would refuse calls of one of the two
    // widths.
    int fwide(FILE*, int mode)
    {
        return mode;
    }

#define PLINTH_BOTH(result, name, parameters, body)                                                \
    result name parameters body result name##_unlocked parameters body
    PLINTH_BOTH(wint_t, fgetwc, (FILE * stream), { return read_unit(stream); })
    PLINTH_BOTH(wint_t, getwc, (FILE * stream), { return read_unit(stream); })
    PLINTH_BOTH(wint_t, getwchar, (), { return read_unit(stdin); })
    PLINTH_BOTH(wint_t, fputwc, (wchar_t unit, FILE* stream), { return put_unit(unit, stream); })
    PLINTH_BOTH(wint_t, putwc, (wchar_t unit, FILE* stream), { return put_unit(unit, stream); })
    PLINTH_BOTH(wint_t, putwchar, (wchar_t unit), { return put_unit(unit, stdout); })
    PLINTH_BOTH(int, fputws, (const wchar_t* text, FILE* stream),
                { return put_text(text, stream); })
    PLINTH_BOTH(wchar_t*, fgetws, (wchar_t * to, int size, FILE* stream),
                { return get_line(to, size, stream); })
#undef PLINTH_BOTH

    wint_t ungetwc(wint_t unit, FILE* stream)
    {
        return unread_unit(stream, unit);
    }

    wchar_t* __fgetws_chk(wchar_t* to, size_t room, int size, FILE* stream)
    {
        if (size > 0 && static_cast<size_t>(size) > room)
            __chk_fail();
        return get_line(to, size, stream);
    }
    wchar_t* __fgetws_unlocked_chk(wchar_t* to, size_t room, int size, FILE* stream)
    {
        return __fgetws_chk(to, room, size, stream);
    }
}
