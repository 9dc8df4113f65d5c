// The C library's functions for wide text: by <cwchar> and by <wchar.h>, with std and without.
#include "idioms.h"

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <cwchar>
#include <cwctype>
#include <iterator>

#include <wchar.h>

namespace
{

// As applications wrap these functions.
std::wstring format(const wchar_t* pattern, ...)
{
    wchar_t text[64];
    va_list arguments;
    va_start(arguments, pattern);
    const int length = vswprintf(text, std::size(text), pattern, arguments);
    va_end(arguments);
    return length < 0 ? L"(does not fit)" : std::wstring(text, static_cast<std::size_t>(length));
}

// An empty file for the stream functions, which is removed when it is closed.
FILE* scratch()
{
    return std::tmpfile();
}

const Idiom table[] = {
    {"wcslen",
     []
     {
         for (const std::size_t size : border_sizes)
             if (wcslen(counted(size).c_str()) != size || std::wcslen(counted(size).data()) != size)
                 return false;
         return ::wcslen(L"") == 0;
     }},
    {"wcscpy, wcscat",
     []
     {
         wchar_t text[16];
         return is(wcscat(std::wcscpy(text, L"one"), L"two"), L"onetwo");
     }},
    {"wcsncpy, wcsncat",
     []
     {
         wchar_t text[12] = L"~~~~~~~~~~~";
         std::wcsncpy(text, L"abc", 5);
         const bool padded = text[3] == 0 && text[4] == 0 && text[5] == L'~';
         return padded && is(wcsncat(text, L"defgh", 3), L"abcdef");
     }},
    {"wcscmp, wcsncmp",
     []
     {
         return wcscmp(L"a", L"b") < 0 && std::wcscmp(L"b", L"a") > 0 && wcscmp(L"", L"") == 0 &&
                wcscmp(L"\uffee", L"\u00ff") > 0 && std::wcsncmp(L"abcX", L"abcY", 3) == 0;
     }},
    {"wcschr, wcsrchr",
     []
     {
         const wchar_t* const path = L"a\\b\\c";
         wchar_t own[] = L"x=y";
         *wcschr(own, L'=') = L':';
         return wcschr(path, L'\\') == path + 1 && std::wcsrchr(path, L'\\') == path + 3 &&
                !wcschr(path, L'z') && is(own, L"x:y");
     }},
    {"wcsstr, wcspbrk, wcsspn",
     []
     {
         const wchar_t* const text = L"key = value";
         return wcsstr(text, L"val") == text + 6 && std::wcspbrk(text, L"=:") == text + 4 &&
                wcsspn(text, L"yek") == 3 && std::wcscspn(text, L" ") == 3;
     }},
    {"wcstok",
     []
     {
         wchar_t text[] = L"one, two,,three";
         wchar_t* rest = nullptr;
         std::wstring all;
         for (wchar_t* word = wcstok(text, L", ", &rest); word;
              word = wcstok(nullptr, L", ", &rest))
             all += std::wstring(word) + L'|';
         return is(all, L"one|two|three|");
     }},
    {"wmemcpy, wmemmove, wmemset",
     []
     {
         wchar_t text[8] = {};
         wmemset(text, L'x', 7);
         std::wmemcpy(text, L"ab", 2);
         wmemmove(text + 1, text, 3);
         return is(text, L"aabxxxx");
     }},
    {"wmemcmp, wmemchr",
     []
     {
         return wmemcmp(L"a\0b", L"a\0c", 3) < 0 && std::wmemcmp(L"\uffff", L"\1", 1) > 0 &&
                *wmemchr(L"abc", L'c', 3) == L'c' && !wmemchr(L"abc", L'd', 3);
     }},
    {"wcsdup, wcsnlen, wcscasecmp",
     []
     {
         wchar_t* const copy = wcsdup(L"copy");
         const bool good = is(copy, L"copy") && wcsnlen(copy, 2) == 2 && !wcscasecmp(copy, L"COPY");
         std::free(copy);
         return good;
     }},
    {"swprintf of numbers",
     []
     {
         wchar_t text[64];
         const int length = swprintf(text, 64, L"%d|%5u|%-4x|%08.3f|%lld|%zu", -7, 42U, 255U,
                                     3.14159, 1LL << 40, std::size_t{9});
         return length == 38 && is(text, L"-7|   42|ff  |0003.142|1099511627776|9");
     }},
    {"swprintf of text",
     []
     {
         wchar_t text[64];
         const std::wstring name = L"name";
         std::swprintf(text, std::size(text), L"%s=%ls|%hs|%c|%.2s|%6s|", name.c_str(), L"wide",
                       "narrow", L'c', L"abc", L"right");
         return is(text, L"name=wide|narrow|c|ab| right|");
     }},
    {"swprintf of 32 bits by %ld",
     []
     {
         wchar_t text[32];
         swprintf(text, 32, L"%ld %lu %lX", -1, 4'000'000'000U, 0xABCDU);
         return is(text, L"-1 4000000000 ABCD");
     }},
    {"swprintf of a long double",
     []
     {
         wchar_t text[32];
         swprintf(text, 32, L"%.2Lf %d", 2.5L, 7);
         return is(text, L"2.50 7");
     }},
    {"swprintf that doesn't fit",
     []
     {
         wchar_t text[5] = L"....";
         return swprintf(text, 4, L"%d", 123456) < 0 && text[4] == 0 &&
                std::swprintf(text, 4, L"abc") == 3;
     }},
    {"vswprintf in a wrapper",
     []
     {
         return is(format(L"%s, %d of %I64d", L"one", 2, 3LL), L"one, 2 of 3") &&
                is(format(L"%ld%%", -5), L"-5%") && is(format(L"%070d", 1), L"(does not fit)");
     }},
    {"swscanf",
     []
     {
         int a = 0;
         double b = 0;
         unsigned c = 0;
         wchar_t word[16] = {};
         char narrow[8] = {};
         return swscanf(L"12 3.5 word ff narrow", L"%d %lf %15s %x %7hs", &a, &b, word, &c,
                        narrow) == 5 &&
                a == 12 && b == 3.5 && is(word, L"word") && c == 255 && is(narrow, "narrow");
     }},
    {"swscanf of a long double and of sets",
     []
     {
         long double value = 0;
         wchar_t key[8] = {};
         return std::swscanf(L"k1=2.5", L"%7[^=]=%Lf", key, &value) == 2 && is(key, L"k1") &&
                value == 2.5L;
     }},
    {"wcstol and its kin",
     []
     {
         wchar_t* end = nullptr;
         const wchar_t* const text = L" -12rest";
         const bool first = wcstol(text, &end, 10) == -12 && end == text + 4;
         return first && std::wcstoul(L"ff", nullptr, 16) == 255 &&
                wcstoll(L"9000000000", nullptr, 10) == 9'000'000'000LL &&
                std::wcstoull(L"18446744073709551615", nullptr, 0) == ULLONG_MAX;
     }},
    {"wcstol beyond its range",
     []
     {
         errno = 0;
         const bool most =
             wcstol(L"99999999999999999999", nullptr, 10) == LONG_MAX && errno == ERANGE;
         wchar_t* end = nullptr;
         const wchar_t* const none = L"  none";
         return most && wcstol(none, &end, 10) == 0 && end == none;
     }},
    {"wcstod, wcstof, wcstold",
     []
     {
         wchar_t* end = nullptr;
         const wchar_t* const text = L"1.25e2\u20ac";
         return wcstod(text, &end) == 125 && end == text + 6 &&
                std::wcstof(L"0.5", nullptr) == 0.5f && std::wcstold(L"-2.5", nullptr) == -2.5L;
     }},
    {"towlower, towupper", [] { return towlower(L'A') == L'a' && std::towupper(L'z') == L'Z'; }},
    {"iswdigit and its kin",
     []
     {
         return iswdigit(L'7') && !iswdigit(L'a') && std::iswalpha(L'a') && iswspace(L'\t') &&
                iswupper(L'A') && std::iswpunct(L'!') && iswalnum(L'9') && !iswprint(L'\1');
     }},
    {"wcsftime",
     []
     {
         std::tm time{};
         time.tm_year = 126;
         time.tm_mon = 10;
         time.tm_mday = 5;
         wchar_t text[32];
         return wcsftime(text, 32, L"%Y-%m-%d \u20ac", &time) == 12 &&
                is(text, L"2026-11-05 \u20ac") && std::wcsftime(text, 4, L"%Y", &time) == 0;
     }},
    {"fputws, fgetws",
     []
     {
         FILE* const file = scratch();
         std::fputws(L"first \u20ac \U0001F600\nsecond", file);
         std::rewind(file);
         wchar_t line[32];
         const bool first = is(std::fgetws(line, 32, file), L"first \u20ac \U0001F600\n");
         const bool second =
             is(fgetws(line, 4, file), L"sec") && is(fgetws(line, 32, file), L"ond");
         const bool ended = !fgetws(line, 32, file) && feof(file);
         std::fclose(file);
         return first && second && ended;
     }},
    {"fwscanf takes no more from a stream than it uses",
     []
     {
         const struct
         {
             const wchar_t *text, *format;
             int stored;
             wchar_t rest[8];
         } rows[] = {{L"12 0x1f", L"%d%i", 2, L""},
                     {L"123456", L"%3d%2d", 2, L"6"},
                     {L"089", L"%i", 1, L"89"},
                     {L"7\U0001F600 x", L"%d", 1, L"\U0001F600 x"},
                     {L"b\U0001F600\U0001F601", L"%[ab\U0001F600]", 1, L"\xde01"},
                     {L"bab]x", L"%*1[a-c]%[]a-c]x", 1, L""},
                     {L"-.5e-2e", L"%lf", 1, L"e"},
                     {L"0x.8p1 -Inf,", L"%lf%f", 2, L","},
                     {L"1e+x", L"%lf", 0, L"x"},
                     {L"-", L"%d", 0, L""},
                     {L"0xg", L"%x", 0, L"g"},
                     {L"a%5,", L"a%%%hd", 1, L","},
                     {L" w\u00efde na", L"%ls%3c", 2, L""},
                     {L"na", L"%3hc", 0, L""},
                     {L"  ", L"%d", EOF, L""}};
         for (const auto& row : rows)
         {
             FILE* const file = scratch();
             fputws(row.text, file);
             std::rewind(file);
             long double room[2][4];
             wchar_t rest[16] = {};
             const int stored = std::fwscanf(file, row.format, room[0], room[1]);
             fgetws(rest, 16, file);
             std::fclose(file);
             if (stored != row.stored || !is(rest, row.rest))
                 return false;
         }
         return true;
     }},
    {"fputwc, fgetwc, ungetwc",
     []
     {
         FILE* const file = scratch();
         for (const wchar_t c : std::wstring(L"a\u00e9\U0001F600"))
             std::fputwc(c, file);
         std::rewind(file);
         const std::wint_t first = std::fgetwc(file);
         std::ungetwc(L'\u20ac', file);
         std::wstring rest(1, static_cast<wchar_t>(first));
         for (std::wint_t c = getwc(file); c != WEOF; c = getwc(file))
             rest += static_cast<wchar_t>(c);
         const long length = std::ftell(file);
         std::fclose(file);
         return is(rest, L"a\u20ac\u00e9\U0001F600") && length == 7;
     }},
    {"fwprintf among narrow output",
     []
     {
         FILE* const file = scratch();
         std::fputs("narrow ", file);
         const int length = std::fwprintf(file, L"%s %d ", L"w\u00efde", 7);
         std::fprintf(file, "narrow");
         std::rewind(file);
         char text[64] = {};
         const std::size_t bytes = std::fread(text, 1, sizeof text, file);
         std::fclose(file);
         return length == 7 && bytes == 21 &&
                is(text, "narrow w\xc3\xaf"
                         "de 7 narrow");
     }},
    {"fwide leaves both widths",
     []
     {
         FILE* const file = scratch();
         const bool asked = fwide(file, 1) > 0;
         const bool narrow = std::fputs("x", file) >= 0;
         const bool wide = fputws(L"y", file) >= 0;
         std::fclose(file);
         return asked && narrow && wide;
     }},
};

} // namespace

Idioms function_idioms()
{
    return {table, std::size(table)};
}
