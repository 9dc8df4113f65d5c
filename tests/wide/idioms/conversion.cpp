// Conversions between UTF-8 and wide text: the C library's functions, std::wstring_convert, paths;
// and invalid input.
#include "idioms.h"

#include <climits>
#include <codecvt>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <locale>
#include <stdexcept>

namespace
{

template <class Facet> using Converter = std::wstring_convert<Facet, wchar_t>;
using Utf8 = Converter<std::codecvt_utf8_utf16<wchar_t>>;

const char narrow_text[] = "a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80z";
const wchar_t wide_text[] = L"a\u00e9\u20ac\U0001F600z";

template <class Call> bool throws_range_error(Call call)
{
    try
    {
        call();
    }
    catch (const std::range_error&)
    {
        return true;
    }
    return false;
}

const Idiom table[] = {
    {"mbstowcs",
     []
     {
         wchar_t text[16];
         return std::mbstowcs(nullptr, narrow_text, 0) == 6 &&
                mbstowcs(text, narrow_text, 16) == 6 && is(text, wide_text) &&
                std::mbstowcs(text, narrow_text, 2) == 2;
     }},
    {"wcstombs",
     []
     {
         char text[16];
         return std::wcstombs(nullptr, wide_text, 0) == 11 && wcstombs(text, wide_text, 16) == 11 &&
                is(text, narrow_text) && std::wcstombs(text, L"\u20ac\u20ac", 4) == 3;
     }},
    {"mbstowcs of bad bytes",
     []
     {
         wchar_t text[16];
         return mbstowcs(text,
                         "a\xff"
                         "b\xc3",
                         16) == 4 &&
                is(text, L"a\ufffdb\ufffd");
     }},
    {"wcstombs of half a character",
     []
     {
         char text[16];
         return wcstombs(text, L"a\xd83dz", 16) == 5 && is(text, "a\xef\xbf\xbdz");
     }},
    {"mbrtowc in a loop",
     []
     {
         std::mbstate_t state{};
         std::wstring all;
         const char* at = narrow_text;
         const char* const end = at + std::strlen(at);
         wchar_t c = 0;
         for (std::size_t taken; (taken = std::mbrtowc(&c, at, static_cast<std::size_t>(end - at),
                                                       &state)) != static_cast<std::size_t>(-2) &&
                                 static_cast<int>(taken) > 0;
              at += taken)
             all += c;
         return is(all, wide_text) && at == end;
     }},
    {"mbrtowc byte by byte",
     []
     {
         std::mbstate_t state{};
         wchar_t c = 0;
         const auto cut = static_cast<std::size_t>(-2);
         return mbrtowc(&c, "\xe2", 1, &state) == cut && !std::mbsinit(&state) &&
                mbrtowc(&c, "\x82", 1, &state) == cut && mbrtowc(&c, "\xac", 1, &state) == 1 &&
                c == L'\u20ac' && std::mbsinit(&state) &&
                mbrtowc(&c, "\xff", 1, &state) == static_cast<std::size_t>(-1);
     }},
    {"wcrtomb, wctomb",
     []
     {
         std::mbstate_t state{};
         char text[16];
         std::size_t length = 0;
         for (const wchar_t c : std::wstring(wide_text))
             length += std::wcrtomb(text + length, c, &state);
         char one[8];
         return length == 11 && std::memcmp(text, narrow_text, 11) == 0 &&
                wctomb(one, L'\u20ac') == 3 && MB_CUR_MAX >= 4;
     }},
    {"mbtowc, mblen",
     []
     {
         wchar_t c = 0;
         return std::mbtowc(&c, "\xc3\xa9", 2) == 2 && c == L'\u00e9' &&
                mblen("\xe2\x82\xac", 3) == 3 && mblen("", 1) == 0 && mbtowc(&c, "\xff", 1) == -1;
     }},
    {"mbsrtowcs, wcsrtombs",
     []
     {
         std::mbstate_t state{};
         const char* from = narrow_text;
         wchar_t wide[16];
         const bool first =
             std::mbsrtowcs(wide, &from, 16, &state) == 6 && !from && is(wide, wide_text);
         const wchar_t* back = wide;
         char narrow[16];
         return first && std::wcsrtombs(nullptr, &back, 0, &state) == 11 && back == wide &&
                wcsrtombs(narrow, &back, 16, &state) == 11 && !back && is(narrow, narrow_text);
     }},
    {"wcsrtombs with no room",
     []
     {
         std::mbstate_t state{};
         const wchar_t* from = wide_text;
         char narrow[8];
         return wcsrtombs(narrow, &from, 8, &state) == 6 && from == wide_text + 4 &&
                *from == 0xDE00;
     }},
    {"wstring_convert, UTF-8",
     []
     {
         Utf8 converter;
         return is(converter.from_bytes(narrow_text), wide_text) &&
                is(converter.to_bytes(wide_text), narrow_text) &&
                converter.from_bytes(std::string(1 << 20, 'x')).size() == 1 << 20;
     }},
    {"wstring_convert, codecvt_utf8",
     []
     {
         Converter<std::codecvt_utf8<wchar_t>> converter;
         return is(converter.from_bytes(narrow_text), wide_text) &&
                is(converter.to_bytes(wide_text), narrow_text);
     }},
    {"wstring_convert, UTF-16 bytes",
     []
     {
         Converter<std::codecvt_utf16<wchar_t>> big;
         Converter<std::codecvt_utf16<wchar_t, 0x10ffff, std::little_endian>> little;
         const std::string bytes = big.to_bytes(L"a\U0001F600");
         return bytes == std::string("\0a\xd8\x3d\xde\x00", 6) &&
                is(big.from_bytes(bytes), L"a\U0001F600") &&
                is(little.from_bytes(std::string("a\0\xac\x20", 4)), L"a\u20ac");
     }},
    {"wstring_convert and byte order marks",
     []
     {
         constexpr auto both =
             static_cast<std::codecvt_mode>(std::consume_header | std::generate_header);
         Converter<std::codecvt_utf8<wchar_t, 0x10ffff, both>> utf8;
         Converter<std::codecvt_utf16<wchar_t, 0x10ffff, std::consume_header>> utf16;
         return is(utf8.to_bytes(L"x"), "\xef\xbb\xbfx") &&
                is(utf8.from_bytes("\xef\xbb\xbfx"), L"x") &&
                is(utf16.from_bytes(std::string("\xff\xfex\0y\0", 6)), L"xy");
     }},
    {"wstring_convert of bad input",
     []
     {
         return throws_range_error([] { Utf8().from_bytes("a\xffz"); }) &&
                throws_range_error([] { Utf8().to_bytes(L"a\xdc00z"); }) &&
                throws_range_error([] { Utf8().to_bytes(L"a\xd83d"); }) &&
                is(Converter<std::codecvt_utf8<wchar_t>>("bad", L"bad").from_bytes("\xc0\x80"),
                   L"bad");
     }},
    {"wbuffer_convert",
     []
     {
         std::stringbuf bytes(narrow_text);
         std::wbuffer_convert<std::codecvt_utf8_utf16<wchar_t>> buffer(&bytes);
         std::wstring all;
         std::wistream in(&buffer);
         in >> all;
         return is(all, wide_text);
     }},
    {"path from and to wide text",
     []
     {
         const std::filesystem::path path = L"/tmp/d\u00e9\u20ac \U0001F600/f.txt";
         return path.native() == "/tmp/d\xc3\xa9\xe2\x82\xac \xf0\x9f\x98\x80/f.txt" &&
                is(path.wstring(), L"/tmp/d\u00e9\u20ac \U0001F600/f.txt") &&
                is(path.filename().generic_wstring(), L"f.txt") && path.extension() == L".txt";
     }},
    {"path put together",
     []
     {
         const std::wstring folder = L"/tmp";
         const std::filesystem::path path =
             std::filesystem::path(folder) / L"n\u00e4me" / std::wstring(L"x");
         return is(path.wstring(), L"/tmp/n\u00e4me/x") &&
                path == std::filesystem::path(L"/tmp/n\u00e4me/x");
     }},
    {"path of half a character",
     [] { return is(std::filesystem::path(L"a\xd83d").native(), "a\xef\xbf\xbd"); }},
};

} // namespace

Idioms conversion_idioms()
{
    return {table, std::size(table)};
}
