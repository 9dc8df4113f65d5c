// Other functions of the C library over 16-bit text: sort order of a language, dates, character
// widths.
#include <cstring>
#include <ctime>
#include <cwchar>
#include <string>
#include <vector>

#define PLINTH_PLATFORM_NO_RUNTIME_NAMES
#include <tchar.h>

#include <wchar.h>

namespace
{

std::string narrow(const wchar_t* text)
{
    std::string result(plinth_crt_wcstombs(nullptr, text, 0), '\0');
    plinth_crt_wcstombs(result.data(), text, result.size());
    return result;
}

// Copies as much as fits, with a terminator; returns the length of the whole.
size_t widen(const std::string& text, wchar_t* to, size_t room)
{
    const size_t length = plinth_crt_mbstowcs(nullptr, text.c_str(), 0);
    if (room > 0)
        to[plinth_crt_mbstowcs(to, text.c_str(), room - 1)] = L'\0';
    return length;
}

// Formats a date by the program's locale or by the given one.
size_t print_date(wchar_t* to, size_t room, const wchar_t* format, const tm* time, locale_t place)
{
    constexpr size_t most = size_t{1} << 20; // of the result, because some formats never fit
    const std::string pattern =
        narrow(format) + '.'; // so that no result is empty, which would mean a failure
    std::vector<char> bytes(256);
    size_t length = 0;
    do
    {
        bytes.resize(bytes.size() * 2);
        length = place ? ::strftime_l(bytes.data(), bytes.size(), pattern.c_str(), time, place)
                       : std::strftime(bytes.data(), bytes.size(), pattern.c_str(), time);
    } while (length == 0 && bytes.size() < most);
    if (length == 0)
        return 0;
    const std::string text(bytes.data(), length - 1);
    const size_t units = plinth_crt_mbstowcs(nullptr, text.c_str(), 0);
    return units < room ? widen(text, to, room) : 0;
}

// The C library compares in the order of a language, over UTF-8.
int compare(const wchar_t* a, const wchar_t* b, locale_t place)
{
    const std::string first = narrow(a);
    const std::string second = narrow(b);
    return place ? ::strcoll_l(first.c_str(), second.c_str(), place)
                 : std::strcoll(first.c_str(), second.c_str());
}

// A key that wcscmp orders like the function above: the bytes of the narrow key, one for each unit.
size_t make_key(wchar_t* to, const wchar_t* text, size_t room, locale_t place)
{
    const std::string whole = narrow(text);
    const auto form = [&](char* key, size_t size)
    {
        return place ? ::strxfrm_l(key, whole.c_str(), size, place)
                     : std::strxfrm(key, whole.c_str(), size);
    };
    std::string key(form(nullptr, 0) + 1, '\0');
    const size_t length = form(key.data(), key.size());
    for (size_t i = 0; i < room && i <= length; ++i)
        to[i] = static_cast<unsigned char>(key[i]);
    return length;
}

} // namespace

extern "C"
{
    size_t wcsftime(wchar_t* to, size_t room, const wchar_t* format, const tm* time)
    {
        return print_date(to, room, format, time, nullptr);
    }
    size_t wcsftime_l(wchar_t* to, size_t room, const wchar_t* format, const tm* time,
                      locale_t place)
    {
        return print_date(to, room, format, time, place);
    }
    int wcscoll(const wchar_t* a, const wchar_t* b)
    {
        return compare(a, b, nullptr);
    }
    int wcscoll_l(const wchar_t* a, const wchar_t* b, locale_t place)
    {
        return compare(a, b, place);
    }
    size_t wcsxfrm(wchar_t* to, const wchar_t* text, size_t room)
    {
        return make_key(to, text, room, nullptr);
    }
    size_t wcsxfrm_l(wchar_t* to, const wchar_t* text, size_t room, locale_t place)
    {
        return make_key(to, text, room, place);
    }
    // The number of columns on a terminal. A character of two units is counted at its first unit.
    int wcswidth(const wchar_t* text, size_t count)
    {
        int columns = 0;
        for (; count > 0 && *text; --count, ++text)
        {
            const bool high = (*text & 0xFC00) == 0xD800;
            const int width = high ? 2 : (*text & 0xFC00) == 0xDC00 ? 0 : ::wcwidth(*text);
            if (width < 0)
                return -1;
            columns += width;
        }
        return columns;
    }
}
