// The 16-bit string functions, and where they differ from the obvious.

#include <sys/mman.h>

#include "support/test.h"

#include <tchar.h>

#include "support/wide_text.h"

namespace
{

using test::utf8;

// They compile as names of the standard library, and mean 16 bits there too.
TEST(WideString, NamesInTheNamespaceStdAreTheSame)
{
    wchar_t buffer[8] = {};
    EXPECT_EQ(std::mbstowcs(buffer,
                            "\xc3\xa4"
                            "bc",
                            8),
              3u);
    EXPECT_EQ(std::wcslen(buffer), 3u);
    EXPECT_EQ(std::wcscmp(std::wcschr(buffer, L'b'), L"bc"), 0);
    EXPECT_LE(std::rand(), 32'767);
}

TEST(WideString, CopiesJoinsAndFillsWithinTheCount)
{
    wchar_t buffer[8] = L"#######";
    wcsncpy(buffer, L"abc", 2);
    EXPECT_EQ(utf8(buffer), "ab#####") << "no terminator where the count ends first";
    wcsncpy(buffer, L"xy", 5);
    EXPECT_EQ(utf8(buffer, 7), std::string("xy\0\0\0##", 7)) << "the rest of the count is zeros";
    EXPECT_EQ(utf8(wcsncat(buffer, L"1234", 2)), "xy12");
    EXPECT_EQ(utf8(wcscat(buffer, L"z")), "xy12z");
    EXPECT_EQ(utf8(_wcsnset(buffer, L'-', 2)), "--12z");
    EXPECT_EQ(utf8(_wcsnset(buffer, L'+', 8)), "+++++");
}

// At every place before the end of readable memory, with and without a terminator there.
TEST(WideString, LengthReadsNothingBeyondThePage)
{
    const size_t page = 4096;
    auto* const pages = static_cast<wchar_t*>(
        mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    wchar_t* const end = pages + page / sizeof *pages;
    ASSERT_EQ(mprotect(end, page, PROT_NONE), 0);
    std::fill(pages, end, L'x');
    for (size_t length = 0; length < 40; ++length)
    {
        EXPECT_EQ(wcsnlen(end - length, length), length);
        EXPECT_EQ(wcsnlen(end - length - 1, length), length);
        end[-1] = L'\0';
        EXPECT_EQ(wcslen(end - length - 1), length);
        EXPECT_EQ(wcsnlen(end - length - 1, length + 9), length);
        end[-2 - static_cast<ptrdiff_t>(length)] = L'%';
        EXPECT_EQ(_snwprintf(nullptr, 0, end - length - 1), static_cast<int>(length));
        end[-1] = L'\x100'; // a low byte of zero doesn't end the text
        end[-2 - static_cast<ptrdiff_t>(length)] = L'\0';
        EXPECT_EQ(wcsnlen(end - length - 1, length + 1), length + 1) << "what stands before it";
        end[-2 - static_cast<ptrdiff_t>(length)] = end[-1] = L'x';
    }
    munmap(pages, 2 * page);
}

TEST(WideString, ComparesWithoutCaseInTheCommonScripts)
{
    const std::pair<const wchar_t*, const wchar_t*> pairs[] = {
        {L"\xE4\xF6\xFC\xFF", L"\xC4\xD6\xDC\x178"},
        {L"\x3B1\x3C9\x3AC\x3CE\x3CA\x3C2", L"\x391\x3A9\x386\x38F\x3AA\x3C3"},
        {L"\x436\x451\x491\x4CF", L"\x416\x401\x490\x4C0"},
    };
    for (const auto& [small, capital] : pairs)
    {
        EXPECT_EQ(
            CompareStringA(0, NORM_IGNORECASE, utf8(small).c_str(), -1, utf8(capital).c_str(), -1),
            CSTR_EQUAL)
            << utf8(small);
        // The runtime's "C" locale has no letters but A to Z.
        EXPECT_GT(_wcsicmp(small, capital), 0) << utf8(small);
        EXPECT_LT(_wcsnicmp(capital, small, 1), 0) << utf8(small);
    }
    EXPECT_NE(_wcsicmp(L"\x131", L"i"), 0);
}

// Ordered by unsigned units. Without case: by lower case, and for bytes only ASCII is folded.
TEST(WideString, Orders)
{
    const auto sign = [](int difference) { return (difference > 0) - (difference < 0); };
    EXPECT_EQ((std::vector{sign(wcscmp(L"\xFFFD", L"a")), sign(wcscmp(L"ab", L"abc")),
                           wcsncmp(L"abX", L"abY", 2), wcsncmp(L"ab", L"ab", 10),
                           sign(_wcsicmp(L"_", L"A")), sign(_wcsicmp(L"_", L"a")),
                           sign(_stricmp("_", "A")), _wcsnicmp(L"ABc", L"abD", 2),
                           sign(_wcsnicmp(L"ABc", L"abD", 3)), _strnicmp("ABc", "abD", 2),
                           sign(_stricmp("\xE4", "z"))}),
              (std::vector{1, -1, 0, 0, -1, -1, -1, 0, -1, 0, 1}));
}

TEST(WideString, Searches)
{
    const wchar_t* const text = L"one two two";
    EXPECT_EQ((std::vector<const wchar_t*>{wcschr(text, L'o'), wcsrchr(text, L'o'),
                                           wcsrchr(text, L'\0'), wcsstr(text, L"two"),
                                           wcsstr(text, L""), wcspbrk(text, L"wt")}),
              (std::vector{text, text + 10, text + 11, text + 4, text, text + 4}));
    EXPECT_EQ(wcschr(text, L'x'), nullptr);
    EXPECT_EQ(wcsspn(text, L"neo"), 3u);
    EXPECT_EQ(wcscspn(text, L" "), 3u);
    EXPECT_EQ(wcsstr(text, L"twos"), nullptr);
}

TEST(WideString, MultibyteTextIsUtf8AndKeepsToTheCount)
{
    wchar_t wide[16];
    char bytes[16];
    EXPECT_EQ(mbstowcs(wide, "a\u20AC\U0001F600", 16), 4u);
    EXPECT_EQ(wcstombs(bytes, wide, sizeof bytes), 8u);
    EXPECT_STREQ(bytes, "a\u20AC\U0001F600");
    EXPECT_EQ(wcstombs(nullptr, wide, 0), 8u);
    wchar_t small[4] = {L'#', L'#', L'#', L'#'};
    EXPECT_EQ(mbstowcs(small, "abcdef", 3), 3u) << "full: no terminator";
    EXPECT_EQ(utf8(small, 4), "abc#");
    EXPECT_EQ(mbstowcs(small, "ab\U0001F600", 3), 2u) << "half a character is none";
    EXPECT_EQ(utf8(small), "ab");
}

} // namespace
